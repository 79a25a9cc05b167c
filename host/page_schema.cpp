#include "page_schema.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <numeric>
#include <strings.h>

namespace host {
namespace {

/// How many letters to add, leave out or change to make one word of another.
std::size_t differences(const std::string &one, const std::string &other) {
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), 0U);
    for (std::size_t i = 0; i < one.size(); ++i) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 0; j < other.size(); ++j) {
            const std::size_t changed = diagonal + (one[i] == other[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

/// The keys of a module's settings. The store's operations cannot list them, but its command can.
std::vector<std::string> stored_keys(const std::string &module) {
    const std::unique_ptr<FILE, int (*)(FILE *)> lines(
        popen(("cfgdb_cmd list " + module).c_str(), "re"), &pclose);
    std::vector<std::string> keys;
    const std::string output = lines ? read_stream(lines.get()) : "";
    for (std::size_t start = 0; start < output.size();) { // "MODULE KEY VALUE"
        const std::size_t key = output.find(' ', start) + 1;
        keys.push_back(output.substr(key, output.find(' ', key) - key));
        start = std::min(output.find('\n', key), output.size()) + 1;
    }
    return keys;
}

} // namespace

page_schema::page_schema(const std::string &module) : module_(module) {
    std::string reason;
    if (read_file("/etc/tarrow/pages/" + module + ".xml", text_, reason)) {
        elements_ = parse(text_, reason);
    }
}

tree page_schema::full_request() const {
    std::string reason;
    if (!elements_) {
        tree request(mxmlNewElement(nullptr, module_.c_str()));
        for (const std::string &key : stored_keys(module_)) {
            add_at(request.get(), key, nullptr);
        }
        return request;
    }
    tree request = parse(text_, reason);
    for (mxml_node_t *node = request.get(); node != nullptr;) {
        const bool is_only_posted = mxmlElementGetAttr(node, "get") != nullptr;
        mxml_node_t *next =
            mxmlWalkNext(node, request.get(), is_only_posted ? MXML_NO_DESCEND : MXML_DESCEND);
        for (const char *mark : {"store", "fields"}) {
            mxmlElementDeleteAttr(node, mark);
        }
        if (is_only_posted) {
            mxmlDelete(node);
        }
        node = next;
    }
    return request;
}

tree page_schema::request_for(const std::string &path, std::string &reason) const {
    tree request = full_request();
    mxml_node_t *asked = find_at(request.get(), path);
    if (asked == nullptr) {
        reason = find_at(elements_.get(), path) == nullptr ? unknown_element_message(path)
                                                           : "'" + path + "' is only posted";
        return nullptr;
    }
    for (mxml_node_t *kept = asked; kept != request.get(); kept = mxmlGetParent(kept)) {
        for (mxml_node_t *other = mxmlGetFirstChild(mxmlGetParent(kept)); other != nullptr;) {
            mxml_node_t *next = mxmlGetNextSibling(other);
            if (other != kept) {
                mxmlDelete(other);
            }
            other = next;
        }
    }
    return request;
}

element_kind page_schema::kind(const std::string &path) const {
    mxml_node_t *element = find_at(elements_.get(), path);
    if (!elements_) {
        return element_kind::setting;
    }
    if (element == nullptr) {
        const std::size_t end = path.rfind('.');
        if (end == std::string::npos) {
            return element_kind::unknown;
        }
        const std::string parent = path.substr(0, end);
        mxml_node_t *known = find_at(elements_.get(), parent);
        const bool is_leaf = known == nullptr || first_element(known) == nullptr;
        return is_leaf && kind(parent) == element_kind::live ? element_kind::live
                                                             : element_kind::unknown;
    }
    const char *store = mxmlElementGetAttr(element, "store");
    if (store == nullptr) {
        return element_kind::live;
    }
    return std::strcmp(store, "list") == 0 ? element_kind::list : element_kind::setting;
}

std::string page_schema::unknown_element_message(const std::string &path) const {
    std::vector<std::string> paths;
    const std::function<void(mxml_node_t *, const std::string &)> collect =
        [&](mxml_node_t *parent, const std::string &prefix) {
            for (mxml_node_t *element = first_element(parent); element != nullptr;
                 element = next_element(element)) {
                paths.push_back(prefix + mxmlGetElement(element));
                collect(element, paths.back() + ".");
            }
        };
    const tree request = full_request();
    collect(elements_ ? elements_.get() : request.get(), "");
    const std::string meant = closest(path, paths);
    return "the page of '" + module_ + "' has no element '" + path + "'" +
           (meant.empty() ? "" : "; did you mean '" + meant + "'?");
}

std::string page_schema::fields(const std::string &path) const {
    const char *names = mxmlElementGetAttr(find_at(elements_.get(), path), "fields");
    return names != nullptr ? names : "";
}

std::string closest(const std::string &word, const std::vector<std::string> &words) {
    std::size_t nearest = 3;
    const std::string *found = nullptr;
    for (const std::string &candidate : words) {
        const std::string last = candidate.substr(candidate.rfind('.') + 1);
        const bool is_alike = strcasecmp(candidate.c_str(), word.c_str()) == 0 ||
                              strcasecmp(last.c_str(), word.c_str()) == 0;
        const std::size_t distance = is_alike ? 0 : differences(word, candidate);
        if (distance < std::min(nearest, word.size())) {
            nearest = distance;
            found = &candidate;
        }
    }
    return found != nullptr ? *found : "";
}

} // namespace host
