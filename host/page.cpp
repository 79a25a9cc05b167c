#include "page.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace host {
namespace {

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

/// Drops the white space that stands beside elements.
void drop_blanks(mxml_node_t *root) {
    for (mxml_node_t *node = root; node != nullptr;) {
        mxml_node_t *next = mxmlWalkNext(node, root, MXML_DESCEND);
        if (mxmlGetType(node) == MXML_OPAQUE && is_blank(mxmlGetOpaque(node)) &&
            has_element(mxmlGetParent(node))) {
            mxmlDelete(node);
        }
        node = next;
    }
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
        const bool is_markup =
            is_element(node) && std::strchr("?!", *mxmlGetElement(node)) != nullptr;
        if (root && !is_markup && !is_blank(mxmlGetOpaque(node))) {
            parse_error = "there is something after its element";
        } else if (is_element(node) && !is_markup) {
            mxmlRemove(node);
            root.reset(node);
        }
        node = next;
    }
    if (!root || !parse_error.empty()) {
        reason = parse_error.empty() ? "it holds no element" : parse_error;
        return nullptr;
    }
    drop_blanks(root.get());
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
        mxml_node_t *element = root.get();
        for (std::size_t start = 0; start < end;) {
            const std::size_t stop = std::min(word.find('.', start), end);
            const std::string name = word.substr(start, stop - start);
            mxml_node_t *child = mxmlFindElement(element, element, name.c_str(), nullptr, nullptr,
                                                 MXML_DESCEND_FIRST);
            element = child != nullptr ? child : mxmlNewElement(element, name.c_str());
            start = stop + 1;
        }
        mxmlNewOpaque(element, word.c_str() + end + 1);
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
    tree request(elements_ ? parse(text_, reason) : tree(mxmlNewElement(nullptr, module_.c_str())));
    for (mxml_node_t *node = request.get(); node != nullptr;
         node = mxmlWalkNext(node, request.get(), MXML_DESCEND)) {
        if (is_element(node)) {
            mxmlElementDeleteAttr(node, "store");
            mxmlElementDeleteAttr(node, "fields");
        }
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
