// What the daemon knows about the elements of a module.
#pragma once

#include <mxml.h>
#include <string>
#include <vector>

#include "tree.h"

namespace host {

/// What an element of a module holds.
enum class element_kind {
    live,    ///< a value that the module's handlers give, or an action that they take
    setting, ///< a value of the settings store; its key is the element's path
    list,    ///< a list-valued setting
    unknown, ///< the module does not have this element
};

/// The elements of a module that a page can ask for or post. The device describes them in
/// /etc/tarrow/pages/MODULE.xml: store="text" marks a setting, store="list" fields="NAME#NAME..." a
/// list-valued one, and get="no" an element that is only posted. A module without such a file has
/// settings only.
class page_schema {
public:
    explicit page_schema(const std::string &module);

    /// A request for everything that can be read. For a module without a description it asks for
    /// all stored settings.
    [[nodiscard]] tree full_request() const;
    /// A request for the element at a dotted path and everything below it. Null and the reason when
    /// the module does not have the element, or the element is only posted.
    [[nodiscard]] tree request_for(const std::string &path, std::string &reason) const;
    /// The kind of the element at a dotted path below the module's element. An element below a live
    /// one without described children is live too.
    [[nodiscard]] element_kind kind(const std::string &path) const;
    /// Says that the module does not have an element, and names a similar one that it has.
    [[nodiscard]] std::string unknown_element_message(const std::string &path) const;
    /// The names of a list's fields, joined by "#".
    [[nodiscard]] std::string fields(const std::string &path) const;

private:
    std::string module_;
    std::string text_;
    tree elements_;
};

/// The most similar word: the same in another letter case, the same as the end of a dotted path, or
/// with at most two letters wrong. Empty when no word is similar.
std::string closest(const std::string &word, const std::vector<std::string> &words);

} // namespace host
