// What the daemon knows of a module's elements.
#pragma once

#include <mxml.h>
#include <string>
#include <vector>

#include "tree.h"

namespace host {

/// What an element of a module's page holds.
enum class element_kind {
    live,    ///< a value that the module's handlers give, or an action that they take
    setting, ///< a value of the settings store, under the element's path
    list,    ///< a list-valued setting
    unknown, ///< none of the page's
};

/// A module's page as the device has it in /etc/tarrow/pages: every element that can be asked for
/// or posted, marked store="text" for a setting, store="list" fields="NAME#NAME..." for a list, and
/// get="no" for what is only posted.
class page {
public:
    explicit page(const std::string &module);

    /// A request for all that the page has; for a module without a page, for all its settings.
    [[nodiscard]] tree full_request() const;
    /// A request for the element at a dotted path, with all below it. Null and the reason when the
    /// page does not have it, or it is only posted.
    [[nodiscard]] tree request_for(const std::string &path, std::string &reason) const;
    /// What an element at a dotted path below the module's element is. What stands in an element
    /// whose content the page leaves to the handlers is theirs. A module without a page has
    /// settings only.
    [[nodiscard]] element_kind kind(const std::string &path) const;
    /// The page's lack of an element, in words, with the element that may have been meant.
    [[nodiscard]] std::string lack(const std::string &path) const;
    /// The names of a list's fields, joined by "#".
    [[nodiscard]] std::string fields(const std::string &path) const;

private:
    std::string module_;
    std::string text_;
    tree elements_;
};

/// The word among others that is likely to be meant by one, or empty: in another case, as the end
/// of a dotted path, or with up to two letters wrong.
std::string closest(const std::string &word, const std::vector<std::string> &words);

} // namespace host
