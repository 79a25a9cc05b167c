// Classes of characters, independent of the process's locale.
#pragma once

namespace tarrow {

/// ASCII letters and digits.
bool is_letter_or_digit(char c);

/// Whether a text has only letters, digits and the characters in others. True for an empty text.
bool is_made_of(const char *text, const char *others);

} // namespace tarrow
