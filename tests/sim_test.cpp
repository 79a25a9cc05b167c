// The SIM: PIN lock, network lock and phone book, as stories through the dispatch on the device's modem.

#include "support/device.h"

#include <cstring>

#include <thread>
#include <unistd.h>

#include "../src/modules/contacts/contacts_applet.h"
#include "../src/modules/pin_puk/pin_puk_applet.h"

namespace {

using namespace testing_device;

const std::string chat = "/usr/app/at_chat ", port = "-i /dev/citty0 -c ";
const std::string pincnt = chat + "-c AT*PINCNT", clck = chat + "-c AT+CLCK=SC,2";
const strings sim_check = {"/usr/app/agent_client 0 /usr/app/check_sim_status.sh", "/usr/app/check_sim_status.sh"};

class sim_test : public device_test {
protected:
    void SetUp() override {
        device_test::SetUp();
        output_of("/sim/sim_card new; printf 0 > /tmp/cellular_sim_status");
    }
    /// Posts elements to pin_puk; gives the result of the handler.
    static int post(const std::string &elements) {
        const tree page = parse("<pin_puk><x>" + elements + "</x></pin_puk>");
        dc_args_t args = {TARROW_CB_ARGS_XML, {.dc_subnode = page.get()}, nullptr};
        return pin_puk_post_set(TARROW_ACTION_SET, &args);
    }
    static int post(int command, const std::string &pin, const std::string &new_pin = "") {
        return post("<command>" + std::to_string(command) + "</command><pin>" + pin + "</pin>" +
                    (new_pin.empty() ? "" : "<new_pin>" + new_pin + "</new_pin>"));
    }
    /// pin_attempts, puk_attempts, pin_enabled, cmd_status as the page reads them.
    static std::string state() {
        const std::string answer =
            get("pin_puk", "<p><a><pin_attempts/></a><puk_attempts/><pin_enabled/><cmd_status/></p>");
        return text_of(answer, "pin_attempts") + " " + text_of(answer, "puk_attempts") + " " +
               text_of(answer, "pin_enabled") + " " + text_of(answer, "cmd_status");
    }
    static std::string card(const std::string &value) { return output_of("/sim/sim_card get " + value); }
};

TEST_F(sim_test, the_page_is_read_from_the_cache_or_the_modem) {
    EXPECT_EQ(state(), "3 10 0 0");
    EXPECT_EQ(calls(), (strings{pincnt, clck}));
    EXPECT_EQ(log(), strings{"<15>Get the format data of PINCNT:3,2,10,9\n"});
    EXPECT_EQ(state(), "3 10 0 0");
    write_file("/tmp/telephony/pin_puk_cmd_status", "1");
    EXPECT_EQ(state(), "3 10 0 1");
    EXPECT_EQ(state(), "3 10 0 0"); // told once
    EXPECT_EQ(get("pin_puk", "<p><puk_attempts/></p>"), "<p><puk_attempts>-1</puk_attempts></p>");
    EXPECT_EQ(calls(), strings{});
    output_of("rm /tmp/telephony/p*; /sim/sim_card set modem silent");
    EXPECT_EQ(state(), "-1 -1 -1 0");
    EXPECT_FALSE(exists("/tmp/telephony/pin_attempts") || exists("/tmp/telephony/.tmpinfo"));
    write_file("/tmp/telephony/pin_enabled", "x"); // holds no number: as if missing
    output_of("printf 1 > /tmp/cellular_sim_status; /sim/sim_card set modem ok");
    calls();
    EXPECT_EQ(state(), "-1 -1 -1 0");
    output_of("rm /tmp/cellular_sim_status");
    EXPECT_EQ(state(), "-1 -1 -1 0");
    EXPECT_EQ(calls(), strings{}); // no SIM, no command
    output_of("rm -r /tmp/telephony; printf 0 > /tmp/cellular_sim_status; /sim/sim_card set puk_left 7");
    EXPECT_EQ(state(), "3 7 0 0"); // the folder is made
}

TEST_F(sim_test, network_lock_attempts) {
    const auto attempts = [&](const char *category) {
        write_file("/tmp/telephony/mep_category", category);
        const std::string left = text_of(get("pin_puk", "<p><mep_attempts/></p>"), "mep_attempts");
        return left + " " + console();
    };
    for (int category = 0; category < 5; ++category) { // each lock has its own
        char trace[80];
        std::snprintf(trace, sizeof(trace), "%d mep_get_attempts cat: %d mep_attempts: %d\n", 5 + category, category,
                      5 + category);
        EXPECT_EQ(attempts(std::to_string(category).c_str()), trace);
        EXPECT_FALSE(exists("/tmp/telephony/.tmpinfo"));
    }
    EXPECT_EQ(calls(), strings(5, chat + "-c AT+CPINR"));
    EXPECT_EQ(attempts("7"), "-1 mep_get_attempts invalid mep category: 7\n");
    EXPECT_EQ(attempts(""), "-1 mep_get_attempts open file fails\n");
    write_file("/tmp/telephony/mep_attempts", "2");
    EXPECT_EQ(attempts("0"), "2 ");
    EXPECT_EQ(calls(), strings{});
}

TEST_F(sim_test, lock_switched_on_and_off) {
    EXPECT_EQ(post(1, "1234"), 0);
    EXPECT_EQ(calls(), (strings{chat + port + "AT+CLCK=SC,1,1234", pincnt, clck}));
    EXPECT_EQ(log()[0], "<15>Executing /usr/app/at_chat -i /dev/citty0 -c AT+CLCK=\"SC\",1,1234\n");
    EXPECT_EQ(state(), "3 10 1 0");
    EXPECT_EQ(post(2, "0000"), 0);
    EXPECT_EQ(post(2, "1234"), 0);
    EXPECT_EQ(state(), "3 10 0 0");
    for (int i = 0; i < 3; ++i) {
        calls();
        post(1, "9999");
    }
    EXPECT_EQ(calls(), (strings{chat + port + "AT+CLCK=SC,1,9999", pincnt, clck, sim_check[0], sim_check[1]}));
    EXPECT_EQ(read_file("/tmp/telephony/pin_status"), "2"); // waits for the PUK
    EXPECT_EQ(post("<command>4</command><puk>12345678</puk><new_pin>5555</new_pin>"), 0);
    EXPECT_EQ(calls().back(), chat + "-c AT+CPIN=12345678,5555");
    EXPECT_EQ(state() + card("pin"), "3 10 0 05555");
}

TEST_F(sim_test, pin_change) {
    const std::string query = chat + "-i/dev/citty0 -c AT+CLCK=SC,2", change = chat + port + "AT+CPWD=SC,";
    const std::string lock = chat + port + "AT+CLCK=SC,";
    EXPECT_EQ(post(3, "1234", "4321"), 0);
    EXPECT_EQ(calls(), (strings{query, lock + "1,1234", change + "1234,4321", lock + "0,4321", pincnt}));
    EXPECT_EQ(card("pin") + card("lock"), "43210");
    EXPECT_EQ(post(3, "1111", "2222"), 0); // refused
    EXPECT_EQ(calls(), (strings{query, lock + "1,1111", change + "1111,2222", lock + "0,1111", pincnt}));
    EXPECT_EQ(read_file("/tmp/telephony/pin_puk_cmd_status"), "1");
    EXPECT_EQ(log().size(), 6U); // of each change the lock and the change itself, and the counters
    post(3, "1111", "2222");
    calls();
    EXPECT_EQ(post(3, "1111", "2222"), 0); // the last attempt
    EXPECT_EQ(calls().back(), sim_check[1]);
    output_of("/sim/sim_card set lock 1; /sim/sim_card set pin_left 3");
    EXPECT_EQ(post(3, "4321", "1111"), 0);
    EXPECT_EQ(calls(), (strings{query, change + "4321,1111", pincnt}));
    EXPECT_EQ(card("pin") + card("lock"), "11111");
    output_of("/sim/sim_card set modem silent; rm /tmp/telephony/p*");
    EXPECT_EQ(post(3, "1111", "2222"), 0); // no reply: the lock is left alone
    EXPECT_EQ(calls(), (strings{query, change + "1111,2222", pincnt}));
    EXPECT_EQ(read_file("/tmp/telephony/pin_puk_cmd_status"), "1");
    output_of("rm -r /tmp/telephony");
    EXPECT_EQ(post(3, "1111", "2222"), 0); // the query leaves no scratch file: nothing else happens
    EXPECT_EQ(calls(), strings{query});
}

TEST_F(sim_test, codes_entered_at_the_sim_check) {
    output_of("/sim/sim_card set open 0; : > /tmp/unlock_sim");
    write_file("/tmp/sim_checking_mutex", "");
    std::thread other([] {
        usleep(200000);
        EXPECT_EQ(setting("wan", "cellular.pin"), "(absent)"); // nothing is stored meanwhile
        unlink("/tmp/sim_checking_mutex");
    });
    EXPECT_EQ(post(5, "1234"), 0);
    other.join();
    EXPECT_EQ(read_file("/tmp/telephony/pin_status") + card("open"), "01");
    EXPECT_FALSE(exists("/tmp/unlock_sim"));

    output_of("mkdir -p /tmp/telephony; touch /tmp/unlock_sim /tmp/sim_checking_mutex");
    for (const char *cache : {"pin_attempts", "puk_attempts", "pin_enabled"}) {
        write_file(std::string("/tmp/telephony/") + cache, "9");
    }
    substitute("/usr/app/check_sim_status.sh",
               "#!/bin/sh\n{ ls -d /tmp/unlock_sim /tmp/sim_checking_mutex /tmp/telephony/p*_* 2> /dev/null\n"
               "cfgdb_cmd get wan cellular.puk; cfgdb_cmd get wan cellular.pin; } > /tmp/seen\n");
    std::thread check([] {
        usleep(150000);
        EXPECT_EQ(setting("wan", "cellular.puk"), "(absent)");
        unlink("/tmp/sim_checking_mutex");
    });
    EXPECT_EQ(post("<command>4</command><puk>12345678</puk><new_pin>5555</new_pin>"), 0);
    check.join();
    EXPECT_EQ(read_file("/tmp/seen"), "/tmp/telephony/pin_status\n12345678\n5555\n");
}

TEST_F(sim_test, network_lock_keys) {
    for (const std::string category : {"0", "1", "2", "3", "4"}) {
        output_of("/sim/sim_card set mep " + category + "; /usr/app/check_sim_status.sh");
        EXPECT_EQ(read_file("/tmp/telephony/pin_status"), "5");
        set_setting("wan", "proto", category == "2" ? "cellular" : "Cellular");
        EXPECT_EQ(post("<command>6</command><mep_unlock_ck>99</mep_unlock_ck>"), 0);
        EXPECT_EQ(card("mep_left"), "4"); // a wrong one
        calls();
        EXPECT_EQ(post("<command>6</command><mep_unlock_ck>00112233</mep_unlock_ck>"), 0);
        EXPECT_EQ(calls()[0],
                  category == "2" ? "/usr/app/agent_client 0 /etc/init.d/wan_cellular_start.sh restart" : sim_check[0]);
        EXPECT_EQ(card("mep"), "none");
    }
    EXPECT_EQ(mep_provide_ck("00112233"), -1); // the SIM waits for no key
    output_of("printf 5 > /tmp/telephony/pin_status; printf 7 > /tmp/telephony/mep_category");
    EXPECT_EQ(mep_provide_ck("00112233"), -1);
    output_of("mv /userfs/cfgdb /userfs/away; printf 0 > /tmp/telephony/mep_category");
    EXPECT_EQ(mep_provide_ck("1"), -1);
    EXPECT_EQ(provide_pin("1"), -1);
    EXPECT_EQ(reset_pin_using_puk("1", "2"), -1);
    output_of("mv /userfs/away /userfs/cfgdb");
    setting("wan", "proto");
}

TEST_F(sim_test, refused_posts_run_nothing_and_change_nothing) {
    for (const char *none : {"", "<command/>", "<command>0</command>", "<command>7</command>", "<command>abc</command>",
                             "<command>1</command>", "<command>3</command><pin>1</pin>",
                             "<command>4</command><new_pin>1</new_pin>", "<command>6</command><pin>1</pin>"}) {
        EXPECT_EQ(post(none), -1) << none;
    }
    const strings hostile = {
        "12 34",    "1;touch /tmp/x",        "$(id)", "`id`", "'", "\"", "1\n2", "*", "-1", "\xff\xfe",
        "\xc3\xa9", std::string(100000, '1')};
    for (int command = 1; command <= 6; ++command) {
        EXPECT_EQ(post("<command>" + std::to_string(command) +
                       "</command><pin>1 2</pin><new_pin>1 2</new_pin><puk>1 2</puk>"
                       "<mep_unlock_ck>1 2</mep_unlock_ck>"),
                  -1)
            << command;
    }
    output_of("printf 5 > /tmp/telephony/pin_status; printf 0 > /tmp/telephony/mep_category");
    EXPECT_EQ(mep_provide_ck(std::string(256, '1').c_str()), -1);
    const std::string lock_on = "/usr/app/at_chat -i /dev/citty0 -c AT+CLCK=\"SC\",1,";
    const std::string longest(254 - lock_on.size(), '1');
    EXPECT_EQ(enable_pin((longest + "1").c_str()), -1); // no cut code reaches the modem
    EXPECT_EQ(post("<command>1</command><pin>12<b/>34</pin>"), -1);
    EXPECT_EQ(post("<command>1</command><pin>12<!-- c -->34</pin>"), -1);
    for (const std::string &code : hostile) {
        for (const int result :
             {enable_pin(code.c_str()), disable_pin(code.c_str()), change_pin("1", code.c_str()),
              change_pin(code.c_str(), "1"), reset_pin_using_puk(code.c_str(), "1"),
              reset_pin_using_puk("1", code.c_str()), provide_pin(code.c_str()), mep_provide_ck(code.c_str())}) {
            EXPECT_EQ(result, -1) << code.substr(0, 9);
        }
    }
    EXPECT_EQ(calls(), strings{});
    EXPECT_EQ(enable_pin(longest.c_str()), 0);
    EXPECT_EQ(calls()[0], chat + port + "AT+CLCK=SC,1," + longest);
    const std::string key(255, 'k');
    EXPECT_EQ(mep_provide_ck(key.c_str()), 0);
    EXPECT_EQ(setting("wan", "cellular.mep_nck"), key);
}

TEST_F(sim_test, phone_book) {
    const auto change = [](const std::string &elements, const std::string &text = "") {
        const tree page = parse("<c>" + elements + "</c>");
        if (!text.empty()) { // as it is, in whatever encoding
            mxmlNewOpaque(mxmlFindElement(page.get(), page.get(), "text", nullptr, nullptr, MXML_DESCEND),
                          text.c_str());
        }
        dc_args_t args = {TARROW_CB_ARGS_XML, {.dc_subnode = page.get()}, nullptr};
        return contacts_post_set(TARROW_ACTION_SET, &args);
    };
    const auto write = [&](const std::string &text) {
        return change("<deleted>0</deleted><sim_contacts_list><Item><record>3</record><number>\"555\"</number><type>129"
                      "</type><text/></Item><Item><record>4</record></Item></sim_contacts_list>",
                      text);
    };
    substitute("/usr/bin/sync", "#!/bin/sh\n: > /tmp/synced\n");
    const std::string command = chat + "-c AT+CPBW=3,\"555\",129,", longest(56 - 9, '\'');
    for (const std::string &name : {std::string("\"Ann; O'Hara\""), std::string("$(id)`id`*\\ \xff"), longest}) {
        EXPECT_EQ(write(name), 0);
        EXPECT_EQ(calls(), strings{command + name});
    }
    // What would end the modem's command or begin another one stays from it, in each value.
    for (const char *value : {"record", "number", "type", "text"}) {
        for (const char *hostile : {"1;+CFUN=0", "1\n2", "\"a", "\"a\";b\"c\"", "\x7f"}) {
            const tree page = parse("<c><deleted>0</deleted><sim_contacts_list><Item><record/><number/><type/><text/>"
                                    "</Item></sim_contacts_list></c>");
            for (const char *name : {"record", "number", "type", "text"}) {
                mxmlNewOpaque(mxmlFindElement(page.get(), page.get(), name, nullptr, nullptr, MXML_DESCEND),
                              std::strcmp(name, value) == 0 ? hostile : "1");
            }
            EXPECT_EQ(contacts_xml_set(page.get()), -1) << value << hostile;
        }
    }
    EXPECT_EQ(calls(), strings{});
    EXPECT_EQ(write(longest + "x"), -1); // too long for the modem's command
    EXPECT_EQ(write(""), -1);
    const std::string del = "<deleted>1</deleted>",
                      list = "<sim_contacts_list><Item><record>3</record></Item></sim_contacts_list>";
    for (const std::string &none :
         {list, del, del + "<sim_contacts_list/>", "<deleted>0</deleted>" + list,
          del + "<sim_contacts_list><Item/></sim_contacts_list>",
          del + "<sim_contacts_list><Item><record>" + std::string(60, '1') + "</record></Item></sim_contacts_list>"}) {
        EXPECT_EQ(change(none), -1) << none;
    }
    EXPECT_TRUE(exists("/tmp/synced"));
    EXPECT_EQ(change("<deleted>2</deleted>" + list), 0);
    EXPECT_EQ(calls(), strings{});
    EXPECT_EQ(change(del + list), 0);
    EXPECT_EQ(calls(), strings{chat + "-c AT+CPBW=3"});
    const std::string record59(59, '1');
    EXPECT_EQ(change(del + "<sim_contacts_list><Item><record>" + record59 + "</record></Item></sim_contacts_list>"), 0);
    EXPECT_EQ(calls(), strings{chat + "-c AT+CPBW=" + record59});
    EXPECT_EQ(write("Ann"), 0);
    EXPECT_EQ(output_of("/etc/init.d/contacts_pre_get.sh get; cfgdb_cmd get contacts sim_contacts"),
              "3:\"555\":129:Ann\n");
    dc_args_t none = {};
    EXPECT_EQ(contacts_post_set(TARROW_ACTION_SET, &none), -1);
}

} // namespace
