// Small files: state files of one value, and bounded reads of others.
#pragma once

#include <cstddef>
#include <optional>

#include "support/owned.h"

namespace tarrow {

/// Opens a file for reading, or gives null.
file open_for_reading(const char *path);

/// Opens a file for reading or writing as open(2) does with these flags, or gives null.
file open_stream(const char *path, int flags);

/// Whether a file is there to be read, which takes no memory.
bool is_readable(const char *path);

/// Reads a file from its start over a buffer, at most size bytes. Gives the number of bytes read,
/// or nothing when the file cannot be opened.
std::optional<std::size_t> read_bytes(const char *path, char *buffer, std::size_t size);

/// The same with at most size - 1 bytes (size is at least 1), and ends the text there.
std::optional<std::size_t> read_text(const char *path, char *buffer, std::size_t size);

/// The same of the first line alone, its line end included.
std::optional<std::size_t> read_first_line(const char *path, char *buffer, std::size_t size);

/// Reads the next line of a file, its line end included, or a piece of size - 1 characters of a
/// longer one; gives false at the end of the file.
bool read_line(FILE *stream, char *buffer, std::size_t size);

/// Reads the first blank-delimited word of a file, cut to size - 1 characters. Gives whether the
/// file could be opened; one without a word, or whose word begins with a NUL, leaves the buffer as
/// it was. The word is looked for in the first 255 bytes.
bool read_word(const char *path, char *buffer, std::size_t size);

/// The decimal number that a text begins with, after blanks and a sign: any number of digits, the
/// nearest int for a value beyond an int's range. Nothing when the text begins with no number.
std::optional<int> parse_number(const char *text);

/// Reads the number that a file begins with, within its first 255 bytes. Gives whether the file
/// could be opened; one that begins with no number leaves the value as it was.
bool scan_number(const char *path, int &value);

/// The number that a file begins with; nothing when the file cannot be opened or begins with none.
std::optional<int> read_number(const char *path);

/// Makes a file hold one decimal number without a line end. Gives false when it cannot be written.
bool write_number(const char *path, int value);

} // namespace tarrow
