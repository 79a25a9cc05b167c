// Small files: state files of one value, and bounded reads of others.
#pragma once

#include <cstddef>
#include <optional>

#include "owned.h"

namespace tarrow {

/// Opens a file for reading, or gives null.
file open_for_reading(const char *path);

/// Opens a file for reading or writing as open(2) does with these flags, or gives null.
file open_stream(const char *path, int flags);

/// The decimal number that a text begins with, after blanks and a sign: any number of digits, the
/// nearest int for a value beyond an int's range. Nothing when the text begins with no number.
std::optional<int> parse_number(const char *text);

/// Whether a file is there to be read, which takes no memory.
bool is_readable(const char *path);

/// The number that a file begins with; nothing when the file cannot be opened or holds no number.
std::optional<int> read_number(const char *path);

/// Reads the first blank-delimited word of a file, cut to size - 1 characters. Without a word (one
/// that begins with a NUL is none), or without the file, gives false and leaves the buffer as it
/// was.
bool read_word(const char *path, char *buffer, std::size_t size);

/// Reads the next line of a file, its line end included, or a piece of size - 1 characters of a
/// longer one; gives false at the end of the file.
bool read_line(FILE *stream, char *buffer, std::size_t size);

constexpr int whole_file = -1;

/// Reads a file from its start over a buffer: at most size bytes, and nothing after the byte last.
/// Gives the number of bytes read, or nothing when the file cannot be opened.
std::optional<std::size_t> read_bytes(const char *path, char *buffer, std::size_t size,
                                      int last = whole_file);

/// The same with at most size - 1 bytes, and ends the text there.
std::optional<std::size_t> read_text(const char *path, char *buffer, std::size_t size,
                                     int last = whole_file);

/// Makes a file hold one decimal number without a line end. Gives false when it cannot be written.
bool write_number(const char *path, int value);

} // namespace tarrow
