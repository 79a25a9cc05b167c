// Record lists with 12 fields: string to table, table to string, table to XML, posted list to
// table.

#include "pair.h"

#include <cstring>
#include <memory>
#include <vector>

#include "../src/support/owned.h"
#include "../src/tarrow.h"

namespace {

constexpr int fields = TARROW_DLIST_FIELDS;
constexpr char names[] = "mac#ip#name#type#since#lease#port#rate#signal#vendor#group#note";

/// A list in all forms that the operations work on.
struct sample {
    explicit sample(int records)
        : count(records), table(new dlist_node_t), target(new dlist_node_t) {
        for (int r = 0; r < records; ++r) {
            for (int f = 0; f < fields; ++f) {
                texts.push_back("value-" + std::to_string(f) + "-" + std::to_string(r));
                stored += (stored.empty() ? "" : f == 0 ? " " : "#") + texts.back();
            }
        }
        for (dlist_node_t *list : {table.get(), target.get()}) {
            dl_dlist_init(list);
            dl_get_meta_fields(names, list, '#');
        }
        dl_variable_to_dlist_alloc(stored.c_str(), table.get(), fields, '#', ' ');
        posted = mxmlNewElement(nullptr, "list");
        dl_dlist_to_xmllist(table.get(), posted);
    }
    sample(const sample &) = delete;
    sample &operator=(const sample &) = delete;
    ~sample() {
        dl_free_dlist(table.get());
        dl_free_dlist(target.get());
        mxmlDelete(posted);
    }

    /// Empties the records of the target. Each measured operation and its floor end with it.
    void clear_target() const {
        for (int r = 0; r < count; ++r) {
            for (char *&field : target->dn_dlist[r]) {
                std::free(std::exchange(field, nullptr));
            }
        }
    }

    int count;
    std::vector<std::string> texts;
    std::string stored;
    std::unique_ptr<dlist_node_t> table;
    std::unique_ptr<dlist_node_t> target;
    mxml_node_t *posted = nullptr;
};

char *copy(const std::string &text) {
    char *block = static_cast<char *>(std::malloc(text.size() + 1));
    std::memcpy(block, text.c_str(), text.size() + 1);
    return block;
}

/// Checks the key of each of the 500 slots: every slot can have a record.
int present_slots(const dlist_node_t *list) {
    int present = 0;
    for (const auto &record : list->dn_dlist) {
        present += record[0] != nullptr ? 1 : 0;
    }
    return present;
}

void add_parse(const std::shared_ptr<sample> &s) {
    bench::pair(
        "parse/" + std::to_string(s->count), 1.3,
        [s] {
            dl_variable_to_dlist_alloc(s->stored.c_str(), s->target.get(), fields, '#', ' ');
            s->clear_target();
        },
        [s] { // a block and a copy for each field
            char **field = s->target->dn_dlist[0];
            for (const std::string &text : s->texts) {
                *field++ = copy(text);
            }
            s->clear_target();
        });
}

void add_write_back(const std::shared_ptr<sample> &s) {
    bench::pair(
        "write back/" + std::to_string(s->count), 1.3,
        [s] {
            char *value = nullptr;
            dl_dlist_to_variable(&value, s->table.get(), '#', ' ');
            std::free(value);
        },
        [s] { // checks each slot, adds up the lengths, allocates a block and copies the texts
            benchmark::DoNotOptimize(present_slots(s->table.get()));
            std::size_t size = 1;
            for (int r = 0; r < s->count; ++r) {
                for (const char *field : s->table->dn_dlist[r]) {
                    size += std::strlen(field) + 1;
                }
            }
            char *value = static_cast<char *>(std::malloc(size));
            char *end = value;
            for (int r = 0; r < s->count; ++r) {
                for (const char *field : s->table->dn_dlist[r]) {
                    end = stpcpy(end, field) + 1;
                }
            }
            benchmark::DoNotOptimize(end);
            std::free(value);
        });
}

void add_to_xml(const std::shared_ptr<sample> &s) {
    bench::pair(
        "to XML/" + std::to_string(s->count), 1.1,
        [s] {
            mxml_node_t *parent = mxmlNewElement(nullptr, "list");
            dl_dlist_to_xmllist(s->table.get(), parent);
            mxmlDelete(parent);
        },
        [s] { // checks each slot, and builds the tree
            mxml_node_t *parent = mxmlNewElement(nullptr, "list");
            benchmark::DoNotOptimize(present_slots(s->table.get()));
            for (int r = 0; r < s->count; ++r) {
                mxml_node_t *item = mxmlNewElement(parent, "Item");
                mxmlElementSetAttrf(item, "index", "%d", r + 1);
                for (int f = 0; f < fields; ++f) {
                    mxmlNewOpaque(mxmlNewElement(item, s->table->dn_meta[f]),
                                  s->table->dn_dlist[r][f]);
                }
            }
            mxmlDelete(parent);
        });
}

void add_posted(const std::shared_ptr<sample> &s) {
    bench::pair(
        "posted list/" + std::to_string(s->count), 0,
        [s] {
            dl_xmllist_to_dlist(s->posted, s->target.get());
            s->clear_target();
        },
        [s] { // finds each item, its key and its fields; a block and a copy for each field
            int r = 0;
            for (mxml_node_t *item =
                     mxmlFindElement(s->posted, s->posted, "Item", nullptr, nullptr, MXML_DESCEND);
                 item != nullptr;
                 item = mxmlFindElement(item, s->posted, "Item", nullptr, nullptr, MXML_DESCEND)) {
                benchmark::DoNotOptimize(
                    mxmlFindElement(item, item, "mac", nullptr, nullptr, MXML_DESCEND));
                char **field = s->target->dn_dlist[r++];
                for (mxml_node_t *child = mxmlGetFirstChild(item); child != nullptr;
                     child = mxmlGetNextSibling(child)) {
                    *field++ = strdup(mxmlGetOpaque(mxmlGetFirstChild(child)));
                }
            }
            s->clear_target();
        });
}

} // namespace

void bench::register_lists() {
    for (const int records : {1, 10, 100, 500}) {
        const auto list = std::make_shared<sample>(records);
        add_parse(list);
        add_write_back(list);
        add_to_xml(list);
        add_posted(list);
    }
}
