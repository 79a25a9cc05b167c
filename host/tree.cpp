#include "tree.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace host {
namespace {

constexpr int deepest = 100; // levels of elements in a request

constexpr char wrapper[] = "tarrow_host.request";

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
    while ((node = mxmlGetParent(node)) != nullptr && depth <= deepest) {
        ++depth;
    }
    return depth;
}

/// Brings a parsed tree into the daemon's form: texts are opaque nodes, and beside elements stands
/// nothing. Gives false for a tree that is deeper than any page.
bool normalise(mxml_node_t *root) {
    for (mxml_node_t *node = root; node != nullptr;) {
        mxml_node_t *next = mxmlWalkNext(node, root, MXML_DESCEND);
        mxml_node_t *parent = mxmlGetParent(node);
        if (const char *data = mxmlGetCDATA(node); data != nullptr) {
            mxmlAdd(parent, MXML_ADD_BEFORE, node, mxmlNewOpaque(MXML_NO_PARENT, data));
        }
        const bool is_between_elements = mxmlGetType(node) == MXML_OPAQUE &&
                                         is_blank(mxmlGetOpaque(node)) && has_element(parent);
        if (depth_of(node) > deepest) {
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

/// The length of the UTF-8 character that a text begins with; 0 for none, or one that XML does not
/// allow.
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

/// What is wrong with a text's bytes, with its line; empty for nothing.
std::string character_fault(const std::string &text) {
    int line = 1;
    for (std::size_t i = 0, length = 0; i < text.size(); i += length) {
        length = character_length(text, i);
        if (length == 0) {
            char fault[60];
            std::snprintf(fault, sizeof(fault), "the byte 0x%02x is no text of XML in UTF-8",
                          text[i] & 0xff);
            return at_line(line, fault);
        }
        line += text[i] == '\n' ? 1 : 0;
    }
    return "";
}

/// The parser's error for a person, who wrote no wrapper, its line first.
std::string plain(const std::string &error) {
    char closed[100] = "";
    char parent[100] = "";
    int line = 0;
    const std::size_t where = error.rfind(" on line ");
    if (where == std::string::npos) {
        return "a tag is open at its end";
    }
    std::sscanf(error.c_str() + where, " on line %d", &line);
    if (std::sscanf(error.c_str(), "Mismatched close tag </%99[^>]> under parent <%99[^>]", closed,
                    parent) == 2) {
        const std::string end = std::string("</") + closed + ">";
        return at_line(line, std::strcmp(closed, wrapper) == 0
                                 ? std::string("<") + parent + "> is not closed"
                             : std::strcmp(parent, wrapper) == 0
                                 ? end + " closes nothing"
                                 : end + " stands where </" + parent + "> has to");
    }
    if (error.find("haracter ") != std::string::npos) {
        return at_line(
            line, "an \"&\" begins no character that there is; for itself it is written \"&amp;\"");
    }
    return at_line(line, error.find(wrapper) == std::string::npos ? error.substr(0, where)
                                                                  : "an element has no name");
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
    if (!reason.empty()) {
        return nullptr;
    }
    // Within an element of its own a request that is not closed, or not alone, is found out.
    const std::string wrapped = std::string("<") + wrapper + ">" + text + "</" + wrapper + ">";
    parse_error.clear();
    mxmlSetErrorCallback(keep_error);
    const tree document(mxmlLoadString(nullptr, wrapped.c_str(), MXML_OPAQUE_CALLBACK));
    mxmlSetErrorCallback(nullptr);
    if (!parse_error.empty() || !document) {
        reason = parse_error.empty() ? "a quote or a tag is open at its end" : plain(parse_error);
        return nullptr;
    }
    tree root;
    for (mxml_node_t *node = mxmlGetFirstChild(document.get()); node != nullptr;) {
        mxml_node_t *next = mxmlGetNextSibling(node);
        if (is_element(node) && !is_markup(node) && !root) {
            mxmlRemove(node);
            root.reset(node);
        } else if (!is_markup(node) && !is_blank(mxmlGetOpaque(node))) {
            reason = "there is something beside its element";
        }
        node = next;
    }
    if (!reason.empty() || !root) {
        reason = reason.empty() ? "it holds no element" : reason;
        return nullptr;
    }
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
            reason = "'" + word + "' is no key=value, nor a file";
            return nullptr;
        }
        if (!add_at(root.get(), word.substr(0, end), word.c_str() + end + 1)) {
            reason = "'" + word.substr(0, end) + "' is no name of an element, or stands twice";
            return nullptr;
        }
    }
    return root;
}

bool read_file(const std::string &path, std::string &content, std::string &reason) {
    const std::unique_ptr<FILE, int (*)(FILE *)> opened(
        path == "-" ? nullptr : std::fopen(path.c_str(), "re"), &std::fclose);
    FILE *stream = path == "-" ? stdin : opened.get();
    if (stream == nullptr) {
        reason = "cannot open " + path + ": " + std::strerror(errno);
        return false;
    }
    char piece[4096];
    for (std::size_t n = 0; (n = std::fread(piece, 1, sizeof(piece), stream)) > 0;) {
        content.append(piece, n);
    }
    if (std::ferror(stream) != 0) {
        reason = "cannot read " + path;
        return false;
    }
    return true;
}

} // namespace host
