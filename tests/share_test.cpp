// The file-sharing page: what it refuses, and the removal of whole trees.

#include "support/device.h"
#include "support/transcript.h"

#include <dlfcn.h>
#include <map>
#include <unistd.h>

#include "../src/modules/http_share/http_share_applet.h"
#include "../src/support/owned.h"

using namespace testing_device;

namespace {

const std::string card = "/mnt/external_sdcard";

class share_test : public device_test {
protected:
    void SetUp() override {
        device_test::SetUp();
        output_of("rm -rf /tmp/out; cd " + card + " && find . -mindepth 1 -delete");
        set_setting("http_share", "sd_card_state", "1");
    }
    /// An action with the texts of its elements in their order ("-": no such element, "~": one without text).
    static int act(std::string words) {
        const std::map<std::string, strings> elements = {
            {"2", {"mode_set"}},
            {"3", {"path_SD_CARD"}},
            {"4", {"HTTP_SHARE_STATUS", "HTTP_SHARE_WR_AUTH", "HTTP_SHARE_FILE"}},
            {"6", {"path_SD_CARD", "OLD_NAME_SD_CARD", "NEW_NAME_SD_CARD", "path_SD_CARD_time"}},
            {"8", {"path_SD_CARD", "name_SD_CARD"}},
            {"9", {"path_SD_CARD", "path_SD_CARD_time"}}};
        const std::string action = take_word(words);
        const tree page(mxmlNewElement(nullptr, "http_share"));
        const auto add = [&](const std::string &name, const std::string &text) {
            mxml_node_t *element = text != "-" ? mxmlNewElement(page.get(), name.c_str()) : nullptr;
            if (element != nullptr && text != "~") { mxmlNewOpaque(element, unescape(text).c_str()); }
        };
        add("http_share_action", action);
        if (const auto known = elements.find(action); known != elements.end()) {
            for (const std::string &name : known->second) { add(name, take_word(words)); }
        }
        strings lines;
        recorded = &lines;
        const int result = http_share_xml_set(page.get());
        recorded = nullptr;
        EXPECT_EQ(lines, action == "9" ? strings{"touch /tmp/dbg_new_1"} : strings{});
        return result;
    }
};

TEST_F(share_test, what_is_not_whole_or_leaves_the_card_is_refused) {
    output_of("mkdir /tmp/out; echo kept > /tmp/out/f; cd " + card +
              "; mkdir dir; touch a dir/f; ln -s /tmp/out link; ln -s /tmp/new dangling; ln -s / dir/root");
    const char all_files[] = "find /tmp /mnt/external_sdcard ! -name 'dbg*' -printf '%p %T@ %s %l\n' | sort";
    const std::string before = output_of(all_files);
    std::istringstream actions(
        "- x|~ x|x x|1 x|7 x|10 x|2 -|2 ~|3 -|3 ~|4 - w f|4 s - f|4 s w -|4 ~ w f|4 s ~ f|4 s w ~|"
        "6 - /mmc2/a /mmc2/b 2026|6 x - /mmc2/b 2026|6 x /mmc2/a - 2026|6 x /mmc2/a /mmc2/b -|"
        "6 x /mmc2 /mmc2/b 2026|6 x /mmc2/. /mmc2/b 2026|6 x /mmc2/a /mmc2 2026|6 x /mmc2/a /mmc2//./ 2026|"
        "8 - a*|8 /mmc2 -|8 /mmc2 a|8 /mmc2 a**|8 /mmc2 *|8 /mmc2 *a*|8 /mmc2 a*.*|8 /mmc2 a*..*|"
        "8 /mmc2/dir ../a*|8 /mmc2 dir/f*|8 /mmc2 /*|8 /mmc2 a*b|8 /mmc2 a*\\(n*256)*|9 - 2026|9 /mmc2/new -|"
        "9 /mmc2/new ~");
    for (std::string words; std::getline(actions, words, '|');) { EXPECT_EQ(act(words), -1) << words; }
    std::istringstream paths(
        "/mmc|/mmc2x|/mmc2..|/mmc2/..|/mmc2/dir/../a|/mmc2//..//..//tmp|/mmc2/./../x|/tmp/out|/mmc2/link/f|"
        "/mmc2/link/|/mmc2/./link//f|/mmc2/dir/root/tmp/out|/mmc2/dangling/|/mmc2/dangling/x");
    for (std::string path; std::getline(paths, path, '|');) {
        EXPECT_EQ(act("9 " + path + " 2026"), -1) << path;
        EXPECT_EQ(act("6 x " + path + " /mmc2/b 2026"), -1) << path;
        EXPECT_EQ(act("6 x /mmc2/a " + path + " 2026"), -1) << path;
        EXPECT_EQ(act("8 " + path + " f*"), -1) << path;
    }
    EXPECT_EQ(output_of(all_files), before);
    EXPECT_EQ(act("9 /mmc2/link 2026"), -1);
    EXPECT_EQ(act("9 /mmc2/dir/root 2026"), -1);
    output_of("mv /userfs/cfgdb /userfs/away; : > /userfs/cfgdb");
    setting("wan", "proto"); // which notices
    for (const char *words : {"2 m", "3 /tmp", "4 s w f"}) { EXPECT_EQ(act(words), -1) << words; }
    const tree page = parse("<h><sd_card_state/><HTTP_SHARE_STATUS/><HTTP_SHARE_CARD_USRER/></h>");
    EXPECT_EQ(http_share_xml_get(page.get()), 0);
    EXPECT_EQ(serialise(page.get()), "<h><sd_card_state /><HTTP_SHARE_STATUS /><HTTP_SHARE_CARD_USRER /></h>");
    output_of("rm /userfs/cfgdb; mv /userfs/away /userfs/cfgdb");
    setting("wan", "proto");
    EXPECT_EQ(console(), "");
}

TEST_F(share_test, links_at_the_end_of_a_path_are_not_followed) {
    output_of("mkdir /tmp/out; echo kept > /tmp/out/f; cd " + card +
              "; ln -s /tmp/out a; ln -s /tmp/out b; touch -- -r");
    strings lines;
    recorded = &lines;
    EXPECT_EQ(chdir(card.c_str()), 0);
    for (const char *path : {"a", "a/", "a/.", "b/./", "b//", "./a/"}) { update_file_time(path, "2026"); }
    update_file_time(nullptr, "2026");
    update_file_time("b", nullptr);
    update_file_time("-r", "@86400");
    update_file_time((card + "/'").c_str(), "1");
    recorded = nullptr;
    EXPECT_EQ(lines, (strings{"touch -d \"@86400\" ./-r", "touch -d \"1\" '" + card + "/'\\'''"}));
    for (const char *path : {"", "a/.", "b/", static_cast<const char *>(nullptr)}) { force_rm(path); }
    output_of("mkdir " + card + "/empty");
    {
        const no_descriptors none; // a folder that cannot be opened goes if it can
        force_rm((card + "/empty").c_str());
    }
    EXPECT_EQ(chdir("/"), 0);
    EXPECT_EQ(output_of("find /tmp/out; find " + card), "/tmp/out\n/tmp/out/f\n" + card + "\n" + card + "/-r\n");
    char untouched[] = "", *path = untouched;
    remove_mmc2(nullptr, &path);
    remove_mmc2("/mmc2", nullptr);
    const char *value = untouched;
    const tree page = parse("<h><a>x</a></h>");
    get_opaque_string_by_name(page.get(), "b", &value);
    get_opaque_string_by_name(page.get(), "a", nullptr);
    EXPECT_TRUE(path == untouched && value == untouched);
    EXPECT_EQ(set_httpshare_auth_param(nullptr, "w", "f"), -1);
    EXPECT_EQ(http_share_post_set(TARROW_ACTION_SET, nullptr), -1);
    EXPECT_EQ(http_share_post_get(TARROW_ACTION_GET, nullptr), -1);
    write_file("/tmp/tcard_block", "d");
    get_tcard_block(nullptr);
}

TEST_F(share_test, large_and_deep_trees_go_and_what_cannot_go_stays) {
    output_of("cd " + card +
              "; for d in $(seq 30); do mkdir -p wide/$d; for f in $(seq 99); do : > wide/$d/$f; done; done;"
              "mkdir deep; cd deep; for d in $(seq 200); do : > a; : > b; mkdir d e; cd d; done");
    rlimit few = {}, all = {};
    getrlimit(RLIMIT_NOFILE, &all);
    few = {32, all.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
    pthread_attr_t small = {};
    pthread_t thread = {};
    pthread_attr_init(&small);
    // The frames of a sanitized program are many times as large.
    const bool is_sanitized = dlsym(RTLD_DEFAULT, "__asan_init") != nullptr;
    pthread_attr_setstacksize(&small, is_sanitized ? 2097152 : 131072);
    int result = -1;
    const auto remove = [](void *out) -> void * {
        *static_cast<int *>(out) = act("8 /mmc2 wide*deep*");
        return nullptr;
    };
    pthread_create(&thread, &small, remove, &result);
    pthread_join(thread, nullptr);
    setrlimit(RLIMIT_NOFILE, &all);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(output_of("find " + card), card + "\n");
    // A path of 1023 characters can go, a longer one stays with the folders it is in.
    const std::string folders = unescape("/t/\\(n*200)/\\(n*200)/\\(n*200)/\\(n*200)"), fits(196, 'f'),
                      name = card + folders + "/" + fits;
    output_of("mkdir -p " + card + folders + "; touch " + name + " " + name + "f " + card + "/t/z");
    force_rm((card + "/t").c_str());
    EXPECT_EQ(output_of("cd " + card + "; find . -type f"), "." + folders + "/" + fits + "f\n");
    force_rm((name + "f").c_str());
    EXPECT_TRUE(exists(name + "f"));
    output_of("mv " + name + "f " + name);
    force_rm(name.c_str());
    EXPECT_FALSE(exists(name));
    // Deeper than folders are kept open, entries that cannot go do not keep others from going.
    output_of("cd " + card +
              "; rm -r t; for d in $(seq 20); do mkdir k; cd k; done; mkdir 1 2 3 4;"
              "touch 1/a 2/m 3/m 4/c; mount --bind 2/m 2/m; mount --bind 3/m 3/m");
    force_rm((card + "/k").c_str());
    EXPECT_EQ(output_of("cd " + card + unescape("\\(/k*20)") + "; find . | sort | tr '\\n' ' '; umount 2/m 3/m"),
              ". ./2 ./2/m ./3 ./3/m ");
    force_rm((card + "/").c_str()); // a mount: emptied, not removed
    EXPECT_EQ(output_of("find " + card), card + "\n");
}

} // namespace
