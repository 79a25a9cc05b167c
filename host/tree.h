// XML trees as the daemon hands them to its modules.
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
/// reason, with its line.
tree parse(const std::string &text, std::string &reason);

/// What an element without child elements holds, whatever the type of its nodes.
std::string text_of(mxml_node_t *element);

/// The text of an answer, an element a line.
std::string serialise(mxml_node_t *root);

/// The element at a dotted path below one, or null.
mxml_node_t *find_at(mxml_node_t *element, const std::string &path);

/// Adds a text, or null for none, at a dotted path below an element. Gives false when a part of the
/// path is no name or already has a text.
bool add_at(mxml_node_t *element, const std::string &path, const char *text);

/// The first direct child element, or the next element after one; null for none.
mxml_node_t *first_element(mxml_node_t *parent);
mxml_node_t *next_element(mxml_node_t *element);

/// A request made of "key=value" words, dots in a key leading into nested elements. Null and the
/// reason for a word without a key.
tree from_words(const std::string &module, char *const *words, int count, std::string &reason);

/// The whole content of a file, or of standard input for "-". Gives false and the reason.
bool read_file(const std::string &path, std::string &content, std::string &reason);

} // namespace host
