#include "page.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "../device/cfgdb/backend.h"

namespace host {
namespace {

constexpr int deepest = 100; // levels of elements in a request

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

/// Adds a text, or null for none, at a dotted path below an element. Gives false when a part of the
/// path is no name or already has a text.
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

tree parse(const std::string &text, std::string &reason) {
    // Within an element of its own a request that is not closed, or not alone, is found out.
    const std::string wrapped = "<request>" + text + "</request>";
    parse_error.clear();
    mxmlSetErrorCallback(keep_error);
    const tree document(mxmlLoadString(nullptr, wrapped.c_str(), MXML_OPAQUE_CALLBACK));
    mxmlSetErrorCallback(nullptr);
    tree root;
    for (mxml_node_t *node = mxmlGetFirstChild(document.get()); node != nullptr;) {
        mxml_node_t *next = mxmlGetNextSibling(node);
        if (is_element(node) && !is_markup(node) && !root) {
            mxmlRemove(node);
            root.reset(node);
        } else if (!is_markup(node) && !is_blank(mxmlGetOpaque(node))) {
            parse_error = "there is something beside its element";
        }
        node = next;
    }
    if (!root || !parse_error.empty()) {
        reason = parse_error.empty() ? "it holds no element" : parse_error;
        return nullptr;
    }
    if (!normalise(root.get())) {
        reason = "its elements are nested too deeply";
        return nullptr;
    }
    return root;
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

page::page(const std::string &module) : module_(module) {
    std::string reason;
    if (read_file("/etc/tarrow/pages/" + module + ".xml", text_, reason)) {
        elements_ = parse(text_, reason);
    }
}

tree page::full_request() const {
    std::string reason;
    if (!elements_) { // all that the store has
        tree request(mxmlNewElement(nullptr, module_.c_str()));
        cfgdb_visit(
            cfgdb_default_backend, module_.c_str(),
            [](const char *, const char *key, const char *, void *root) {
                add_at(static_cast<mxml_node_t *>(root), key, nullptr);
            },
            request.get());
        return request;
    }
    tree request = parse(text_, reason);
    for (mxml_node_t *node = request.get(); node != nullptr;) {
        const bool is_posted = mxmlElementGetAttr(node, "get") != nullptr;
        mxml_node_t *next =
            mxmlWalkNext(node, request.get(), is_posted ? MXML_NO_DESCEND : MXML_DESCEND);
        for (const char *mark : {"store", "fields"}) {
            mxmlElementDeleteAttr(node, mark);
        }
        if (is_posted) {
            mxmlDelete(node);
        }
        node = next;
    }
    return request;
}

mxml_node_t *page::find(const std::string &path) const {
    mxml_node_t *element = elements_.get();
    for (std::size_t start = 0; element != nullptr && start < path.size();) {
        const std::size_t stop = std::min(path.find('.', start), path.size());
        element = mxmlFindElement(element, element, path.substr(start, stop - start).c_str(),
                                  nullptr, nullptr, MXML_DESCEND_FIRST);
        start = stop + 1;
    }
    return element;
}

element_kind page::kind(const std::string &path) const {
    mxml_node_t *element = find(path);
    if (element == nullptr) {
        return element_kind::setting;
    }
    const char *store = mxmlElementGetAttr(element, "store");
    if (store == nullptr) {
        return element_kind::live;
    }
    return std::strcmp(store, "list") == 0 ? element_kind::list : element_kind::setting;
}

std::string page::fields(const std::string &path) const {
    const char *names = mxmlElementGetAttr(find(path), "fields");
    return names != nullptr ? names : "";
}

} // namespace host
