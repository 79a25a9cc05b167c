// The file-sharing page: what it refuses, and what no page reaches: links at the end of a path, large and deep trees.

#include "support/transcript.h"

#include <sstream>
#include <unistd.h>

#include "../src/modules/http_share/http_share_applet.h"

using namespace testing_device;

namespace {

const std::string card = "/mnt/external_sdcard";

std::string on_card(const std::string &command) { return output_of("cd " + card + " && " + command); }

class share_test : public stage {
protected:
    /// Posts elements, of which each has a letter: "a=9 p=/mmc2/new".
    void expect_refused(std::string words) {
        const std::map<char, std::string> names = {{'a', "http_share_action"}, {'p', "path_SD_CARD"},
                                                   {'f', "name_SD_CARD"},      {'o', "OLD_NAME_SD_CARD"},
                                                   {'n', "NEW_NAME_SD_CARD"},  {'t', "path_SD_CARD_time"}};
        std::string page = "http_share <h>";
        while (!words.empty()) {
            const std::string word = take_word(words), &name = names.at(word[0]);
            page += "<" + name + ">" + word.substr(2) + "</" + name + ">";
        }
        strings lines = perform({.request = {"refused", page + "</h>", {}}});
        std::erase(lines, "$ touch /tmp/dbg_new_1"); // done in any case
        EXPECT_EQ(lines, strings()) << page;
    }
};

TEST_F(share_test, what_is_not_whole_or_leaves_the_card_is_refused) {
    on_card("mkdir -p dir /tmp/out; touch a dir/f /tmp/out/f;"
            "ln -s /tmp/out link; ln -s /tmp/new dangling; ln -s / dir/root");
    std::istringstream actions(
        "p=x|a=|a=x|a=1|a=7|a=10|a=2|a=3|a=4|a=6 o=/mmc2/a n=/mmc2/b t=2026|a=6 p=x n=/mmc2/b t=2026|"
        "a=6 p=x o=/mmc2/a t=2026|a=6 p=x o=/mmc2/a n=/mmc2/b|a=6 p=x o=/mmc2 n=/mmc2/b t=2026|"
        "a=6 p=x o=/mmc2/. n=/mmc2/b t=2026|a=6 p=x o=/mmc2/a n=/mmc2 t=2026|a=6 p=x o=/mmc2/a n=/mmc2//./ t=2026|"
        "a=8 f=a*|a=8 p=/mmc2|a=8 p=/mmc2 f=a|a=8 p=/mmc2 f=a**|a=8 p=/mmc2 f=*|a=8 p=/mmc2 f=*a*|"
        "a=8 p=/mmc2 f=a*.*|a=8 p=/mmc2 f=a*..*|a=8 p=/mmc2/dir f=../a*|a=8 p=/mmc2 f=dir/f*|a=8 p=/mmc2 f=/*|"
        "a=8 p=/mmc2 f=a*b|a=8 p=/mmc2 f=a*\\(n*256)*|a=9 t=2026|a=9 p=/mmc2/new|a=9 p=/mmc2/new t=|"
        "a=9 p=/mmc2/link t=2026|a=9 p=/mmc2/dir/root t=2026");
    for (std::string action; std::getline(actions, action, '|');) { expect_refused(action); }
    std::istringstream paths(
        "/mmc|/mmc2x|/mmc2..|/mmc2/..|/mmc2/dir/../a|/mmc2//..//..//tmp|/mmc2/./../x|/tmp/out|/mmc2/link/f|"
        "/mmc2/link/|/mmc2/./link//f|/mmc2/dir/root/tmp/out|/mmc2/dangling/|/mmc2/dangling/x");
    for (std::string path; std::getline(paths, path, '|');) {
        expect_refused("a=9 t=2026 p=" + path);
        expect_refused("a=6 p=x t=2026 n=/mmc2/b o=" + path);
        expect_refused("a=6 p=x t=2026 o=/mmc2/a n=" + path);
        expect_refused("a=8 f=f* p=" + path);
    }
}

TEST_F(share_test, links_at_the_end_of_a_path_are_not_followed) {
    on_card("mkdir empty /tmp/out; touch kept /tmp/out/f; ln -s /tmp/out a; ln -s /tmp/out b");
    for (const char *path : {"/a", "/a/", "/a/.", "/b/./", "/b//", "/./a/"}) {
        update_file_time((card + path).c_str(), "2026");
    }
    update_file_time("-r", "@86400");
    EXPECT_EQ(seen(), strings{"$ touch -d \"@86400\" ./-r"});
    force_rm("");
    force_rm((card + "/a/.").c_str());
    force_rm((card + "/b/").c_str());
    limit_descriptors(0); // a folder that cannot be opened goes if it can
    force_rm((card + "/empty").c_str());
    limit_descriptors(1024);
    EXPECT_EQ(on_card("find /tmp/out .; rm kept"), "/tmp/out\n/tmp/out/f\n.\n./kept\n");
}

TEST_F(share_test, large_and_deep_trees_go_and_what_cannot_go_stays) {
    on_card("mkdir t && cd t && for d in $(seq 30); do mkdir $d; for f in $(seq 99); do : > $d/$f; done; done;"
            "for d in $(seq 200); do : > a; : > b; mkdir d e; cd d; done");
    limit_descriptors(32);
    force_rm((card + "/t").c_str());
    limit_descriptors(1024);
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
    EXPECT_NE(access(fits.c_str(), F_OK), 0);
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
