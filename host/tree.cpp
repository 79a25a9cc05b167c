#include "tree.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace host {
namespace {

constexpr int depth_limit = 100; // levels of elements in a request

std::string parse_error;

void keep_error(const char *message) {
    parse_error = message;
}

bool is_element(mxml_node_t *node) {
    return mxmlGetType(node) == MXML_ELEMENT;
}

bool is_blank(const char *text) {
    return text != nullptr && text[std::strspn(text, " \t\r\n")] == '\0';
}

bool has_element(mxml_node_t *parent) {
    for (mxml_node_t *child = mxmlGetFirstChild(parent); child != nullptr;
         child = mxmlGetNextSibling(child)) {
        if (is_element(child)) {
            return true;
        }
    }
    return false;
}

bool is_markup(mxml_node_t *node) {
    return is_element(node) && std::strchr("?!", *mxmlGetElement(node)) != nullptr;
}

int depth_of(mxml_node_t *node) {
    int depth = 0;
    while ((node = mxmlGetParent(node)) != nullptr && depth <= depth_limit) {
        ++depth;
    }
    return depth;
}

/// Brings a parsed tree into the daemon's form: each text is an opaque node, and there is no white
/// space between elements. False for a tree that is deeper than any page.
bool normalise(mxml_node_t *root) {
    for (mxml_node_t *node = root; node != nullptr;) {
        mxml_node_t *next = mxmlWalkNext(node, root, MXML_DESCEND);
        mxml_node_t *parent = mxmlGetParent(node);
        if (const char *data = mxmlGetCDATA(node); data != nullptr) {
            mxmlAdd(parent, MXML_ADD_BEFORE, node, mxmlNewOpaque(MXML_NO_PARENT, data));
        }
        const bool is_between_elements = mxmlGetType(node) == MXML_OPAQUE &&
                                         is_blank(mxmlGetOpaque(node)) && has_element(parent);
        if (depth_of(node) > depth_limit) {
            return false;
        }
        if (is_markup(node) || is_between_elements) {
            mxmlDelete(node);
        }
        node = next;
    }
    return true;
}

bool is_name(const std::string &text) {
    return !text.empty() &&
           (std::isalpha(static_cast<unsigned char>(text[0])) != 0 || text[0] == '_') &&
           std::all_of(text.begin(), text.end(), [](unsigned char c) {
               return std::isalnum(c) != 0 || c == '_' || c == '-';
           });
}

std::string at_line(int line, const std::string &fault) {
    return "line " + std::to_string(line) + ": " + fault;
}

/// The length of the UTF-8 character that starts there; 0 for bytes that are no character, and for
/// characters that XML does not allow.
std::size_t character_length(const std::string &text, std::size_t start) {
    const auto byte = [&](std::size_t i) -> unsigned {
        return start + i < text.size() ? static_cast<unsigned char>(text[start + i]) : 0;
    };
    const unsigned first = byte(0);
    if (first < 0x80) {
        return first >= ' ' ||
               (first != 0 && std::strchr("\t\n\r", static_cast<int>(first)) != nullptr);
    }
    const std::size_t length = first < 0xc2   ? 0
                               : first < 0xe0 ? 2
                               : first < 0xf0 ? 3
                               : first < 0xf5 ? 4
                                              : 0;
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0U) != 0x80) {
            return 0;
        }
    }
    const bool is_longer_than_needed =
        (first == 0xe0 && byte(1) < 0xa0) || (first == 0xf0 && byte(1) < 0x90);
    const bool is_none = (first == 0xed && byte(1) >= 0xa0) || (first == 0xf4 && byte(1) >= 0x90);
    return is_longer_than_needed || is_none ? 0 : length;
}

/// The first byte that is wrong in XML, with its line, as a message; empty for none.
std::string character_fault(const std::string &text) {
    int line = 1;
    for (std::size_t i = 0, length = 0; i < text.size(); i += length) {
        length = character_length(text, i);
        if (length == 0) {
            char fault[60];
            std::snprintf(fault, sizeof(fault), "the byte 0x%02x cannot stand in XML in UTF-8",
                          text[i] & 0xff);
            return at_line(line, fault);
        }
        line += text[i] == '\n' ? 1 : 0;
    }
    return "";
}

/// The position after a tag, comment or the like that starts there; npos when it is not closed.
std::size_t end_of_markup(const std::string &text, std::size_t start) {
    constexpr std::array<std::array<const char *, 2>, 4> markup = {
        {{"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}, {"<!", ">"}}};
    for (const auto &[open, close] : markup) {
        if (text.compare(start, std::strlen(open), open) == 0) {
            const std::size_t end = text.find(close, start + std::strlen(open));
            return end == std::string::npos ? end : end + std::strlen(close);
        }
    }
    char quote = '\0';
    for (std::size_t at = start; at < text.size(); ++at) {
        const char c = text[at];
        if (quote == '\0' && c == '>') {
            return at + 1;
        }
        if (c == quote) {
            quote = '\0';
        } else if (quote == '\0' && (c == '"' || c == '\'')) {
            quote = c;
        }
    }
    return std::string::npos;
}

/// Whether each "&" in a text begins a character that XML knows.
bool has_valid_references(const std::string &text) {
    constexpr std::array<const char *, 6> references = {"amp;",  "lt;",   "gt;",
                                                        "quot;", "apos;", "#"};
    for (std::size_t at = 0; (at = text.find('&', at)) != std::string::npos;) {
        ++at;
        if (std::none_of(references.begin(), references.end(), [&](const char *reference) {
                return text.compare(at, std::strlen(reference), reference) == 0;
            })) {
            return false;
        }
    }
    return true;
}

/// The first tag that does not fit, with its line, as a message; empty when there is one element
/// and all tags fit. The parser accepts more than that, and names no line for it.
std::string tag_fault(const std::string &text) {
    std::vector<std::string> open; // elements
    bool has_element = false;
    int line = 1;
    for (std::size_t at = 0, end = 0; at < text.size(); at = end) {
        const bool is_markup = text[at] == '<';
        end = is_markup ? end_of_markup(text, at) : std::min(text.find('<', at), text.size());
        if (end == std::string::npos) {
            return at_line(line, "a tag or a quote is not closed");
        }
        const std::string part = text.substr(at, end - at);
        const bool is_outside = open.empty() && (is_markup ? has_element : !is_blank(part.c_str()));
        const std::string name =
            is_markup ? part.substr(1, part.find_first_of(" \t\r\n/>", 2) - 1) : "!";
        const bool is_end = name[0] == '/';
        if (is_end && open.empty()) {
            return at_line(line, "<" + name + "> closes nothing");
        }
        if (is_end && name.substr(1) != open.back()) {
            return at_line(line, "<" + name + "> stands where </" + open.back() + "> belongs");
        }
        if (name[0] == '>' || name == "/") {
            return at_line(line, "an element has no name");
        }
        if (is_outside && (!is_markup || std::strchr("?!", name[0]) == nullptr)) {
            return at_line(line, "there is something beside the module's element");
        }
        if (part[1] != '!' && !has_valid_references(part)) {
            return at_line(line,
                           R"("&" begins no known character; write "&amp;" for the sign itself)");
        }
        if (is_end) {
            open.pop_back();
        } else if (is_markup && std::strchr("?!", name[0]) == nullptr) {
            has_element = true;
            if (part[part.size() - 2] != '/') {
                open.push_back(name);
            }
        }
        line += static_cast<int>(std::count(part.begin(), part.end(), '\n'));
    }
    return !open.empty()  ? at_line(line, "<" + open.back() + "> is not closed")
           : !has_element ? "it holds no element"
                          : "";
}

const char *indentation(mxml_node_t *node, int where) {
    static std::string text;
    std::size_t depth = 0;
    for (mxml_node_t *p = mxmlGetParent(node); p != nullptr; p = mxmlGetParent(p)) {
        ++depth;
    }
    const bool is_line_start =
        where == MXML_WS_BEFORE_OPEN || (where == MXML_WS_BEFORE_CLOSE && has_element(node));
    text = is_line_start && (depth > 0 || where == MXML_WS_BEFORE_CLOSE)
               ? "\n" + std::string(2 * depth, ' ')
               : "";
    return text.c_str();
}

} // namespace

mxml_node_t *find_at(mxml_node_t *element, const std::string &path) {
    for (std::size_t start = 0; element != nullptr && start < path.size();) {
        const std::size_t stop = std::min(path.find('.', start), path.size());
        element = mxmlFindElement(element, element, path.substr(start, stop - start).c_str(),
                                  nullptr, nullptr, MXML_DESCEND_FIRST);
        start = stop + 1;
    }
    return element;
}

bool add_at(mxml_node_t *element, const std::string &path, const char *text) {
    for (std::size_t start = 0; start <= path.size();) {
        const std::size_t stop = std::min(path.find('.', start), path.size());
        const std::string name = path.substr(start, stop - start);
        if (!is_name(name) || mxmlGetType(mxmlGetFirstChild(element)) == MXML_OPAQUE) {
            return false;
        }
        mxml_node_t *child =
            mxmlFindElement(element, element, name.c_str(), nullptr, nullptr, MXML_DESCEND_FIRST);
        element = child != nullptr ? child : mxmlNewElement(element, name.c_str());
        start = stop + 1;
    }
    if (mxmlGetFirstChild(element) != nullptr) {
        return false;
    }
    return text == nullptr || mxmlNewOpaque(element, text) != nullptr;
}

mxml_node_t *first_element(mxml_node_t *parent) {
    return mxmlFindElement(parent, parent, nullptr, nullptr, nullptr, MXML_DESCEND_FIRST);
}

mxml_node_t *next_element(mxml_node_t *element) {
    return mxmlFindElement(element, mxmlGetParent(element), nullptr, nullptr, nullptr,
                           MXML_NO_DESCEND);
}

tree parse(const std::string &text, std::string &reason) {
    reason = character_fault(text);
    reason = reason.empty() ? tag_fault(text) : reason;
    if (!reason.empty()) {
        return nullptr;
    }
    // The parser wants a root, and comments may stand beside the module's element.
    parse_error.clear();
    mxmlSetErrorCallback(keep_error);
    const tree document(
        mxmlLoadString(nullptr, ("<request>" + text + "</request>").c_str(), MXML_OPAQUE_CALLBACK));
    mxmlSetErrorCallback(nullptr);
    tree root;
    mxml_node_t *node = document ? mxmlGetFirstChild(document.get()) : nullptr;
    while (node != nullptr && (!is_element(node) || is_markup(node))) {
        node = mxmlGetNextSibling(node);
    }
    if (!parse_error.empty() || node == nullptr) {
        reason = "the XML parser says: " + parse_error;
        return nullptr;
    }
    mxmlRemove(node);
    root.reset(node);
    if (!normalise(root.get())) {
        reason = "its elements are nested too deeply";
        return nullptr;
    }
    return root;
}

std::string text_of(mxml_node_t *element) {
    std::string text;
    for (mxml_node_t *node = mxmlGetFirstChild(element); node != nullptr;
         node = mxmlGetNextSibling(node)) {
        int is_spaced = 0;
        const char *word = mxmlGetText(node, &is_spaced);
        switch (mxmlGetType(node)) {
        case MXML_TEXT:
            text += std::string(is_spaced != 0 ? " " : "") + (word != nullptr ? word : "");
            break;
        case MXML_INTEGER:
            text += std::to_string(mxmlGetInteger(node));
            break;
        case MXML_OPAQUE:
            text += mxmlGetOpaque(node);
            break;
        default:
            break;
        }
    }
    return text;
}

std::string serialise(mxml_node_t *root) {
    mxmlSetWrapMargin(0);
    const std::unique_ptr<char, decltype(&std::free)> text(mxmlSaveAllocString(root, indentation),
                                                           &std::free);
    return text ? text.get() : "";
}

tree from_words(const std::string &module, char *const *words, int count, std::string &reason) {
    tree root(mxmlNewElement(nullptr, module.c_str()));
    for (int i = 0; i < count; ++i) {
        const std::string word = words[i];
        const std::size_t end = word.find('=');
        if (end == std::string::npos || end == 0) {
            reason = "'" + word + "' is neither KEY=VALUE nor a file";
            return nullptr;
        }
        if (!add_at(root.get(), word.substr(0, end), word.c_str() + end + 1)) {
            reason =
                "'" + word.substr(0, end) + "' is not the name of an element, or is given twice";
            return nullptr;
        }
    }
    return root;
}

std::string read_stream(FILE *stream) {
    std::string content;
    std::array<char, 4096> piece;
    for (std::size_t n = 0; (n = std::fread(piece.data(), 1, piece.size(), stream)) > 0;) {
        content.append(piece.data(), n);
    }
    return content;
}

bool read_file(const std::string &path, std::string &content, std::string &reason) {
    const std::unique_ptr<FILE, int (*)(FILE *)> opened(
        path == "-" ? nullptr : std::fopen(path.c_str(), "re"), &std::fclose);
    FILE *stream = path == "-" ? stdin : opened.get();
    if (stream == nullptr) {
        reason = "cannot open " + path + ": " + std::strerror(errno);
        return false;
    }
    content = read_stream(stream);
    if (std::ferror(stream) != 0) {
        reason = "cannot read " + path;
        return false;
    }
    return true;
}

} // namespace host
