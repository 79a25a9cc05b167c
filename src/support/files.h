// Small files: state files, which hold one value, and reads of limited size.
#pragma once

#include <cstddef>
#include <optional>

#include "support/owned.h"

namespace tarrow {

/// Returns null when the file cannot be opened.
file open_for_reading(const char *path);

/// The same with flags of open(2), for reading or writing.
file open_stream(const char *path, int flags);

/// Needs no memory.
bool is_readable(const char *path);

/// Reads the first bytes of a file, at most size. Returns their number, or nothing when the file
/// cannot be opened.
std::optional<std::size_t> read_bytes(const char *path, char *buffer, std::size_t size);

/// The same with at most size - 1 bytes, and a NUL behind them. size is at least 1.
std::optional<std::size_t> read_text(const char *path, char *buffer, std::size_t size);

/// The same, up to the end of the first line, line end included.
std::optional<std::size_t> read_first_line(const char *path, char *buffer, std::size_t size);

/// Reads the next line of a stream, line end included, or the next size - 1 characters of a longer
/// line. Returns false at the end of the file.
bool read_line(FILE *stream, char *buffer, std::size_t size);

/// Reads the first word in the first 255 bytes of a file, between blanks, cut to size - 1
/// characters. Returns false when the file cannot be opened. The buffer does not change when there
/// is no word, or the word begins with a NUL.
bool read_word(const char *path, char *buffer, std::size_t size);

/// Returns the decimal number at the start of a text, after blanks and a sign; nothing when there
/// is none. A number outside the range of int gives the nearest int.
std::optional<int> parse_number(const char *text);

/// Reads the number at the start of a file's first 255 bytes. Returns false when the file cannot be
/// opened. The value does not change when there is no number.
bool scan_number(const char *path, int &value);

/// The same, returning the number; nothing when there is no file or no number.
std::optional<int> read_number(const char *path);

/// Replaces the content of a file by a decimal number without a line end. Returns false when that
/// fails.
bool write_number(const char *path, int value);

} // namespace tarrow
