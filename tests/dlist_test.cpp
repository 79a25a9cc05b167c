// Record lists: stored strings, tables, XML items and posted lists.

#include "support/device.h"

#include <climits>

#include "../src/owned.h"

namespace {

using namespace testing_device;

/// A table with the field names name, ip and mac, released when the test ends.
class dlist_test : public device_test {
protected:
    dlist_test() : table_(new dlist_node_t) {
        dl_dlist_init(table_.get());
        dl_get_meta_fields("name#ip#mac", table_.get(), '#');
    }
    ~dlist_test() override { dl_free_dlist(table_.get()); }

    dlist_node_t *table() { return table_.get(); }
    std::string text(int field = '#', int record = ' ') {
        char *value = nullptr;
        dl_dlist_to_variable(&value, table(), field, record);
        const tarrow::heap_string owned(value);
        return value;
    }
    std::string items() {
        const tree parent = parse("<p><kept/></p>");
        dl_dlist_to_xmllist(table(), parent.get());
        return serialise(parent.get());
    }
    void post(const std::string &xml) {
        const tree posted = parse(xml);
        dl_xmllist_to_dlist(posted.get(), table());
    }
    void fill(int count) {
        std::string value;
        for (int i = 0; i < count; ++i) {
            value += (i > 0 ? " k" : "k") + std::to_string(i) + "#v";
        }
        dl_variable_to_dlist_alloc(value.c_str(), table(), 2, '#', ' ');
    }

private:
    std::unique_ptr<dlist_node_t> table_;
};

TEST_F(dlist_test, tokens) {
    char text[] = ";a;;b";
    char *cursor = text;
    for (const char *expected : {"", "a", "", "b"}) {
        EXPECT_STREQ(tarrow::heap_string(dl_alloc_get_token(&cursor, ';')).get(), expected);
    }
    EXPECT_EQ(cursor, nullptr);
    EXPECT_EQ(dl_alloc_get_token(&cursor, ';'), nullptr);
    cursor = text; // a delimiter of 0 is in no text: nothing is read behind the terminator
    EXPECT_STREQ(tarrow::heap_string(dl_alloc_get_token(&cursor, '\0')).get(), ";a;;b");
    EXPECT_EQ(cursor, nullptr);
}

TEST_F(dlist_test, field_names) {
    EXPECT_EQ(dl_count_meta_fields("name#ip#mac", '#'), 3);
    EXPECT_EQ(dl_count_meta_fields("", '#'), 1);
    EXPECT_EQ(dl_count_meta_fields("#############", '#'), 14);
    EXPECT_EQ(dl_get_meta_fields("a,b,c,d,e,f,g,h,i,j,k,l,m,n", table(), ','), 12);
    EXPECT_STREQ(table()->dn_meta[11], "l");
    EXPECT_EQ(dl_get_meta_fields("only", table(), ','), 1);
    EXPECT_STREQ(table()->dn_meta[0], "only");
    EXPECT_EQ(table()->dn_meta[1], nullptr);
    EXPECT_EQ(dl_get_meta_fields(nullptr, table(), ','), 0);
}

TEST_F(dlist_test, stored_strings_survive_a_parse_and_a_write) {
    const struct {
        const char *value;
        int fields;
        const char *written, *complaint;
    } cases[] = {
        {"", 2, "", ""},
        {"a#1 b#2", 2, "a#1 b#2", ""},
        {"a#1 b", 2, "a#1 b", "Malformed variable\n"},
        {"a#1 ", 2, "a#1 ", "Malformed variable\n"}, // a record of one empty field
        {"a b ", 1, "a b ", ""},                     // and a third, empty, well formed
        {"alone", 1, "alone", ""},
        {"a## b#", 3, "a## b#", "Malformed variable\n"}, // " b" is a field of an empty one's
        {"a#1#2#3#4#5#6#7#8#9#10#11 b", 12, "a#1#2#3#4#5#6#7#8#9#10#11 b", "Malformed variable\n"},
        {"a#1", 0, "", ""},
        {"a#1", 13, "", ""},
    };
    for (const auto &c : cases) {
        dl_free_dlist(table());
        testing::internal::CaptureStderr();
        // Only the low 8 bits of a delimiter count.
        dl_variable_to_dlist_alloc(c.value, table(), c.fields, '#' + 256, ' ' - 256);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), c.complaint) << c.value;
        EXPECT_EQ(text(), c.written) << c.value;
    }
    dl_variable_to_dlist_alloc("x#1 y#2", table(), 2, '#', ' ');
    EXPECT_EQ(text(':', '^'), "x:1^y:2");
    EXPECT_EQ(table()->dn_dlist[0][2], nullptr);
}

TEST_F(dlist_test, a_second_parse_replaces_records_without_a_leak) {
    dl_variable_to_dlist_alloc("a#1#2 b#1#2 c#1#2", table(), 3, '#', ' ');
    dl_variable_to_dlist_alloc("x#9", table(), 2, '#', ' ');
    EXPECT_EQ(text(), "x#9 c#1#2"); // the slot after the last record is empty, later ones stay
}

TEST_F(dlist_test, no_more_than_500_records) {
    fill(501);
    EXPECT_STREQ(table()->dn_dlist[499][0], "k499");
    EXPECT_STREQ(table()->dn_meta[0], "name");
    post("<p><Item><name>new</name></Item><Item><name>k7</name><ip>seven</ip></Item></p>");
    EXPECT_STREQ(table()->dn_dlist[7][1], "seven"); // the addition before it was passed over
    EXPECT_EQ(text().find("new"), std::string::npos);
}

TEST_F(dlist_test, items_are_numbered_without_gaps_and_end_at_the_first_absent_field) {
    dl_variable_to_dlist_alloc("a#1#m b#2#m c#3#m", table(), 3, '#', ' ');
    dl_dlist_delete_record(table(), 1);
    std::free(std::exchange(table()->dn_dlist[2][1], nullptr));
    EXPECT_EQ(items(), "<p><kept /><Item index=\"1\"><name>a</name><ip>1</ip><mac>m</mac></Item>"
                       "<Item index=\"2\"><name>c</name></Item></p>");
    EXPECT_EQ(text(), "a#1#m c");
    table()->dn_dlist[0][3] = strdup("unnamed"); // has no element, and none is made for it
    EXPECT_NE(items().find("<mac>m</mac></Item>"), std::string::npos);

    const tree parent = parse("<p/>");
    for (const int index : {0, 41, 999999999, INT_MAX}) {
        dl_dlist_xml_additem(parent.get(), index);
    }
    EXPECT_EQ(serialise(parent.get()),
              "<p><Item index=\"1\" /><Item index=\"42\" />"
              "<Item index=\"100000000\" /><Item index=\"214748364\" /></p>");
    for (const int record : {-1, 500}) {
        dl_dlist_get_xmllist_entry(table(), parent.get(), record);
        dl_dlist_delete_record(table(), record);
    }
}

TEST_F(dlist_test, posted_items) {
    const struct {
        const char *posted, *result;
    } cases[] = {
        {"<Item><name>b</name><mac>new</mac></Item>", "a#1#m b#2#new c#3#m"}, // edits what it names
        {"<Item><mac/><name>b</name><other>x</other></Item>", "a#1#m b#2# c#3#m"},
        {"<Item><name Delete=\"0\">b</name></Item>", "a#1#m c#3#m"},
        {"<Item><name Delete=\"1\">b</name></Item><Item><name>d</name></Item>", "a#1#m d c#3#m"},
        {"<Item><name>d</name><ip>4</ip></Item>", "a#1#m b#2#m c#3#m d#4"},
        {"<Item><name>d</name><mac>lost</mac></Item>", "a#1#m b#2#m c#3#m d"},
        {"<Item><name Delete=\"1\">d</name></Item>",
         "a#1#m b#2#m c#3#m d"}, // matches nothing: adds
        {"<Item><name>B</name></Item>", "a#1#m b#2#m c#3#m B"},
        {"<Item><name>a</name><ip>x</ip></Item><Item><ip>y</ip></Item><Item><name>d</name></Item>",
         "a#x#m b#2#m c#3#m"}, // an item without a key ends it
        {"<Item><name/></Item><Item><name>d</name></Item>", "a#1#m b#2#m c#3#m"},
        {"<list><Item><name>a</name><ip>9</ip></Item></list>", "a#9#m b#2#m c#3#m"}, // at any depth
        // The key below a child is found but not stored: the slot stays empty, with nothing in it.
        {"<Item><k><name>d</name></k><ip>4</ip></Item><Item><name>e</name></Item>",
         "a#1#m b#2#m c#3#m e"},
    };
    for (const auto &c : cases) {
        dl_free_dlist(table());
        dl_get_meta_fields("name#ip#mac", table(), '#');
        dl_variable_to_dlist_alloc("a#1#m b#2#m c#3#m", table(), 3, '#', ' ');
        post("<p>" + std::string(c.posted) + "</p>");
        EXPECT_EQ(text(), c.result) << c.posted;
    }
    post("<p/>");
    dl_xmllist_to_dlist(nullptr, table());
    dl_free_dlist(table()); // without names there is no key
    post("<p><Item><name>d</name></Item></p>");
    EXPECT_EQ(text(), "");
}

TEST_F(dlist_test, set_types) {
    fill(500);
    const tree deleted = parse("<name Delete=\"\">k3</name>");
    const tree added = parse("<name>new</name>");
    const tree nested = parse("<name><b/></name>");
    int record = 7;
    EXPECT_EQ(dl_xmllist_get_set_type(deleted.get(), table(), &record), 4);
    EXPECT_EQ(record, 3);
    EXPECT_EQ(dl_xmllist_get_set_type(added.get(), table(), &record), 1);
    EXPECT_EQ(record, -1); // full
    dl_dlist_delete_record(table(), 9);
    dl_dlist_delete_record(table(), 8);
    EXPECT_EQ(dl_xmllist_get_set_type(added.get(), table(), &record), 1);
    EXPECT_EQ(record, 8);
    EXPECT_EQ(dl_xmllist_get_set_type(nested.get(), table(), &record), -1);
    EXPECT_EQ(record, -1);
    EXPECT_EQ(dl_xmllist_get_set_type(nullptr, table(), &record), -1);
    const tree text_node(mxmlNewElement(nullptr, "name"));
    mxmlNewText(text_node.get(), 0, "k3");
    EXPECT_EQ(dl_xmllist_get_set_type(text_node.get(), table(), &record), -1); // not opaque
}

TEST_F(dlist_test, null_arguments_do_nothing) {
    char *value = nullptr;
    dl_dlist_init(nullptr);
    dl_variable_to_dlist_alloc(nullptr, table(), 1, '#', ' ');
    dl_variable_to_dlist_alloc("a", nullptr, 1, '#', ' ');
    dl_dlist_to_variable(&value, nullptr, '#', ' ');
    dl_dlist_to_variable(nullptr, table(), '#', ' ');
    dl_dlist_to_xmllist(table(), nullptr);
    dl_dlist_add_edit_record(table(), 0, nullptr);
    dl_free_dlist(nullptr);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(dl_dlist_xml_additem(nullptr, 0), nullptr);
    EXPECT_EQ(dl_count_meta_fields(nullptr, '#'), 0);
    EXPECT_EQ(text(), "");
}

} // namespace
