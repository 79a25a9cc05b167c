#include "formatter.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <string_view>

namespace trace {
namespace {

constexpr std::size_t text_limit = 1000;  // bytes of a text that are printed
constexpr std::size_t error_limit = 1000; // lines of standard error that are printed

/// A text in one line, without what a terminal would obey (ASCII's control characters and the 32
/// that Unicode adds, 0xc2 0x80 to 0xc2 0x9f in UTF-8), cut when it is long.
std::string printable(const std::string &text) {
    std::string line;
    std::size_t at = 0;
    for (; at < text.size() && (at < text_limit || (text[at] & 0xc0) == 0x80); ++at) {
        const auto byte = [&](std::size_t i) {
            return static_cast<unsigned char>(text.c_str()[i]);
        };
        const bool is_control =
            std::iscntrl(byte(at)) != 0 || (byte(at) == 0xc2 && byte(at + 1) < 0xa0);
        std::array<char, sizeof("\\x00")> code = {text[at]};
        if (is_control) {
            std::snprintf(code.data(), code.size(), byte(at) == '\n' ? "\\n" : "\\x%02x", byte(at));
        }
        line += code.data();
        if (is_control && byte(at) == 0xc2) {
            std::snprintf(code.data(), code.size(), "\\x%02x", byte(++at));
            line += code.data();
        }
    }
    return at < text.size() ? line + "... " + std::to_string(text.size() - at) + " more" : line;
}

/// Prints a text's lines, each behind a prefix.
void print_lines(FILE *stream, const char *prefix, std::string_view text) {
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::fprintf(stream, "%s%s\n", prefix, printable(std::string(text.substr(0, end))).c_str());
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    std::fflush(stream);
}

} // namespace

void formatter::take(const std::string &line) {
    const json object = json::parse(line);
    if (object["kind"] == "answer") {
        finish(object);
    } else {
        take_step(object);
    }
}

void formatter::take_step(const json &step) {
    const std::string kind = step["kind"];
    const std::string text = step["text"];
    double at = step["at"];
    if (kind == "command") {
        begins_[text] = at;
        return;
    }
    if (kind == "error" && ++errors_ > error_limit) {
        return;
    }
    at = kind == "ended" ? begins_[text] : at;
    std::printf("%9.1f  %-8s %s", at, kind == "ended" ? "command" : kind.c_str(),
                printable(text).c_str());
    if (step.contains("took")) {
        const double took = step["took"];
        std::printf("  (%.1f ms", took);
        longest_ = std::max(longest_, {took, kind == "wait" ? "a wait" : printable(text)});
        if (step.contains("exit")) {
            std::printf(", exit status %d", step["exit"].get<int>());
        }
        std::printf(")");
    }
    std::puts("");
}

void formatter::finish(const json &answer) {
    if (errors_ > error_limit) {
        std::printf("%9s  error    ... %zu more lines\n", "", errors_ - error_limit);
    }
    if (const double took = answer["took"]; took > 0) {
        std::printf("%9.1f  in all", took);
        if (longest_.first > 0) {
            std::printf(", %.1f ms of it in %s", longest_.first, longest_.second.c_str());
        }
        std::puts("");
    }
    print_lines(stdout, "| ", answer["text"].get_ref<const std::string &>());
    print_lines(stderr, "", answer["errors"].get_ref<const std::string &>());
}

} // namespace trace
