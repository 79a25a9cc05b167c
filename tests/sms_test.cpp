// Messages: the page's requests through the dispatch, the scripts' answer files, posted lists.

#include "support/device.h"

#include "../device/cfgdb/backend.h"
#include "../src/modules/sms/sms_applet.h"
#include "../src/support/settings.h"

namespace {

using namespace testing_device;

const std::string pre_get = "/etc/init.d/sms_pre_get.sh ", pre_set = "/etc/init.d/sms_pre_set.sh ";

class sms_test : public device_test {
protected:
    void SetUp() override {
        device_test::SetUp();
        output_of("rm -rf /sim/sms; mkdir -p /tmp/telephony/sms");
    }
    /// The answer to a get request, and the handler's result.
    static std::string ask(const std::string &sections) {
        const tree page = parse("<sms>" + sections + "</sms>");
        dc_args_t args = {TARROW_CB_ARGS_XML, {.dc_subnode = page.get()}, nullptr};
        const int result = sms_pre_get(TARROW_ACTION_GET, &args);
        const std::string answer = serialise(page.get());
        return answer.substr(5, answer.size() - 11) + " " + std::to_string(result);
    }
    static void post(mxml_node_t *page) {
        dc_args_t args = {TARROW_CB_ARGS_XML, {.dc_subnode = page}, nullptr};
        EXPECT_EQ(tarrow_call_module_pre_set_handler("sms", TARROW_ACTION_SET, &args), 0);
    }
    static void post(const std::string &sections) { post(parse("<sms>" + sections + "</sms>").get()); }
    static void answer(const std::string &file, const std::string &content) {
        write_file("/tmp/telephony/sms/" + file, content);
    }
};

TEST_F(sms_test, a_message_is_saved_listed_and_deleted_and_another_sent) {
    post("<save>a b's</save><send>$(id)</send>");
    EXPECT_EQ(calls(), (strings{pre_set + "save a b's", pre_set + "send $(id)"}));
    EXPECT_EQ(ask("<save/><send/>"), "<save>OK\n</save><send>OK\n</send> 0");
    EXPECT_EQ(
        ask("<list><sim/></list><capacity><sim/></capacity>"),
        "<list><sim><item index=\"1\"><index>1</index><stat>2</stat><length>5</length><pdu>a b's</pdu></item></sim>"
        "</list><capacity><sim>50</sim></capacity> 0");
    EXPECT_EQ(calls(), (strings{pre_get + "list sim", pre_get + "capacity sim"}));
    post("<del><sim>1</sim></del>");
    EXPECT_EQ(ask("<del><sim/></del><list><sim/></list>"), "<del><sim>OK\n</sim></del><list><sim /></list> 0");
    EXPECT_EQ(read_file("/sim/sms/sent"), "$(id)\n");
    calls();
    post("<del><dev>7,8</dev><sim>9</sim></del>");
    post("<del><dev/><sim>9;x</sim></del>");
    EXPECT_EQ(calls(), (strings{pre_set + "del dev 7,8", pre_set + "del sim 9;x"}));
    EXPECT_EQ(ask("<del><sim/></del>"), "<del><sim>ERROR\n</sim></del> 0");
}

TEST_F(sms_test, a_posted_device_list_is_stored_message_by_message) {
    const std::string item = "<item><index>7</index><stat>1</stat><pdu>0A'; touch /tmp/x</pdu></item>";
    post("<list><dev>" + item +
         "<item><index>8</index><pdu>x</pdu></item><item><pdu>B</pdu><stat>2 x</stat><index>9"
         "</index></item></dev><sim>" +
         item + "</sim></list>");
    EXPECT_EQ(log(), (strings{"<14>KTX.sms.list.dev.item[0].index=7", "<14>KTX.sms.list.dev.item[0].stat=1",
                              "<14>KTX.sms.list.dev.item[0].pdu=0A'; touch /tmp/x",
                              "<14>Run cfgdb_cmd --backend /userfs/cfgdb/sms02.txt set sms 7 1#'0A'\\''; touch /tmp/x'",
                              "<14>KTX.sms.list.dev.item[1].index=8", "<14>KTX.sms.list.dev.item[1].pdu=x",
                              "<14>KTX.sms.list.dev.item[2].index=9", "<14>KTX.sms.list.dev.item[2].stat=2 x",
                              "<14>KTX.sms.list.dev.item[2].pdu=B",
                              "<14>Run cfgdb_cmd --backend /userfs/cfgdb/sms02.txt set sms 9 '2 x'#B"}));
    EXPECT_EQ(log_identity(), "tarrow:sms");
    EXPECT_EQ(output_of("cfgdb_cmd --backend /userfs/cfgdb/sms02.txt list"),
              "sms 7 1#0A'; touch /tmp/x\nsms 9 2 x#B\n");
    EXPECT_FALSE(exists("/tmp/x"));
    EXPECT_EQ(ask("<list><dev/><sim/></list>"), // the device's alone
              "<list><dev><item index=\"1\"><index>7</index><stat>1</stat><length>17</length><pdu>0A'; touch "
              "/tmp/x</pdu></item>"
              "<item index=\"2\"><index>9</index><stat>2 x</stat><length>1</length><pdu>B</pdu></item></dev><sim "
              "/></list> 0");
}

TEST_F(sms_test, answer_files_of_any_form) {
    substitute(pre_get.substr(0, pre_get.size() - 1), "#!/bin/sh\n");
    const tree page = parse("<list/>");
    answer(".l", "3#1#24#PDU#more\n\n###\n5##6\n" + std::string(399, '8') + "9#1\n" + std::string("\0x#1\n7", 6));
    EXPECT_EQ(get_list(page.get(), ".l"), 0);
    EXPECT_EQ(serialise(page.get()),
              "<list><item index=\"1\"><index>3</index><stat>1</stat><length>24</length><pdu>PDU</pdu></item>"
              "<item index=\"2\"><index>5</index><stat>6</stat></item><item index=\"3\"><index>" +
                  std::string(399, '8') +
                  "</index></item><item index=\"4\"><index>9</index><stat>1</stat></item>"
                  "<item index=\"5\"><index>7</index></item></list>");
    const std::pair<std::string, std::string> capacities[] = {{"50\n", "<sim>50</sim></capacity> 0"},
                                                              {" 7 8\n", "<sim>7</sim></capacity> 0"},
                                                              {"123456", "<sim>1234</sim></capacity> 0"},
                                                              {"", "<sim /></capacity> 0"},
                                                              {" \n", "<sim /></capacity> -1"}};
    for (const auto &[content, filled] : capacities) {
        answer(".capacity_sim", content);
        EXPECT_EQ(ask("<capacity><sim/></capacity>"), "<capacity>" + filled);
    }
    EXPECT_EQ(log().back(), "<11>Failed to get token from:  \n");
    answer(".save", std::string(100, 's'));
    answer(".del_dev", "");
    EXPECT_EQ(ask("<send/><save/><del><dev/><sim/></del>"), // .send is missing: the sections before it are filled
              "<send /><save>" + std::string(79, 's') + "</save><del><dev /><sim /></del> -1");
    EXPECT_EQ(log(), strings{"<11>Failed to open file: /tmp/telephony/sms/.send"});
}

TEST_F(sms_test, any_posted_text_is_one_argument) {
    const std::string send = pre_set + "send ";
    std::string every_byte;
    for (int c = 1; c < 256; ++c) { every_byte += static_cast<char>(c); }
    for (const std::string &text : {every_byte.substr(0, 127), every_byte.substr(127), std::string("-rf *"),
                                    std::string("\n"), std::string("'"), std::string("\xff")}) {
        const std::pair<const char *, const char *> posts[] = {{"<send/>", "send "},
                                                               {"<save/>", "save "},
                                                               {"<del><dev/></del>", "del dev "},
                                                               {"<del><sim/></del>", "del sim "}};
        for (const auto &[elements, action] : posts) {
            const tree page = parse("<sms>" + std::string(elements) + "</sms>");
            mxml_node_t *element = mxmlGetFirstChild(page.get());
            mxmlNewOpaque(mxmlGetFirstChild(element) != nullptr ? mxmlGetFirstChild(element) : element, text.c_str());
            post(page.get());
            EXPECT_EQ(calls()[0], std::string(pre_set).append(action).append(text));
        }
        const tree page = parse("<sms><list><dev><item><index/><stat/><pdu/></item></dev></list></sms>");
        for (const char *name : {"index", "stat", "pdu"}) {
            mxmlNewOpaque(mxmlFindElement(page.get(), page.get(), name, nullptr, nullptr, MXML_DESCEND), text.c_str());
        }
        post(page.get());
        const tarrow::store backend(cfgdb_open_backend("/userfs/cfgdb/sms02.txt", "sms"));
        const qstr_t key = tarrow::counted(text.c_str());
        const tarrow::heap_string stored(cfgdb_get(backend.get(), &key));
        const bool is_option = text[0] == '-'; // it would name another file
        EXPECT_STREQ(stored.get(), is_option ? nullptr : (text + "#").append(text).c_str());
    }
    post("<send>" + std::string(100000, ';') + "</send>"); // cut at 767 characters, quotes and all
    EXPECT_EQ(calls(), strings{send + std::string(767 - send.size() - 2, ';')});
    post("<send><b/></send><save/><del><dev><b/></dev></del>");
    EXPECT_EQ(calls(), strings{});
}

TEST_F(sms_test, bad_records_and_number_concatenation) {
    const tree page = parse("<sms><concat_number/></sms>");
    dc_args_t args = {TARROW_CB_ARGS_XML, {.dc_subnode = page.get()}, nullptr};
    EXPECT_EQ(sms_post_get(TARROW_ACTION_GET, &args), 0);
    const tree other = parse("<sms/>");
    dc_args_t not_asked = {TARROW_CB_ARGS_XML, {.dc_subnode = other.get()}, nullptr};
    EXPECT_EQ(sms_post_get(TARROW_ACTION_GET, &not_asked), 0);
    EXPECT_EQ(calls(), strings{"/etc/init.d/sms_post_get.sh concat_number"});
    log();
    args.dc_data.dc_subnode = nullptr;
    dc_args_t table = {TARROW_CB_ARGS_DLIST, {nullptr}, nullptr};
    for (dc_args_t *dc : {static_cast<dc_args_t *>(nullptr), &table, &args}) {
        EXPECT_EQ(sms_pre_get(TARROW_ACTION_GET, dc), -1);
    }
    EXPECT_EQ(log(), (strings{"<11>Argument dc is NULL", "<11>dc->dc_type is not TARROW_CB_ARGS_XML",
                              "<11>No XML root found"}));
}

} // namespace
