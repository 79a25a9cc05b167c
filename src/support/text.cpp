#include "support/text.h"

#include <cstring>

namespace tarrow {

bool is_letter_or_digit(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool is_made_of(const char *text, const char *others) {
    while (*text != '\0' && (is_letter_or_digit(*text) || std::strchr(others, *text) != nullptr)) {
        ++text;
    }
    return *text == '\0';
}

} // namespace tarrow
