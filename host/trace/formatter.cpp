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
    if (step.contains("took")) {
        times_[kind == "wait" ? kind : text] += step["took"].get<double>();
    }
    if (kind == "error" && ++errors_ > error_limit) {
        return;
    }
    const auto command = std::find_if(running_.begin(), running_.end(), [&](std::size_t i) {
        return kind == "ended" && held_[i]["text"] == text;
    });
    if (command != running_.end()) {
        held_[*command]["took"] = step["took"];
        held_[*command]["exit"] = step["exit"];
        running_.erase(command);
        return;
    }
    if (kind == "command" && is_held_) {
        running_.push_back(held_.size());
    }
    held_.push_back(step);
    if (!is_held_) {
        release();
    }
}

void formatter::release() {
    for (const json &step : held_) {
        std::printf("%9.1f  %-8s %s", step["at"].get<double>(),
                    step["kind"].get<std::string>().c_str(), printable(step["text"]).c_str());
        if (step.contains("took")) {
            std::printf("  (%.1f ms", step["took"].get<double>());
            if (step.contains("exit")) {
                std::printf(", exit status %d", step["exit"].get<int>());
            }
            std::printf(")");
        }
        std::puts("");
    }
    std::fflush(stdout);
    held_.clear();
    running_.clear();
    is_held_ = false;
}

void formatter::finish(const json &answer) {
    const double took = answer["took"];
    print_lines(stdout, "| ", answer["text"].get_ref<const std::string &>());
    print_lines(stderr, "", answer["errors"].get_ref<const std::string &>());
    release();
    if (errors_ > error_limit) {
        std::printf("%9s  error    ... %zu more lines\n", "", errors_ - error_limit);
    }
    if (took > 0) {
        print_sum(took);
    }
}

void formatter::print_sum(double took) const {
    std::vector<std::pair<double, std::string>> longest;
    for (const auto &[what, time] : times_) {
        if (time > took / 10) {
            longest.emplace_back(time, what);
        }
    }
    std::sort(longest.rbegin(), longest.rend());
    longest.resize(std::min<std::size_t>(longest.size(), 3));
    std::printf("%9.1f  in all", took);
    const char *separator = ", most of it in ";
    for (const auto &[time, what] : longest) {
        std::printf("%s%.1f ms %s", separator, time, printable(what).c_str());
        separator = "; ";
    }
    std::puts("");
}

} // namespace trace
