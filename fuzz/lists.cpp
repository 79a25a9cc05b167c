// Record lists: every operation, with an independent model of what it does to the records.
//
// The first two characters of the task are the field and the record delimiter, the text is a stored string; part
// "names" holds the names, part "posted" a posted list.

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "support/world.h"

namespace {

using fuzz::require;
using record = std::array<std::optional<std::string>, TARROW_DLIST_FIELDS>;
using records = std::vector<record>;

std::string before_nul(const std::string &text) { return text.substr(0, text.find('\0')); }

records records_of(const dlist_node_t *list) {
    records found;
    found.reserve(TARROW_DLIST_RECORDS);
    for (const auto &fields : list->dn_dlist) {
        found.emplace_back();
        for (std::size_t f = 0; f < found.back().size(); ++f) {
            if (fields[f] != nullptr) { found.back()[f] = fields[f]; }
        }
    }
    return found;
}

/// A stored string and the table parsed from it say the same, record by record.
void check_stored(const std::string &stored, const dlist_node_t *list, int fields, char fd, char rd) {
    const std::string written = fuzz::stored_text(list, fd, rd);
    const bool is_full = list->dn_dlist[TARROW_DLIST_RECORDS - 1][0] != nullptr;
    require(written == stored ||
                (is_full && stored.compare(0, written.size(), written) == 0 && stored[written.size()] == rd),
            "a stored string comes back as it was", written);
    for (int r = 0; r < TARROW_DLIST_RECORDS; ++r) {
        char *const *record = list->dn_dlist[r];
        const bool is_last = r + 1 == TARROW_DLIST_RECORDS || list->dn_dlist[r + 1][0] == nullptr;
        for (int f = 0; f < TARROW_DLIST_FIELDS && record[0] != nullptr; ++f) {
            require((record[f] != nullptr) == (f < fields) || (is_last && record[f] == nullptr), "a record is whole");
            require(record[f] == nullptr || std::strchr(record[f], f + 1 < fields ? fd : rd) == nullptr,
                    "a field ends at its delimiter", stored);
        }
    }
}

/// The table as <Item> elements holds the named fields of each present record, in order.
void check_items(const dlist_node_t *list, int names) {
    const fuzz::tree root(mxmlNewElement(nullptr, "list"));
    dl_dlist_to_xmllist(list, root.get());
    mxml_node_t *item = mxmlGetFirstChild(root.get());
    int index = 0;
    for (const auto &fields : list->dn_dlist) {
        if (fields[0] == nullptr) { continue; }
        require(std::to_string(++index) == mxmlElementGetAttr(item, "index"), "items are counted");
        mxml_node_t *element = mxmlGetFirstChild(item);
        for (int f = 0; f < names && fields[f] != nullptr; ++f, element = mxmlGetNextSibling(element)) {
            require(std::strcmp(mxmlGetElement(element), list->dn_meta[f]) == 0 &&
                        std::strcmp(mxmlGetOpaque(element), fields[f]) == 0,
                    "an element bears its field");
        }
        require(element == nullptr, "an item holds its fields only");
        item = mxmlGetNextSibling(item);
    }
    require(item == nullptr, "a record has one item");
    fuzz::serialise(root.get());
}

/// Does to records what a posted list asks for.
void apply(mxml_node_t *posted, const dlist_node_t *list, int names, records &all) {
    const auto next = [&](mxml_node_t *from, mxml_node_t *top, const char *name) {
        return mxmlFindElement(from, top, name, nullptr, nullptr, MXML_DESCEND);
    };
    for (mxml_node_t *item = next(posted, posted, "Item"); item != nullptr; item = next(item, posted, "Item")) {
        mxml_node_t *key = next(item, item, list->dn_meta[0]);
        mxml_node_t *text = key != nullptr ? mxmlGetFirstChild(key) : nullptr;
        if (text == nullptr || mxmlGetType(text) != MXML_OPAQUE) { return; }
        const auto with_key = [&](const record &r) { return r[0] == std::string(mxmlGetOpaque(text)); };
        auto place = std::find_if(all.begin(), all.end(), with_key);
        if (place != all.end() && mxmlElementGetAttr(key, "Delete") != nullptr) {
            *place = {};
            continue;
        }
        if (place == all.end()) {
            place = std::find_if(all.begin(), all.end(), [](const record &r) { return !r[0]; });
        }
        if (place == all.end()) { continue; }
        for (mxml_node_t *child = mxmlGetFirstChild(item); child != nullptr; child = mxmlGetNextSibling(child)) {
            const char *name = mxmlGetElement(child);
            mxml_node_t *value = mxmlGetFirstChild(child);
            const bool is_text = value != nullptr && mxmlGetType(value) == MXML_OPAQUE;
            for (int f = 0; name != nullptr && f < names; ++f) {
                if (std::strcmp(list->dn_meta[f], name) == 0) {
                    (*place)[static_cast<std::size_t>(f)] = is_text ? mxmlGetOpaque(value) : "";
                    break;
                }
            }
        }
        if (!(*place)[0]) { *place = {}; }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::world world(data, size);
    const char fd = world.task.empty() ? ':' : world.task[0];
    const char rd = world.task.size() < 2 ? ' ' : world.task[1];
    const std::string stored = before_nul(world.text);
    const std::string names = before_nul(world.parts["names"]);
    const fuzz::table list = fuzz::new_table(names, stored, fd, rd);
    const int fields = std::min(dl_count_meta_fields(names.c_str(), '#'), TARROW_DLIST_FIELDS);
    require(fields == std::min<int>(static_cast<int>(std::count(names.begin(), names.end(), '#')) + 1, 12) &&
                list->dn_meta[fields - 1] != nullptr,
            "names are counted");
    if (fd != '\0' && rd != '\0') { check_stored(stored, list.get(), fields, fd, rd); }
    check_items(list.get(), fields);
    if (const fuzz::tree posted = fuzz::parse(world.parts["posted"])) {
        records expected = records_of(list.get());
        apply(posted.get(), list.get(), fields, expected);
        dl_xmllist_to_dlist(posted.get(), list.get());
        require(records_of(list.get()) == expected, "a posted list does what it says",
                fuzz::stored_text(list.get(), '#', '\n'));
        check_items(list.get(), fields);
    }
    dl_variable_to_dlist_alloc(stored.c_str(), list.get(), size % 2 == 0 ? fields : 1, rd, fd); // over what is there
    return 0;
}
