// Record lists: stored strings, tables, XML items and posted lists.

#include "support/device.h"

#include <climits>

#include "../src/support/owned.h"

namespace {

using namespace testing_device;

constexpr char names[] = "name#ip#mac";

class dlist_test : public device_test {
protected:
    list table{names};

    void fill(const std::string &value, int fields = 3) {
        dl_free_dlist(table.get());
        dl_get_meta_fields(names, table.get(), '#');
        // Only the low 8 bits of a delimiter count.
        dl_variable_to_dlist_alloc(value.c_str(), table.get(), fields, '#' + 256, ' ' - 256);
    }
    void post(const std::string &items) { dl_xmllist_to_dlist(parse("<p>" + items + "</p>").get(), table.get()); }
    char *&field(int record, int f) { return table.get()->dn_dlist[record][f]; }
};

TEST_F(dlist_test, tokens_and_field_names) {
    char text[] = ";a;;b";
    char *cursor = text;
    for (const char *expected : {"", "a", "", "b"}) {
        EXPECT_STREQ(tarrow::heap_string(dl_alloc_get_token(&cursor, ';')).get(), expected);
    }
    EXPECT_EQ(dl_alloc_get_token(&cursor, ';'), nullptr);
    cursor = text; // a delimiter of 0 is in no text: nothing is read behind the terminator
    EXPECT_STREQ(tarrow::heap_string(dl_alloc_get_token(&cursor, '\0')).get(), ";a;;b");
    EXPECT_EQ(cursor, nullptr);

    EXPECT_EQ(dl_count_meta_fields("name#ip#mac", '#'), 3);
    EXPECT_EQ(dl_count_meta_fields("", '#'), 1);
    EXPECT_EQ(dl_count_meta_fields("#############", '#'), 14);
    EXPECT_EQ(dl_get_meta_fields("a,b,c,d,e,f,g,h,i,j,k,l,m,n", table.get(), ','), 12);
    EXPECT_STREQ(table.get()->dn_meta[11], "l");
    EXPECT_EQ(dl_get_meta_fields("only", table.get(), ','), 1);
    EXPECT_EQ(table.get()->dn_meta[11], nullptr);
    EXPECT_EQ(dl_get_meta_fields(nullptr, table.get(), ','), 0);
}

TEST_F(dlist_test, stored_strings_survive_a_parse_and_a_write) {
    const struct {
        const char *value;
        int fields;
        const char *written;
        bool is_malformed;
    } cases[] = {
        {"a#1 b#2", 2, "a#1 b#2", false},
        {"a#1 b", 2, "a#1 b", true},
        {"a#1 ", 2, "a#1 ", true},     // a second record of one empty field
        {"a b ", 1, "a b ", false},    // and a third, empty, well formed
        {"a## b#", 3, "a## b#", true}, // strictly by position
        {"alone", 1, "alone", false},
        {"", 2, "", false},
        {"a#1", 0, "", false},
        {"a#1", 13, "", false},
        {"1#2#3#4#5#6#7#8#9#10#11#12 b", 12, "1#2#3#4#5#6#7#8#9#10#11#12 b", true},
    };
    for (const auto &c : cases) {
        testing::internal::CaptureStderr();
        fill(c.value, c.fields);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), c.is_malformed ? "Malformed variable\n" : "");
        EXPECT_EQ(table.text(), c.written) << c.value;
    }
    fill("a#1#2 b#1#2 c#1#2");
    dl_variable_to_dlist_alloc("x#9", table.get(), 2, '#', ' '); // into a table in use: nothing leaks
    EXPECT_EQ(table.text(), "x#9 c#1#2");
}

TEST_F(dlist_test, items_are_numbered_without_gaps_and_end_at_the_first_absent_field) {
    fill("a#1#m b#2#m c#3#m");
    dl_dlist_delete_record(table.get(), 1);
    std::free(std::exchange(field(2, 1), nullptr));
    field(0, 3) = strdup("without a name");
    const tree list = parse("<p><kept/></p>");
    dl_dlist_to_xmllist(table.get(), list.get());
    EXPECT_EQ(serialise(list.get()), "<p><kept /><Item index=\"1\"><name>a</name><ip>1</ip><mac>m</mac></Item>"
                                     "<Item index=\"2\"><name>c</name></Item></p>");
    EXPECT_EQ(table.text(), "a#1#m#without a name c");
    const tree items = parse("<p/>");
    for (const int index : {41, INT_MAX}) { dl_dlist_xml_additem(items.get(), index); }
    EXPECT_EQ(serialise(items.get()), "<p><Item index=\"42\" /><Item index=\"214748364\" /></p>");
    for (const int record : {-1, 500}) {
        dl_dlist_get_xmllist_entry(table.get(), items.get(), record);
        dl_dlist_delete_record(table.get(), record);
    }
}

TEST_F(dlist_test, posted_items) {
    const std::pair<const char *, const char *> cases[] = {
        {"<Item><name>b</name><mac>new</mac></Item>", "a#1#m b#2#new c#3#m"}, // edits what it names
        {"<Item><mac/><name>b</name><other>x</other></Item>", "a#1#m b#2# c#3#m"},
        {"<Item><name Delete=\"0\">b</name></Item>", "a#1#m c#3#m"},
        {"<Item><name Delete=\"\">b</name></Item><Item><name>d</name></Item>", "a#1#m d c#3#m"},
        {"<Item><name>d</name><mac>lost</mac></Item>", "a#1#m b#2#m c#3#m d"},
        {"<Item><name Delete=\"1\">d</name></Item>", "a#1#m b#2#m c#3#m d"}, // matches nothing: adds
        {"<Item><name>B</name></Item>", "a#1#m b#2#m c#3#m B"},
        {"<Item><name>a</name><ip>x</ip></Item><Item><ip>y</ip></Item><Item><name>d</name></Item>",
         "a#x#m b#2#m c#3#m"}, // an item without a key ends it
        {"<Item><name/></Item><Item><name>d</name></Item>", "a#1#m b#2#m c#3#m"},
        {"<list><Item><name>a</name><ip>9</ip></Item></list>", "a#9#m b#2#m c#3#m"}, // at any depth
        // The key below a child is found but not stored: the slot stays empty, with nothing in it.
        {"<Item><k><name>d</name></k><ip>4</ip></Item><Item><name>e</name></Item>", "a#1#m b#2#m c#3#m e"},
    };
    for (const auto &[posted, result] : cases) {
        fill("a#1#m b#2#m c#3#m");
        post(posted);
        EXPECT_EQ(table.text(), result) << posted;
    }
    std::string full = "k0#v";
    for (int i = 1; i <= 500; ++i) { full += " k" + std::to_string(i) + "#v"; }
    fill(full, 2); // a full table passes additions over
    EXPECT_STREQ(field(499, 0), "k499");
    post("<Item><name>new</name></Item><Item><name>k7</name><ip>seven</ip></Item>");
    EXPECT_STREQ(field(7, 1), "seven");
    EXPECT_EQ(table.text().find("new"), std::string::npos);
    dl_free_dlist(table.get()); // without names there is no key
    post("<Item><name>d</name></Item>");
    EXPECT_EQ(table.text(), "");
}

TEST_F(dlist_test, keys_are_opaque_texts_of_the_key_element) {
    fill("k#v");
    int record = 7;
    const tree not_opaque(mxmlNewElement(nullptr, "name"));
    mxmlNewText(not_opaque.get(), 0, "k");
    EXPECT_EQ(dl_xmllist_get_set_type(not_opaque.get(), table.get(), &record), -1);
    EXPECT_EQ(record, -1);
    EXPECT_EQ(dl_xmllist_get_set_type(nullptr, table.get(), &record), -1);
    EXPECT_EQ(dl_xmllist_get_set_type(parse("<name>new</name>").get(), table.get(), &record), 1);
    EXPECT_EQ(record, 1);
}

} // namespace
