// XML trees as the daemon hands them to its modules.
#pragma once

#include <cstdio>
#include <memory>
#include <mxml.h>
#include <string>

namespace host {

struct delete_tree {
    void operator()(mxml_node_t *tree) const { mxmlDelete(tree); }
};
using tree = std::unique_ptr<mxml_node_t, delete_tree>;

/// Parses a request into the form that the daemon gives to its modules: no comments, no white space
/// between elements, and one opaque node for each text. Null and the reason, with its line, when
/// the text is not one well-formed element.
tree parse(const std::string &text, std::string &reason);

/// The text in an element without child elements, whatever the types of its nodes.
std::string text_of(mxml_node_t *element);

/// An answer as XML, one element per line.
std::string serialise(mxml_node_t *root);

/// The element at a dotted path below another, or null.
mxml_node_t *find_at(mxml_node_t *element, const std::string &path);

/// Adds an element with a text (null for none) at a dotted path below another. False when the path
/// has a part that is no name, or leads through or to an element that has a text.
bool add_at(mxml_node_t *element, const std::string &path, const char *text);

/// The first child element, and the next element beside one; null for none.
mxml_node_t *first_element(mxml_node_t *parent);
mxml_node_t *next_element(mxml_node_t *element);

/// A request made from "key=value" words; dots in a key lead into nested elements. Null and the
/// reason for a word that has no such form.
tree from_words(const std::string &module, char *const *words, int count, std::string &reason);

/// Everything that can be read from a stream.
std::string read_stream(FILE *stream);

/// The content of a file, or of standard input for "-". False and the reason when it cannot be
/// read.
bool read_file(const std::string &path, std::string &content, std::string &reason);

} // namespace host
