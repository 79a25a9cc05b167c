// The file-sharing page: the card's mode and settings, and its files; nothing that is posted leaves the card.

#include "support/device.h"

#include <climits>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "../src/modules/http_share/http_share_applet.h"
#include "../src/support/owned.h"

namespace {

using namespace testing_device;

const std::string card = "/mnt/external_sdcard";
constexpr char unit[] = "/sys/devices/platform/usb_mass_storage/lun1/file";
constexpr char display[] = "/data/panelui/event";
#ifdef __SANITIZE_ADDRESS__
constexpr bool is_sanitized = true; // whose frames are many times as large
#elif defined(__has_feature)
constexpr bool is_sanitized = __has_feature(address_sanitizer);
#else
constexpr bool is_sanitized = false;
#endif

class share_test : public device_test {
protected:
    void SetUp() override {
        device_test::SetUp();
        output_of("find " + card + " -mindepth 1 -delete; rm -f " + display + "; : > " + unit +
                  "; mkdir -p /tmp/local/victim; echo kept > /tmp/local/victim/file");
        put_tool("touch", ". /sim/record\nexec /usr/bin/touch \"$@\"\n");
        set_setting("http_share", "sd_card_state", "1");
    }

    /// An action's page with these texts; a null one is an element without text.
    using texts = std::vector<std::pair<const char *, const char *>>;
    static tree page_of(int action, const texts &elements) {
        tree page(mxmlNewElement(nullptr, "http_share"));
        mxmlNewOpaquef(mxmlNewElement(page.get(), "http_share_action"), "%d", action);
        for (const auto &[name, text] : elements) {
            mxml_node_t *element = mxmlNewElement(mxmlNewElement(page.get(), "in"), name);
            if (text != nullptr) { mxmlNewOpaque(element, text); }
        }
        return page;
    }
    static int act(int action, const texts &elements) { return http_share_xml_set(page_of(action, elements).get()); }
    static int make(const std::string &path, const std::string &time = "2026-01-02 03:04:05") {
        return act(9, {{"path_SD_CARD", path.c_str()}, {"path_SD_CARD_time", time.c_str()}});
    }
    static int rename(const std::string &from, const std::string &to) {
        return act(6, {{"path_SD_CARD", "/mmc2"},
                       {"OLD_NAME_SD_CARD", from.c_str()},
                       {"NEW_NAME_SD_CARD", to.c_str()},
                       {"path_SD_CARD_time", "2026-01-02"}});
    }
    static int remove(const std::string &folder, const std::string &names) {
        return act(8, {{"path_SD_CARD", folder.c_str()}, {"name_SD_CARD", names.c_str()}});
    }
    /// Everything on the device but the card and the traces, with times and checksums.
    static void list_outside(const std::string &listing) {
        output_of("find / -xdev \\( -path /dev -o -path /mnt/external_sdcard -o -path /run -o -path /var/log -o -path "
                  "'/tmp/dbg*' -o "
                  "-path '/data/traffic*' -o -path /userfs/cfgdb \\) -prune -o ! -path /tmp ! -path /data "
                  "-printf '%p %y %m %T@ %l\\n' -type f -exec sha1sum {} + > /dev/shm/" +
                  listing);
    }
    static void expect_outside_as_before(const std::string &what) {
        list_outside("after");
        EXPECT_EQ(output_of("diff /dev/shm/before /dev/shm/after"), "") << what;
    }
    static std::string time_of(const std::string &path) { return output_of("stat -c %y '" + path + "' | cut -c1-19"); }
};

TEST_F(share_test, the_card_changes_hands) {
    write_file("/tmp/tcard_block", " /dev/block/mmcblk1p1 other");
    EXPECT_EQ(act(2, {{"mode_set", "usb"}}), 0);
    EXPECT_EQ(setting("http_share", "sdcard_mode_option") + read_file(unit), "0/dev/block/mmcblk1p1\n");
    EXPECT_FALSE(exists(display));
    EXPECT_EQ(act(2, {{"mode_set", "http_share_mode"}}), 0);
    EXPECT_EQ(setting("http_share", "sdcard_mode_option") + read_file(unit), "1\n");
    EXPECT_EQ(read_file(display), "http_share_remount\n");
    for (const std::string &word : {std::string("(absent)"), std::string(), "/" + std::string(29, 'd'),
                                    std::string(29, '\'')}) { // a cut path could be another device's
        output_of("rm /tmp/tcard_block");
        if (word != "(absent)") { write_file("/tmp/tcard_block", word); }
        EXPECT_EQ(act(2, {{"mode_set", "x"}}), 0);
        EXPECT_EQ(read_file(unit), "/dev/block/mmcblk0\n") << word;
    }
    for (const std::string &word : {"/" + std::string(28, 'd'), std::string("1"), std::string("$(id)'")}) {
        write_file("/tmp/tcard_block", word);
        EXPECT_EQ(act(2, {{"mode_set", "x"}}), 0);
        EXPECT_EQ(read_file(unit), word + "\n");
    }
    EXPECT_EQ(act(2, {{"mode_set", nullptr}}), -1);
    EXPECT_EQ(calls(), strings{});
}

TEST_F(share_test, files_are_looked_for_by_the_path_as_posted) {
    const auto look = [](const char *path) {
        const tree page = page_of(3, {{"path_SD_CARD", path}});
        dc_args_t args = {TARROW_CB_ARGS_XML, {.dc_subnode = page.get()}, nullptr};
        tarrow_call_module_post_set_handler("http_share", TARROW_ACTION_SET, &args);
        return serialise(page.get());
    };
    EXPECT_NE(look("/tmp/local").find(">/tmp/localexist</"), std::string::npos);
    EXPECT_NE(look("/mmc2/x").find(">/mmc2/xnoexist</"), std::string::npos);
    set_setting("http_share", "sd_card_state", "2");
    EXPECT_NE(look("/tmp/local").find(">/tmp/localno_sdcard</"), std::string::npos);
    EXPECT_EQ(act(3, {{"path_SD_CARD", nullptr}}), -1);
    EXPECT_EQ(act(3, {}), -1);
}

TEST_F(share_test, settings_are_stored_and_shown) {
    const std::string file(70, 'f');
    texts settings = {
        {"HTTP_SHARE_FILE", file.c_str()}, {"HTTP_SHARE_STATUS", "a status of 18 ch"}, {"HTTP_SHARE_WR_AUTH", "w"}};
    EXPECT_EQ(act(4, settings), 0);
    EXPECT_EQ(setting("http_share", "HTTP_SHARE_STATUS") + setting("http_share", "HTTP_SHARE_FILE"),
              "a status of 18 ch" + file);
    EXPECT_EQ(act(4, {{"HTTP_SHARE_STATUS", "b"}, {"HTTP_SHARE_WR_AUTH", "c"}}), -1);
    EXPECT_EQ(setting("http_share", "HTTP_SHARE_STATUS"), "a status of 18 ch");
    const std::string request =
        "<m><HTTP_SHARE_CARD_USRER/><b><HTTP_SHARE_FILE/></b><HTTP_SHARE_STATUS/><sd_card_state/><sdcard_mode_option/>"
        "<HTTP_SHARE_WR_AUTH/></m>";
    const auto show = [&](const std::string &xml) {
        const tree page = parse(xml);
        dc_args_t args = {TARROW_CB_ARGS_XML, {.dc_subnode = page.get()}, nullptr};
        EXPECT_EQ(http_share_post_get(TARROW_ACTION_GET, &args), 0);
        return serialise(page.get());
    };
    EXPECT_EQ(show(request),
              "<m><HTTP_SHARE_CARD_USRER></HTTP_SHARE_CARD_USRER><b><HTTP_SHARE_FILE>" + file.substr(0, 63) +
                  "</HTTP_SHARE_FILE></b><HTTP_SHARE_STATUS>a status of 18 </HTTP_SHARE_STATUS><sd_card_state>1"
                  "</sd_card_state><sdcard_mode_option>0</sdcard_mode_option><HTTP_SHARE_WR_AUTH>w</HTTP_SHARE_WR_AUTH>"
                  "</m>");
    EXPECT_EQ(console(), "begin");
    output_of("rm /userfs/cfgdb/*");
    setting("wan", "proto");
    EXPECT_EQ(show("<m><HTTP_SHARE_STATUS/></m>"), "<m><HTTP_SHARE_STATUS /></m>");
    output_of("mv /userfs/cfgdb /userfs/away; : > /userfs/cfgdb");
    setting("wan", "proto");
    EXPECT_EQ(show(request).find('1'), std::string::npos);
    settings.insert(settings.end(), {{"mode_set", "x"}, {"path_SD_CARD", "/tmp"}});
    for (int action = 2; action <= 4; ++action) { EXPECT_EQ(act(action, settings), -1) << action; }
    EXPECT_EQ(read_file(unit), "");
    output_of("rm -f /userfs/cfgdb; mv /userfs/away /userfs/cfgdb");
    setting("wan", "proto");
}

TEST_F(share_test, folders_are_made_renamed_and_deleted) {
    const mode_t mask = umask(0);
    EXPECT_EQ(make("/mmc2/it's $HOME"), 0);
    umask(mask);
    const std::string folder = card + "/it's $HOME";
    EXPECT_EQ(output_of("stat -c '%A %y' \"" + card + "/it's \\$HOME\" | cut -c1-30"),
              "drwxrwxrwx 2026-01-02 03:04:05\n");
    EXPECT_EQ(calls(), (strings{"/tmp/local/bin/touch /tmp/dbg_new_1",
                                "/tmp/local/bin/touch -d 2026-01-02 03:04:05 " + folder}));
    EXPECT_EQ(make("/mmc2/it's $HOME", "2025-01-01"), -1); // it is there, and gets the time
    EXPECT_EQ(output_of("stat -c %y \"" + card + "/it's \\$HOME\" | cut -c1-10"), "2025-01-01\n");
    EXPECT_EQ(make("/mmc2/later", "\"; /sim/record; \""), 0);
    const std::pair<const char *, const char *> times[] = {{"@86400", "1970-01-02 00:00:00\n"},
                                                           {"01/02/2026 03:04:05.5 +0100", "2026-01-02 02:04:05\n"},
                                                           {"Jan 3, 2026", "2026-01-03 00:00:00\n"},
                                                           {"@0=1", "2026-01-03 00:00:00\n"}};
    const std::string name(30, '"'), quotes = card + "/" + name; // each takes more room on a line
    for (const auto &[time, shown] : times) {
        make("/mmc2/" + name, time);
        EXPECT_EQ(time_of(quotes), shown) << time;
    }
    EXPECT_EQ(chdir(card.c_str()), 0);
    write_file("-r", "");
    update_file_time("-r", "@86400");
    EXPECT_EQ(time_of("./-r"), "1970-01-02 00:00:00\n");
    output_of("rm ./-r");
    EXPECT_EQ(make("/mmc2/" + std::string(194, 'n')), 0);
    unlink("/tmp/dbg_new_1");
    EXPECT_EQ(make("/mmc2/" + std::string(195, 'n')), -1);
    EXPECT_TRUE(exists("/tmp/dbg_new_1"));
    EXPECT_EQ(act(9, {{"path_SD_CARD", "/mmc2/x"}}), -1);
    EXPECT_FALSE(exists(card + "/x"));

    EXPECT_EQ(rename("/mmc2/later", "/mmc2/b"), 0);
    EXPECT_EQ(read_file("/tmp/dbg1"), card + "/later=" + card + "/b\n");
    EXPECT_EQ(time_of(card + "/b"), "2026-01-02 00:00:00\n");
    EXPECT_EQ(act(6, {{"OLD_NAME_SD_CARD", "/mmc2/b"}, {"NEW_NAME_SD_CARD", "/mmc2/c"}, {"path_SD_CARD_time", "2026"}}),
              -1);
    EXPECT_EQ(rename("/mmc2/absent", "/mmc2/sub/c"), -1);

    output_of("mkdir -p " + card + "/b/c/d; touch " + card + "/b/c/d/e " + card + "/b/-f " + card + "/g");
    EXPECT_EQ(remove("/mmc2", "absent*g*b*"), 0);
    EXPECT_FALSE(exists(card + "/b") || exists(card + "/g"));
    const std::string deep = std::string(200, 'd') + "/" + std::string(200, 'e'), file(88, 'f');
    output_of("cd " + card + "; mkdir -p " + deep + "; touch " + deep + "/" + file + " " + deep + "/" + file + "f");
    EXPECT_EQ(remove("/mmc2/" + deep, file + "f*"), -1);
    EXPECT_EQ(remove("/mmc2/" + deep, file + "*"), 0);
    EXPECT_EQ(output_of("ls " + card + "/" + deep), file + "f\n");
    EXPECT_EQ(act(5, {}), 0);
    for (const int action : {0, 1, 7, 10, -3}) { EXPECT_EQ(act(action, {}), -1); }
    EXPECT_EQ(http_share_xml_set(parse("<m/>").get()), -1);
    EXPECT_EQ(http_share_xml_set(parse("<m><http_share_action/></m>").get()), -1);
    EXPECT_EQ(http_share_xml_set(parse("<m><http_share_action>x</http_share_action></m>").get()), -1);
}

TEST_F(share_test, nothing_that_is_posted_leaves_the_card) {
    output_of("cd " + card +
              "; mkdir folder; touch folder/file name; ln -s /tmp/local/victim link; "
              "ln -s /tmp/local/victim/file folder/to_file; ln -s /tmp/local/made dangling; mkdir folder/sub; "
              "ln -s / folder/sub/root");
    list_outside("before");
    const std::string long_name(256, 'n'),
        run = "$(/sim/record 1)`/sim/record 2`;/sim/record 3|/sim/record 4\n/sim/record 5";
    const strings paths = {"",
                           "/mmc",
                           "/mmc2x",
                           "/mmc2..",
                           "/mmc2/..",
                           "/mmc2/../mmc2/x",
                           "/mmc2/folder/../../../tmp/local/victim",
                           "/mmc2//..//..//tmp",
                           "/mmc2/./../x",
                           "/tmp/local/victim",
                           "/mmc2/link/new",
                           "/mmc2/link/",
                           "/mmc2/./link//new",
                           "/mmc2/folder/sub/root/data/new",
                           "/mmc2/dangling/",
                           "/mmc2/dangling/x"};
    const std::string names[] = {
        "",         "file",     "*",         "**",    "file**", "*file*",        ".*",
        "..*",      "/*",       "a/b*",      "../x*", "sub/*",  long_name + "*", "file*unended",
        "file*..*", "..*file*", "file*/etc*"};
    for (const std::string &path : paths) {
        EXPECT_EQ(make(path), -1) << path;
        EXPECT_EQ(rename(path, "/mmc2/other"), -1) << path;
        EXPECT_EQ(rename("/mmc2/name", path), -1) << path;
        EXPECT_EQ(remove(path, "file*"), -1) << path;
        char *mapped = nullptr;
        remove_mmc2(path.c_str(), &mapped);
        const tarrow::heap_string owned(mapped);
        EXPECT_TRUE(mapped == nullptr || std::string(mapped).compare(0, card.size() + 1, card + "/") == 0);
        expect_outside_as_before(path);
    }
    for (const std::string &name : names) {
        EXPECT_EQ(remove("/mmc2/folder", name), -1) << name;
        expect_outside_as_before(name);
    }
    for (const char *root : {"/mmc2", "/mmc2/", "/mmc2/.", "/mmc2//./"}) {
        EXPECT_EQ(rename(root, "/mmc2/other"), -1) << root;
        EXPECT_EQ(rename("/mmc2/folder", root), -1) << root;
    }
    EXPECT_EQ(remove("/mmc2/" + std::string(500, 'n'), "file*"), -1);
    // 1005 characters of paths fill the trace's line; one more is refused before anything runs.
    std::string part = "/mmc2";
    for (int i = 0; i < 241; ++i) { part += "/a"; }
    EXPECT_EQ(rename(part, part + "b"), -1);
    EXPECT_EQ(read_file("/tmp/dbg1").size(), 1007U);
    EXPECT_EQ(rename(part + "b", part + "b"), -1);
    EXPECT_EQ(read_file("/tmp/dbg1").size(), 1007U);
    EXPECT_EQ(output_of("find " + card + " | LC_ALL=C sort | tr '\\n' ' '"),
              card + " " + card + "/dangling " + card + "/folder " + card + "/folder/file " + card + "/folder/sub " +
                  card + "/folder/sub/root " + card + "/folder/to_file " + card + "/link " + card + "/name ");
    // These have the form of a path, a name or a time, whatever they hold; links themselves may go.
    for (const std::string &text : {run, std::string("'; /sim/record; '"), std::string("\"\\'\\"), std::string("-rf"),
                                    std::string("\xff\xfe\x80"), std::string("~ & <x> {a,b} [a-z]? !!")}) {
        std::string name = text;
        for (char &c : name) { c = c == '/' || c == '*' ? '_' : c; }
        EXPECT_EQ(make("/mmc2/" + name, text), 0) << text;
        EXPECT_EQ(rename("/mmc2/" + name, "/mmc2/" + name + "2"), 0) << text;
        EXPECT_EQ(remove("/mmc2", name + "2*"), 0) << text;
        expect_outside_as_before(text);
    }
    EXPECT_EQ(make("/mmc2"), -1);
    EXPECT_EQ(make("/mmc2/link"), -1);
    EXPECT_EQ(make("/mmc2/folder/to_file"), -1);
    output_of("cd " + card + "; ln -s /tmp/local/victim a; ln -s /tmp/local/victim b");
    for (const char *end : {"/a/", "/a/.", "/b/./", "/b//"}) { update_file_time((card + end).c_str(), "2026-01-02"); }
    for (const char *end : {"/a/", "/b/."}) { force_rm((card + end).c_str()); }
    EXPECT_EQ(rename("/mmc2/dangling", "/mmc2/moved"), 0);
    EXPECT_EQ(rename("/mmc2/link", "/mmc2/moved"), 0);
    EXPECT_EQ(remove("/mmc2", "folder*moved*link*"), 0);
    force_rm((card + "/").c_str()); // a mount: emptied, not removed
    EXPECT_EQ(output_of("find " + card), card + "\n");
    for (const std::string &call : calls()) { EXPECT_EQ(call.compare(0, 21, "/tmp/local/bin/touch "), 0) << call; }
    expect_outside_as_before("all");
    EXPECT_GT(read_file("/dev/shm/before").size(), 10000U);
    output_of("rm /dev/shm/before /dev/shm/after");
}

TEST_F(share_test, large_and_deep_trees_go_and_what_cannot_go_stays) {
    output_of("cd " + card +
              "; mkdir wide deep; cd wide; for d in $(seq 100); do mkdir $d; (cd $d; touch $(seq 99)); done;"
              "cd ../deep; for d in $(seq 200); do mkdir d; cd d; touch a b; mkdir e; done");
    rlimit few = {}, all = {};
    getrlimit(RLIMIT_NOFILE, &all);
    few = {32, all.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
    pthread_attr_t small = {};
    pthread_t thread = {};
    pthread_attr_init(&small);
    pthread_attr_setstacksize(&small, is_sanitized ? 2097152 : 131072);
    pthread_create(
        &thread, &small,
        [](void *) -> void * {
            EXPECT_EQ(remove("/mmc2", "wide*deep*"), 0);
            return nullptr;
        },
        nullptr);
    pthread_join(thread, nullptr);
    setrlimit(RLIMIT_NOFILE, &all);
    EXPECT_EQ(output_of("find " + card), card + "\n");
    // Six names of 200 characters are more than a path may have: what is that deep stays, the rest goes.
    const std::string n(200, 'n');
    output_of("cd " + card + "; mkdir t; cd t; for d in 1 2 3 4 5 6; do touch " + n.substr(0, 199) + "1 zz; mkdir " +
              n + "; cd " + n + "; done; touch end");
    EXPECT_EQ(remove("/mmc2", "t*"), 0);
    EXPECT_EQ(output_of("find " + card + " | wc -l"), "12\n");
    // Deeper than folders are kept open, entries that cannot go do not keep others from going.
    output_of("cd " + card +
              "; for d in $(seq 20); do mkdir k; cd k; done; mkdir 1 2 3 4; touch 1/a 2/m 3/m 4/c; "
              "mount --bind 2/m 2/m; mount --bind 3/m 3/m");
    std::string deep = card;
    for (int i = 0; i < 20; ++i) { deep += "/k"; }
    force_rm((card + "/k").c_str());
    EXPECT_EQ(output_of("cd " + deep + "; find . | LC_ALL=C sort | tr '\\n' ' '; umount 2/m 3/m"),
              ". ./2 ./2/m ./3 ./3/m ");
}

} // namespace
