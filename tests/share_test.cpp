// The file-sharing page: what it refuses, and what no page reaches: links at the end of a path, large and deep trees.

#include "support/transcript.h"

#include <algorithm>
#include <sstream>

#include "../src/modules/http_share/http_share_applet.h"

using namespace testing_device;

namespace {

const std::string card = "/mnt/external_sdcard";

std::string on_card(const std::string &command) { return output_of("cd " + card + " && " + command); }

class share_test : public stage {
protected:
    /// Posts an action with the texts of its elements ("-": no such element, "~": one without text).
    void expect_refused(const std::string &action) {
        static const std::map<std::string, strings> elements = {
            {"6", {"path_SD_CARD", "OLD_NAME_SD_CARD", "NEW_NAME_SD_CARD", "path_SD_CARD_time"}},
            {"8", {"path_SD_CARD", "name_SD_CARD"}},
            {"9", {"path_SD_CARD", "path_SD_CARD_time"}}};
        std::string words = action, page = "http_share <h>";
        const auto add = [&](const std::string &name) {
            const std::string text = take_word(words);
            if (text != "-") { page += "<" + name + ">" + (text != "~" ? text : "") + "</" + name + ">"; }
        };
        add("http_share_action");
        if (const auto known = elements.find(action.substr(0, 1)); known != elements.end()) {
            std::for_each(known->second.begin(), known->second.end(), add);
        }
        const step request = {.request = {"refused", page + "</h>", {}}};
        payload sent(request);
        strings lines = perform(request, &sent.record);
        if (action[0] == '9') { std::erase(lines, "$ touch /tmp/dbg_new_1"); } // done in any case
        EXPECT_EQ(lines, strings{"refused"}) << action;
    }
};

TEST_F(share_test, what_is_not_whole_or_leaves_the_card_is_refused) {
    on_card("mkdir -p dir /tmp/out; touch a dir/f /tmp/out/f;"
            "ln -s /tmp/out link; ln -s /tmp/new dangling; ln -s / dir/root");
    std::istringstream actions(
        "-|~|x|1|7|10|2|3|4|"
        "6 - /mmc2/a /mmc2/b 2026|6 x - /mmc2/b 2026|6 x /mmc2/a - 2026|6 x /mmc2/a /mmc2/b -|"
        "6 x /mmc2 /mmc2/b 2026|6 x /mmc2/. /mmc2/b 2026|6 x /mmc2/a /mmc2 2026|6 x /mmc2/a /mmc2//./ 2026|"
        "8 - a*|8 /mmc2 -|8 /mmc2 a|8 /mmc2 a**|8 /mmc2 *|8 /mmc2 *a*|8 /mmc2 a*.*|8 /mmc2 a*..*|"
        "8 /mmc2/dir ../a*|8 /mmc2 dir/f*|8 /mmc2 /*|8 /mmc2 a*b|8 /mmc2 a*\\(n*256)*|9 - 2026|9 /mmc2/new -|"
        "9 /mmc2/new ~|9 /mmc2/link 2026|9 /mmc2/dir/root 2026");
    for (std::string action; std::getline(actions, action, '|');) { expect_refused(action); }
    std::istringstream paths(
        "/mmc|/mmc2x|/mmc2..|/mmc2/..|/mmc2/dir/../a|/mmc2//..//..//tmp|/mmc2/./../x|/tmp/out|/mmc2/link/f|"
        "/mmc2/link/|/mmc2/./link//f|/mmc2/dir/root/tmp/out|/mmc2/dangling/|/mmc2/dangling/x");
    for (std::string path; std::getline(paths, path, '|');) {
        expect_refused("9 " + path + " 2026");
        expect_refused("6 x " + path + " /mmc2/b 2026");
        expect_refused("6 x /mmc2/a " + path + " 2026");
        expect_refused("8 " + path + " f*");
    }
}

TEST_F(share_test, links_at_the_end_of_a_path_are_not_followed) {
    on_card("mkdir empty /tmp/out; touch kept /tmp/out/f; ln -s /tmp/out a; ln -s /tmp/out b");
    strings lines;
    recorded = &lines;
    for (const char *path : {"/a", "/a/", "/a/.", "/b/./", "/b//", "/./a/"}) {
        update_file_time((card + path).c_str(), "2026");
    }
    update_file_time("-r", "@86400");
    recorded = nullptr;
    EXPECT_EQ(lines, strings{"touch -d \"@86400\" ./-r"});
    force_rm("");
    force_rm((card + "/a/.").c_str());
    force_rm((card + "/b/").c_str());
    {
        const no_descriptors none; // a folder that cannot be opened goes if it can
        force_rm((card + "/empty").c_str());
    }
    EXPECT_EQ(on_card("find /tmp/out .; rm kept"), "/tmp/out\n/tmp/out/f\n.\n./kept\n");
}

TEST_F(share_test, large_and_deep_trees_go_and_what_cannot_go_stays) {
    on_card("mkdir t && cd t && for d in $(seq 30); do mkdir $d; for f in $(seq 99); do : > $d/$f; done; done;"
            "for d in $(seq 200); do : > a; : > b; mkdir d e; cd d; done");
    rlimit all = {};
    getrlimit(RLIMIT_NOFILE, &all);
    const rlimit few = {32, all.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
    force_rm((card + "/t").c_str());
    setrlimit(RLIMIT_NOFILE, &all);
    EXPECT_EQ(on_card("find"), ".\n");
    // A path of 1023 characters can go, a longer one stays with the folders it is in.
    const std::string folders = card + unescape("/t/\\(n*200)/\\(n*200)/\\(n*200)/\\(n*200)/"),
                      fits = folders + std::string(196, 'f');
    output_of("mkdir -p " + folders + "; touch " + card + "/t/z " + fits + " " + fits + "f");
    force_rm((card + "/t").c_str());
    force_rm((fits + "f").c_str());
    EXPECT_EQ(output_of("find " + card + " -type f"), fits + "f\n");
    output_of("mv " + fits + "f " + fits);
    force_rm(fits.c_str());
    EXPECT_FALSE(exists(fits));
    // Deeper than folders are kept open, entries that cannot go do not keep others from going.
    on_card("rm -r t; for d in $(seq 20); do mkdir k; cd k; done; mkdir 1 2 3 4;"
            "touch 1/a 2/m 3/m 4/c; mount --bind 2/m 2/m; mount --bind 3/m 3/m");
    force_rm((card + "/k").c_str());
    EXPECT_EQ(on_card(unescape("cd .\\(/k*20)") + "; find | sort | tr '\\n' ' '; umount 2/m 3/m"),
              ". ./2 ./2/m ./3 ./3/m ");
    force_rm((card + "/").c_str()); // a mount: emptied, not removed
    EXPECT_EQ(on_card("find"), ".\n");
}

} // namespace
