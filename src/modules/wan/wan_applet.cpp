// The wan document: the device's internet connection, the cellular network, the SIM and its PIN,
// and the hardware address of the host in "/tmp/local/ip".

#include "wan_applet.h"

#include <array>
#include <climits>
#include <cstring>

#include "support/callback.h"
#include "support/command.h"
#include "support/files.h"
#include "support/settings.h"
#include "support/xml.h"
#include "wan_log.h"

using tarrow::add_integer;
using tarrow::add_text;
using tarrow::find_child;
using tarrow::read_number;

namespace {

constexpr char sim_status_file[] = "/tmp/cellular_sim_status";
constexpr char pin_status_file[] = "/tmp/telephony/pin_status";
constexpr int sim_is_absent = 1;
constexpr std::size_t operator_name_size = 64;
constexpr std::size_t version_size = 128;

/// Gathers the record, and releases its texts at the end.
struct gathered_info {
    wan_info_t info = {};

    gathered_info() { wan_info_gather(&info); }
    gathered_info(const gathered_info &) = delete;
    gathered_info &operator=(const gathered_info &) = delete;
    ~gathered_info() {
        for (char *text : {info.wan_link_status, info.wan_conn_type, info.wan_conn_status,
                           info.ip_address, info.ip6_address, info.gateway, info.dns1, info.dns2}) {
            std::free(text);
        }
    }
};

/// Elements of the module's subtree, in the order in which they are filled.
struct info_element {
    const char *name;
    char *wan_info_t::*text;
};
constexpr std::array<info_element, 8> info_elements = {{
    {"ConnType", &wan_info_t::wan_conn_type},
    {"ip4", &wan_info_t::ip_address},
    {"ip6", &wan_info_t::ip6_address},
    {"wan_link_status", &wan_info_t::wan_link_status},
    {"wan_conn_status", &wan_info_t::wan_conn_status},
    {"gateway", &wan_info_t::gateway},
    {"dns1", &wan_info_t::dns1},
    {"dns2", &wan_info_t::dns2},
}};

/// The time since the data connection began. A unit that is 0 stays empty, except the seconds.
void fill_connection_time(mxml_node_t *cellular) {
    struct unit {
        const char *element;
        int seconds;
    };
    constexpr std::array<unit, 4> units = {
        {{"conn_days", 86400}, {"conn_hours", 3600}, {"conn_minutes", 60}, {"conn_seconds", 1}}};

    std::array<mxml_node_t *, units.size()> elements = {};
    bool is_asked = false;
    for (std::size_t i = 0; i < units.size(); ++i) {
        elements[i] = find_child(cellular, units[i].element);
        is_asked = is_asked || elements[i] != nullptr;
    }
    const auto start = is_asked ? read_number("/tmp/data_start_time") : std::nullopt;
    const auto now = start ? read_number("/proc/uptime") : std::nullopt;
    if (!now) {
        return;
    }
    int time = 0;
    if (__builtin_sub_overflow(*now, *start, &time)) {
        time = INT_MAX; // the start is far below 0
    }
    for (std::size_t i = 0; i < units.size(); ++i) {
        if (time >= units[i].seconds || units[i].seconds == 1) {
            add_integer(elements[i], time / units[i].seconds);
            time %= units[i].seconds;
        }
    }
}

void fill_operator(mxml_node_t *element) {
    std::array<char, operator_name_size> name = {};
    const auto length = tarrow::read_text("/tmp/spn", name.data(), name.size());
    if (!length) {
        return;
    }
    if (*length > 0 && name[*length - 1] == '\n') {
        name[*length - 1] = '\0';
    }
    add_text(element, name.data());
}

void fill_roaming(mxml_node_t *element) {
    add_integer(element, tarrow::read_setting_number("wan", "cellular.roaming", 1));
}

void fill_signal_level(mxml_node_t *element) {
    add_integer(element, tarrow::read_setting_number("wan", "cellular.signal_level", 5));
}

void fill_network(mxml_node_t *element) {
    std::array<char, operator_name_size> name = {};
    const auto length = tarrow::read_text("/tmp/cellular_isp", name.data(), name.size());
    add_text(element, length ? name.data() : "noservice");
}

void fill_access_type(mxml_node_t *element) {
    const auto technology = read_number("/tmp/cellular_basic_act");
    if (!technology) {
        return;
    }
    std::array<char, 64> key;
    std::snprintf(key.data(), key.size(), "cellular.network_access_type_%d", *technology);
    add_text(element, tarrow::read_setting("wan", key.data()).get());
}

void fill_sim_status(mxml_node_t *element) {
    add_integer(element, read_number(sim_status_file).value_or(1));
}

void fill_pin_status(mxml_node_t *element) {
    add_integer(element, read_number(pin_status_file).value_or(-1));
}

void fill_pin_attempts(mxml_node_t *element) {
    add_integer(element, read_number("/tmp/telephony/pin_attempts").value_or(-1));
}

void fill_puk_attempts(mxml_node_t *element) {
    add_integer(element, read_number("/tmp/telephony/puk_attempts").value_or(-1));
}

/// Starts to fetch the subscriber number, for a later read. It does not fill the element.
void request_msisdn(mxml_node_t * /*element*/) {
    if (read_number(pin_status_file) == 0 && read_number("/tmp/pb_ready").value_or(0) == 0) {
        tarrow::run("/usr/app/agent_client 0 /usr/app/get_msisdn.sh");
    }
}

/// Elements below "cellular" after the connection time, in the order in which they are filled. A
/// function runs only when the page has its element.
struct cellular_element {
    const char *name;
    void (*fill)(mxml_node_t *element);
};
constexpr std::array<cellular_element, 10> cellular_elements = {{
    {"spn", fill_operator},
    {"roaming", fill_roaming},
    {"rssi", fill_signal_level},
    {"isp", fill_network},
    {"act", fill_access_type},
    {"sim_status", fill_sim_status},
    {"pin_status", fill_pin_status},
    {"pin_attempts", fill_pin_attempts},
    {"puk_attempts", fill_puk_attempts},
    {"msisdn", request_msisdn},
}};

} // namespace

int wan_get(int /*flags*/, dc_args_t *dc) {
    openlog("tarrow:wan", LOG_ODELAY, LOG_SYSLOG);
    mxml_node_t *root = tarrow::subtree_of(dc);
    if (root == nullptr) {
        return -1;
    }
    check_sim_status();
    wan_xml_get(root);
    return 0;
}

int wan_pc_mac_get(int /*flags*/, dc_args_t *dc) {
    mxml_node_t *root = tarrow::subtree_of(dc);
    if (root == nullptr) {
        return -1;
    }
    std::array<char, 16> address;
    file_to_buf("/tmp/local/ip", address.data(), static_cast<int>(address.size()));
    std::array<char, 18> mac = {};
    if (const char *found = get_mac_from_ip(address.data()); found != nullptr) {
        std::strncpy(mac.data(), found, mac.size() - 1);
    }
    mxml_node_t *element = mac[0] != '\0' ? find_child(root, "pc_mac") : nullptr;
    if (element != nullptr) {
        tarrow::move_last(root, element);
        add_text(element, mac.data());
    }
    return 0;
}

int wan_xml_get(mxml_node_t *root) {
    const gathered_info gathered;
    for (const info_element &element : info_elements) {
        add_text(find_child(root, element.name), gathered.info.*element.text);
    }
    mxml_node_t *cellular = find_child(root, "cellular");
    if (cellular == nullptr) {
        return 1;
    }
    fill_connection_time(cellular);
    for (const cellular_element &row : cellular_elements) {
        if (mxml_node_t *element = find_child(cellular, row.name); element != nullptr) {
            row.fill(element);
        }
    }
    return 1;
}

void check_sim_status() {
    if (tarrow::is_readable("/tmp/sim_checking_mutex") ||
        read_number(sim_status_file) == sim_is_absent) {
        return;
    }
    if (read_number("/tmp/check_sim.txt").value_or(4) != 0) {
        tarrow::run("/usr/app/agent_client 0 /usr/app/check_sim_status.sh");
    }
}

int generate_sw_version(char *buff) {
    const char *start = buff != nullptr ? std::strstr(buff, "MAIN") : nullptr;
    if (start == nullptr) {
        syslog(tarrow::wan_log, "sw_version:MAIN not in format!!");
        return -1;
    }
    const char *radio = std::strstr(start, "AP-");
    if (radio == nullptr) {
        syslog(tarrow::wan_log, "sw_version:AP not in format!!");
        return -1;
    }
    constexpr char separator[] = ", ";
    const char *end = std::strstr(radio, separator);
    const std::ptrdiff_t length = end != nullptr ? end - start + 2 : -1;
    if (length < 0 || length >= static_cast<std::ptrdiff_t>(version_size)) {
        syslog(tarrow::wan_log, "sw_version not in format!!");
        return -1;
    }
    std::memmove(buff, start, static_cast<std::size_t>(length));
    std::memset(buff + length, 0, version_size - static_cast<std::size_t>(length));
    return static_cast<int>(length);
}
