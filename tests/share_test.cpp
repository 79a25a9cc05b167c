// Files on the card, as far as no page reaches: links at the end of a path, large and deep trees.

#include "support/device.h"

#include "modules/http_share/http_share_applet.h"

namespace {

const std::string card = "/mnt/external_sdcard";

std::string on_card(const std::string &line) {
    return output_of("cd " + card + " && " + line);
}

using share_test = device_test;

TEST_F(share_test, a_time_is_set_of_what_is_no_link) {
    canned_output = "";
    on_card("mkdir /tmp/folder; ln -s /tmp/folder link");
    for (const char *path : {"/link", "/link/", "/link/.", "/link/./", "/link//", "/./link/"}) {
        update_file_time((card + path).c_str(), "2026-01-02");
    }
    EXPECT_EQ(events, strings());
    update_file_time("-r", "@86400");
    EXPECT_EQ(events, strings{"+ touch -d \"@86400\" ./-r"});
}

TEST_F(share_test, a_link_is_removed_and_what_it_leads_to_stays) {
    on_card("mkdir /tmp/folder; touch /tmp/folder/file kept;"
            "ln -s /tmp/folder a; ln -s /tmp/folder b; ln -s /tmp/folder c");
    force_rm("");
    force_rm((card + "/a").c_str());
    force_rm((card + "/b/.").c_str());
    force_rm((card + "/c//").c_str());
    EXPECT_EQ(on_card("ls"), "kept\n");
    EXPECT_EQ(output_of("ls /tmp/folder"), "file\n");
}

TEST_F(share_test, a_folder_that_cannot_be_opened_goes_if_it_is_empty) {
    on_card("mkdir empty full; touch full/file");
    limit_descriptors(0);
    force_rm((card + "/empty").c_str());
    force_rm((card + "/full").c_str());
    limit_descriptors(1024);
    EXPECT_EQ(on_card("find"), ".\n./full\n./full/file\n");
}

TEST_F(share_test, a_large_and_deep_tree_is_removed_with_few_descriptors) {
    on_card("mkdir t; cd t; for d in $(seq 30); do mkdir $d; (cd $d; touch $(seq 99)); done;"
            "for d in $(seq 40); do touch a b; mkdir d e; cd d; done");
    limit_descriptors(32);
    force_rm((card + "/t").c_str());
    limit_descriptors(1024);
    EXPECT_EQ(on_card("ls"), "");
}

TEST_F(share_test, a_path_of_more_than_1023_characters_stays) {
    std::string folders = card;
    for (int i = 0; i < 5; ++i) {
        folders += "/" + std::string(150, 'd');
    }
    const std::string fits = folders + "/" + std::string(1023 - folders.size() - 1, 'f');
    output_of("mkdir -p " + folders + "; touch " + fits + " " + fits + "f");
    force_rm((fits + "f").c_str());
    force_rm((card + "/" + std::string(150, 'd')).c_str());
    EXPECT_EQ(output_of("find " + card + " -type f"), fits + "f\n");
}

TEST_F(share_test, what_cannot_be_removed_does_not_keep_others) {
    on_card("for d in $(seq 20); do mkdir k; cd k; done; mkdir 1 2 3 4; touch 1/a 2/m 3/m 4/c;"
            "mount --bind 2/m 2/m; mount --bind 3/m 3/m");
    force_rm((card + "/k").c_str());
    EXPECT_EQ(on_card("cd $(find -name 4 -o -name 2)/..; umount 2/m 3/m; find | sort"),
              ".\n./2\n./2/m\n./3\n./3/m\n");
}

} // namespace
