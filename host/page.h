// Page requests: one module's XML subtree, and what the daemon knows of the module's elements.
#pragma once

#include <memory>
#include <mxml.h>
#include <string>

namespace host {

struct delete_tree {
    void operator()(mxml_node_t *tree) const { mxmlDelete(tree); }
};
using tree = std::unique_ptr<mxml_node_t, delete_tree>;

/// Parses a request into the form that the daemon gives its modules: comments and the white space
/// between elements are left out, each text is one opaque node. On failure gives null and the
/// reason.
tree parse(const std::string &text, std::string &reason);

/// The text of an answer, an element a line.
std::string serialise(mxml_node_t *root);

/// A request made of "key=value" words, dots in a key leading into nested elements. Null and the
/// reason for a word without a key.
tree from_words(const std::string &module, char *const *words, int count, std::string &reason);

/// The whole content of a file, or of standard input for "-". Gives false and the reason.
bool read_file(const std::string &path, std::string &content, std::string &reason);

/// What an element of a module's page holds.
enum class element_kind {
    live,    ///< a value that the module's handlers give, or an action that they take
    setting, ///< a value of the settings store, under the element's path
    list,    ///< a list-valued setting
};

/// A module's page as the device has it in /etc/tarrow/pages: every element that can be asked for
/// or posted, marked store="text" for a setting, store="list" fields="NAME#NAME..." for a list, and
/// get="no" for what is only posted.
class page {
public:
    explicit page(const std::string &module);

    /// A request for all that the page has; for a module without a page, for all its settings.
    [[nodiscard]] tree full_request() const;
    /// What an element at a dotted path below the module's element is. What the page does not have
    /// is taken for a setting.
    [[nodiscard]] element_kind kind(const std::string &path) const;
    /// The names of a list's fields, joined by "#".
    [[nodiscard]] std::string fields(const std::string &path) const;

private:
    [[nodiscard]] mxml_node_t *find(const std::string &path) const;

    std::string module_;
    std::string text_;
    tree elements_;
};

} // namespace host
