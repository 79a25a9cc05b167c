// What a text is made of, whatever the process's locale is.
#pragma once

namespace tarrow {

/// Whether a character is an ASCII letter or digit.
bool is_letter_or_digit(char c);

/// Whether a text holds only letters, digits and the other characters; an empty one does.
bool is_made_of(const char *text, const char *others);

} // namespace tarrow
