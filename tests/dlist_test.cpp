// Record lists: stored strings, tables, XML items and posted lists.

#include "support/transcript.h"

#include <climits>

#include "../src/support/owned.h"

namespace {

using namespace testing_device;

class dlist_test : public device_test {
protected:
    ~dlist_test() override { dl_free_dlist(&table); }

    void fill(const std::string &value, int fields = 3, const char *names = "name#ip#mac") {
        dl_free_dlist(&table);
        dl_get_meta_fields(names, &table, '#');
        dl_variable_to_dlist_alloc(value.c_str(), &table, fields, '#' + 256, ' ' - 256); // the low 8 bits count
    }
    /// The table as a stored string.
    [[nodiscard]] std::string text() const {
        char *value = nullptr;
        dl_dlist_to_variable(&value, &table, '#', ' ');
        return tarrow::heap_string(value).get();
    }
    /// The table that a stored string makes, as it is written again, and what was said.
    std::string parsed(const std::string &value, int fields) {
        testing::internal::CaptureStderr();
        fill(value, fields);
        return text() + testing::internal::GetCapturedStderr();
    }
    void post(const std::string &items) { dl_xmllist_to_dlist(parse("<p>" + items + "</p>").get(), &table); }

    dlist_node_t table = {};
};

TEST_F(dlist_test, tokens_and_field_names) {
    char text[] = "a;b";
    char *cursor = text; // a delimiter of 0 is in no text: nothing is read behind the terminator
    EXPECT_STREQ(tarrow::heap_string(dl_alloc_get_token(&cursor, '\0')).get(), "a;b");
    EXPECT_EQ(cursor, nullptr);
    EXPECT_EQ(dl_alloc_get_token(&cursor, ';'), nullptr);
    EXPECT_EQ(dl_count_meta_fields("", '#') + 10 * dl_count_meta_fields("#############", '#'), 141);
    EXPECT_EQ(dl_get_meta_fields("a,b,c,d,e,f,g,h,i,j,k,l,m,n", &table, ','), 12);
    EXPECT_STREQ(table.dn_meta[11], "l");
    EXPECT_EQ(dl_get_meta_fields("only", &table, ','), 1);
    EXPECT_EQ(table.dn_meta[11], nullptr);
    fault = {.is_armed = true, .first = 1}; // of memory
    EXPECT_EQ(dl_get_meta_fields("lost,b", &table, ','), 0);
    fault = {};
    EXPECT_EQ(table.dn_meta[1], nullptr); // no name comes to another one's place
}

TEST_F(dlist_test, stored_strings_survive_a_parse_and_a_write) {
    EXPECT_EQ(parsed("a#1 b#2", 2), "a#1 b#2");
    EXPECT_EQ(parsed("a#1 b", 2), "a#1 bMalformed variable\n");
    EXPECT_EQ(parsed("a#1 ", 2), "a#1 Malformed variable\n");     // a second record of one empty field
    EXPECT_EQ(parsed("a b ", 1), "a b ");                         // and a third, empty, well formed
    EXPECT_EQ(parsed("a## b#", 3), "a## b#Malformed variable\n"); // strictly by position
    EXPECT_EQ(parsed("", 2) + parsed("a#1", 0) + parsed("a#1", 13), "");
    dl_variable_to_dlist_alloc("a#1", nullptr, 2, '#', ' ');
    EXPECT_EQ(parsed("1#2#3#4#5#6#7#8#9#10#11#12 b#", 12), "1#2#3#4#5#6#7#8#9#10#11#12 b#Malformed variable\n");
    fill("1#2#3#4#5#6#7#8#9#10#11#12 b", 12, "a#b#c#d#e#f#g#h#i#j#k#l");
    const tree items = parse("<p/>");
    dl_dlist_get_xmllist_entry(&table, items.get(), 0);
    EXPECT_EQ(serialise(items.get()).substr(84), "<k>11</k><l>12</l></p>"); // and no more
    fill("a#1#2 b#1#2 c#1#2");
    testing::internal::CaptureStderr();
    dl_variable_to_dlist_alloc("x#9", &table, 2, '#', ' '); // into a table in use: nothing leaks
    EXPECT_EQ(text() + testing::internal::GetCapturedStderr(), "x#9 c#1#2");
    EXPECT_EQ(table.dn_dlist[1][1], nullptr);
}

TEST_F(dlist_test, items_are_numbered_without_gaps_and_end_at_the_first_absent_field) {
    fill("a#1#m b#2#m c#3#m");
    dl_dlist_delete_record(&table, 1);
    std::free(std::exchange(table.dn_dlist[2][1], nullptr));
    table.dn_dlist[0][3] = strdup("nameless");
    const tree items = parse("<p><kept/></p>");
    dl_dlist_to_xmllist(&table, items.get());
    for (const int index : {41, INT_MAX}) { dl_dlist_xml_additem(items.get(), index); }
    for (const int record : {-1, 500}) { dl_dlist_get_xmllist_entry(&table, items.get(), record); }
    for (const int record : {-1, 500}) { dl_dlist_delete_record(&table, record); }
    EXPECT_EQ(serialise(items.get()), "<p><kept/><Item index=\"1\"><name>a</name><ip>1</ip><mac>m</mac></Item>"
                                      "<Item index=\"2\"><name>c</name></Item>"
                                      "<Item index=\"42\"/><Item index=\"214748364\"/></p>");
    EXPECT_EQ(text(), "a#1#m#nameless c");
}

TEST_F(dlist_test, posted_items) {
    const std::pair<const char *, const char *> cases[] = {
        {"<Item><mac/><name>b</name><other>x</other></Item>", "a#1#m b#2# c#3#m"}, // edits what it names
        {"<Item><name Delete=\"0\">b</name></Item><Item><name>d</name></Item>", "a#1#m d c#3#m"},
        {"<Item><name Delete=\"1\">B</name><mac>lost</mac></Item>", "a#1#m b#2#m c#3#m B"}, // matches nothing
        {"<list><Item><name>a</name><ip>x</ip></Item></list><Item><ip>y</ip></Item><Item><name>d</name></Item>",
         "a#x#m b#2#m c#3#m"}, // at any depth; one without a key ends it
        {"<Item><name/></Item><Item><name>d</name></Item>", "a#1#m b#2#m c#3#m"},
        // The key below a child is found but not stored: the slot stays empty, with nothing in it.
        {"<Item><k><name>d</name></k><ip>4</ip></Item><Item><name>e</name></Item>", "a#1#m b#2#m c#3#m e"},
    };
    for (const auto &[posted, result] : cases) {
        fill("a#1#m b#2#m c#3#m");
        post(posted);
        EXPECT_EQ(text(), result) << posted;
    }
    fill("");
    post(cases[5].first); // of an empty table as well
    EXPECT_EQ(text(), "e");
    fill("a#1#m b#2#m");
    dl_dlist_delete_record(&table, 0);
    post("<Item><name>z</name></Item>"); // in the first free place
    EXPECT_EQ(text(), "z b#2#m");
    fill(unescape("k#v\\( o#v*499) over#v"), 2); // a full table passes additions over
    post("<Item><name>new</name></Item><Item><name>k</name><ip>w</ip></Item>");
    EXPECT_EQ(text(), unescape("k#w\\( o#v*499)"));
    dl_free_dlist(&table); // without names there is no key
    dl_variable_to_dlist_alloc("k#v", &table, 2, '#', ' ');
    post("<Item><name Delete=\"\">k</name></Item>");
    EXPECT_EQ(text(), "k#v");
}

/// With memory refused lists lose nothing: the leak sanitizer would tell.
TEST_F(dlist_test, without_memory) {
    fault.has_struck = true;
    for (long n = 2; fault.has_struck; ++n) {
        const tree page = parse("<p><Item><name>b</name><ip>9</ip></Item></p>");
        char *value = nullptr;
        fill("a#1#m b#2#m c#3#m");
        fault = {.is_armed = true, .is_lasting = n % 2 == 0, .first = n / 2};
        dl_get_meta_fields("name#mac#ip", &table, '#');
        dl_variable_to_dlist_alloc("d#1#m e#2#m f#3#m", &table, 3, '#', ' ');
        dl_dlist_to_variable(&value, &table, '#', ' ');
        dl_dlist_to_xmllist(&table, page.get());
        dl_dlist_xml_additem(page.get(), 41);
        dl_xmllist_to_dlist(page.get(), &table);
        fault.is_armed = false;
        std::free(value);
    }
}

} // namespace
