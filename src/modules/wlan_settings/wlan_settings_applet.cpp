// The Wi-Fi settings page: the stored radio channel, or for an automatic channel the one that the
// access point chose.

#include "wlan_settings_applet.h"

#include <array>
#include <cstring>
#include <syslog.h>

#include "support/callback.h"
#include "support/command.h"
#include "support/files.h"
#include "support/settings.h"
#include "support/xml.h"

namespace {

constexpr char module_name[] = "wlan_settings";
constexpr char notice_file[] = "/tmp/channel.txt";
constexpr std::size_t channel_size = 20;
constexpr int log_priority = LOG_SYSLOG | LOG_ERR;

/// Reads the channel from the notice file and deletes the file. Returns false when it cannot be
/// opened.
bool consume_notice(char *channel) {
    tarrow::file notice = tarrow::open_for_reading(notice_file);
    if (!notice) {
        return false;
    }
    std::array<char, channel_size> line;
    if (tarrow::read_line(notice.get(), line.data(), line.size())) {
        std::strcpy(channel, line.data());
    }
    notice.reset();
    unlink(notice_file);
    return true;
}

} // namespace

int wlan_get(int /*flags*/, dc_args_t *dc) {
    openlog("tarrow:wlan_settings", LOG_ODELAY, LOG_SYSLOG);
    mxml_node_t *root = tarrow::subtree_of(dc);
    if (root == nullptr) {
        return -1;
    }
    wlan_xml_get(root);
    return 0;
}

int wlan_xml_get(mxml_node_t *root) {
    const tarrow::heap_string stored = tarrow::read_setting(module_name, "channel");
    if (stored) {
        std::array<char, channel_size> channel = {};
        std::strncpy(channel.data(), stored.get(), channel.size() - 1);
        find_channel(channel.data());
        tarrow::add_text(tarrow::find_child(root, "channel"), channel.data());
    }
    return 1;
}

int find_channel(char *channel) {
    if (channel == nullptr) {
        return -1;
    }
    if (cfgdb_match__(module_name, nullptr, "channel", "0") == 0 || consume_notice(channel)) {
        return 0;
    }
    tarrow::pipe_stream output = tarrow::open_command("/usr/bin/wapctl sys_cfg_channel");
    if (!output) {
        syslog(log_priority, "find_channel: popen is failed \n");
        return -1;
    }
    std::array<char, 100> line;
    for (int i = 0; i < 2; ++i) {
        if (!tarrow::read_line(output.get(), line.data(), line.size())) {
            return 0;
        }
    }
    std::sscanf(line.data(), "        Channel = %19s", channel);
    output.reset();
    tarrow::command_line<128> notify;
    notify.text("echo ").word(channel).text(" > ").text(notice_file);
    if (!notify.complete() || tarrow::run(notify) != 0) {
        syslog(log_priority, "find_channel: system command is failed \n");
        return -1;
    }
    return 0;
}
