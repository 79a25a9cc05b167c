// Record lists: stored strings, tables, XML items and posted lists.

#include "support/device.h"

#include <climits>
#include <memory>

#include "support/owned.h"
#include "tarrow.h"

namespace {

using tree = std::unique_ptr<mxml_node_t, decltype(&mxmlDelete)>;

tree parse(const std::string &xml) {
    return {mxmlLoadString(nullptr, xml.c_str(), MXML_OPAQUE_CALLBACK), &mxmlDelete};
}

std::string text_of(const tree &page) {
    mxmlSetWrapMargin(0);
    const tarrow::heap_string text(mxmlSaveAllocString(page.get(), MXML_NO_CALLBACK));
    return text.get();
}

class dlist_test : public device_test {
protected:
    ~dlist_test() override { dl_free_dlist(&table); }

    /// Makes the table a list of records of three fields, from a stored string like "a#1#m b#2#m".
    void load(const std::string &value) {
        dl_free_dlist(&table);
        dl_get_meta_fields("name#ip#mac", &table, '#');
        dl_variable_to_dlist_alloc(value.c_str(), &table, 3, '#', ' ');
    }
    /// The table as a stored string.
    [[nodiscard]] std::string stored() const {
        char *value = nullptr;
        dl_dlist_to_variable(&value, &table, '#', ' ');
        return tarrow::heap_string(value).get();
    }
    void post(const std::string &items) {
        dl_xmllist_to_dlist(parse("<page>" + items + "</page>").get(), &table);
    }

    dlist_node_t table = {};
};

TEST_F(dlist_test, a_delimiter_of_0_is_in_no_text) {
    char text[] = "a;b";
    char *cursor = text;
    EXPECT_STREQ(tarrow::heap_string(dl_alloc_get_token(&cursor, '\0')).get(), "a;b");
    EXPECT_EQ(cursor, nullptr);
}

TEST_F(dlist_test, names_are_counted_without_a_limit_and_twelve_are_kept) {
    EXPECT_EQ(dl_count_meta_fields("", ','), 1);
    EXPECT_EQ(dl_count_meta_fields("name,ip,mac", ','), 3);
    EXPECT_EQ(dl_count_meta_fields("a,b,c,d,e,f,g,h,i,j,k,l,m,n", ','), 14);
    EXPECT_EQ(dl_get_meta_fields("a,b,c,d,e,f,g,h,i,j,k,l,m,n", &table, ','), 12);
    EXPECT_STREQ(table.dn_meta[11], "l");
    EXPECT_EQ(dl_get_meta_fields("only", &table, ','), 1);
    EXPECT_STREQ(table.dn_meta[0], "only");
    EXPECT_EQ(table.dn_meta[1], nullptr) << "no name of the list before";
}

TEST_F(dlist_test, a_stored_string_survives_a_parse_and_a_write) {
    const struct {
        const char *reason;
        const char *value;
        int field_count;
        const char *written;
        const char *message;
    } cases[] = {
        {"two whole records", "a#1 b#2", 2, "a#1 b#2", ""},
        {"the last one lacks a field", "a#1 b", 2, "a#1 b", "Malformed variable\n"},
        {"a second one, of one empty field", "a#1 ", 2, "a#1 ", "Malformed variable\n"},
        {"all fields that there can be", "1#2#3#4#5#6#7#8#9#10#11#12 b#2#3#4#5#6#7#8#9#10#11#12",
         12, "1#2#3#4#5#6#7#8#9#10#11#12 b#2#3#4#5#6#7#8#9#10#11#12", ""},
        {"no record has 13 fields", "a#1", 13, "", ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.reason);
        dl_free_dlist(&table);
        testing::internal::CaptureStderr();
        dl_variable_to_dlist_alloc(c.value, &table, c.field_count, '#', ' ');
        EXPECT_EQ(testing::internal::GetCapturedStderr(), c.message);
        EXPECT_EQ(stored(), c.written);
    }
}

TEST_F(dlist_test, a_string_replaces_the_records_that_it_reaches) {
    load("a#1#2 b#1#2 c#1#2");
    testing::internal::CaptureStderr();
    dl_variable_to_dlist_alloc("x#9", &table, 2, '#', ' ');
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(table.dn_dlist[0][2], nullptr) << "x has two fields";
    EXPECT_EQ(table.dn_dlist[1][0], nullptr) << "the slot after the last record is emptied";
    EXPECT_EQ(table.dn_dlist[1][1], nullptr) << "as a whole";
    EXPECT_EQ(stored(), "x#9 c#1#2");
}

TEST_F(dlist_test, items_are_numbered_without_gaps) {
    load("a#1#m b#2#m c#3#m");
    dl_dlist_delete_record(&table, 1);
    const tree page = parse("<page><kept/></page>");
    dl_dlist_to_xmllist(&table, page.get());
    EXPECT_EQ(text_of(page),
              "<page><kept /><Item index=\"1\"><name>a</name><ip>1</ip><mac>m</mac></Item>"
              "<Item index=\"2\"><name>c</name><ip>3</ip><mac>m</mac></Item></page>\n");
    EXPECT_EQ(stored(), "a#1#m c#3#m");
}

TEST_F(dlist_test, an_item_ends_at_the_first_absent_field) {
    load("a#1#m");
    std::free(std::exchange(table.dn_dlist[0][1], nullptr));
    const tree item = parse("<Item/>");
    dl_dlist_get_xmllist_entry(&table, item.get(), 0);
    EXPECT_EQ(text_of(item), "<Item><name>a</name></Item>\n");
    EXPECT_EQ(stored(), "a");
}

TEST_F(dlist_test, of_the_number_of_an_item_9_characters_count) {
    const tree page = parse("<page/>");
    EXPECT_STREQ(mxmlElementGetAttr(dl_dlist_xml_additem(page.get(), 41), "index"), "42");
    EXPECT_STREQ(mxmlElementGetAttr(dl_dlist_xml_additem(page.get(), INT_MAX), "index"),
                 "214748364");
}

TEST_F(dlist_test, no_record_is_outside_of_the_table) {
    load("a#1#m");
    const tree item = parse("<Item><name>b</name></Item>");
    for (const int record : {-1, TARROW_DLIST_RECORDS}) { // behind the records the names stand
        dl_dlist_get_xmllist_entry(&table, item.get(), record);
        dl_dlist_add_edit_record(&table, record, item.get());
        dl_dlist_delete_record(&table, record);
    }
    EXPECT_EQ(text_of(item), "<Item><name>b</name></Item>\n");
    EXPECT_STREQ(table.dn_meta[0], "name");
    EXPECT_EQ(stored(), "a#1#m");
}

TEST_F(dlist_test, a_posted_list_is_applied_item_by_item) {
    const struct {
        const char *reason;
        const char *posted;
        const char *result; // of a#1#m b#2#m c#3#m
    } cases[] = {
        {"an edit changes the fields that it names",
         "<Item><mac/><name>b</name><other>x</other></Item>", "a#1#m b#2# c#3#m"},
        {"a marked key deletes its record", "<Item><name Delete=\"1\">b</name></Item>",
         "a#1#m c#3#m"},
        {"a Delete that matches no record, by case, is an addition",
         "<Item><name Delete=\"1\">B</name></Item>", "a#1#m b#2#m c#3#m B"},
        {"an item without a key ends the list",
         "<Item><name>a</name><ip>x</ip></Item><Item><ip>y</ip></Item><Item><name>d</name></Item>",
         "a#x#m b#2#m c#3#m"},
        {"items are found at any depth", "<list><Item><name>d</name></Item></list>",
         "a#1#m b#2#m c#3#m d"},
        {"a key that is no child of its item is not stored, and leaves the slot empty",
         "<Item><k><name>d</name></k><ip>4</ip></Item><Item><name>e</name></Item>",
         "a#1#m b#2#m c#3#m e"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.reason);
        load("a#1#m b#2#m c#3#m");
        post(c.posted);
        EXPECT_EQ(stored(), c.result);
    }
}

TEST_F(dlist_test, a_full_table_takes_edits_and_no_additions) {
    std::string others;
    for (int i = 1; i < TARROW_DLIST_RECORDS; ++i) {
        others += " o#1#m";
    }
    load("k#1#m" + others + " beyond#1#m");
    EXPECT_EQ(stored(), "k#1#m" + others);
    post("<Item><name>new</name></Item><Item><name>k</name><ip>2</ip></Item>");
    EXPECT_EQ(stored(), "k#2#m" + others);
}

TEST_F(dlist_test, a_table_without_names_has_no_key) {
    dl_variable_to_dlist_alloc("a#1", &table, 2, '#', ' ');
    post("<Item><name Delete=\"1\">a</name></Item>");
    EXPECT_EQ(stored(), "a#1");
}

} // namespace
