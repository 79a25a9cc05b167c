// The WAN information record: configured type, link, connection state, addresses and name servers.

#include "wan_applet.h"

#include <array>
#include <cstring>
#include <linux/sockios.h>
#include <strings.h>
#include <sys/socket.h>

#include "support/command.h"
#include "support/files.h"
#include "support/settings.h"
#include "wan_log.h"

using tarrow::heap_string;
using tarrow::wan_log;

namespace {

constexpr std::size_t state_size = 20; // link and connection state, IPv4 addresses
constexpr std::size_t ipv6_size = 2048;
constexpr std::size_t server_size = 256;
constexpr char unknown_address[] = "0.0.0.0";
constexpr char wan_down_file[] = "/tmp/wan_disc"; // "1": the connection is down, "0": it is up

/// A text in a new heap block of that size, cut to fit, or null when memory runs out.
char *new_text(std::size_t size, const char *text) {
    char *block = static_cast<char *>(std::calloc(1, size));
    if (block != nullptr) {
        std::strncpy(block, text, size - 1);
    }
    return block;
}

/// Writes a text into a field of the record; the field is null when memory ran out.
void set_text(char *field, std::size_t size, const char *text) {
    if (field != nullptr) {
        std::snprintf(field, size, "%s", text);
    }
}

bool is_type(const wan_info_t &info, const char *type) {
    return info.wan_conn_type != nullptr && strcasecmp(info.wan_conn_type, type) == 0;
}

const char *resolver_file() {
    const auto proto_is = [](const char *type) {
        return cfgdb_match__("wan", nullptr, "proto", type) == 1;
    };
    const bool is_custom = cfgdb_match__("wan", nullptr, "cdns_enable", "1") == 1 &&
                           !proto_is("static") && !proto_is("wifi") && !proto_is("disabled");
    return is_custom ? "/tmp/cust_resolv.conf" : "/etc/resolv.conf";
}

/// Reads a "nameserver " entry into a new text. The field does not change when the entry is no IPv4
/// address. Returns false when memory runs out.
bool read_server(const char *entry, char *&field) {
    heap_string server(static_cast<char *>(std::malloc(server_size)));
    if (!server) {
        return false;
    }
    if (std::sscanf(entry, "nameserver %255s", server.get()) == 1 && is_ipv4(server.get()) == 0) {
        field = server.release();
    }
    return true;
}

/// Fills dns1 from the first "nameserver " line and dns2 from the last of the others. Returns false
/// when memory runs out.
bool read_servers(FILE *resolver, wan_info_t &info) {
    std::array<char, 200> line;
    bool is_first = true;
    while (tarrow::read_line(resolver, line.data(), line.size())) {
        const char *entry = std::strstr(line.data(), "nameserver ");
        if (entry == nullptr) {
            continue;
        }
        char *&field = is_first ? info.dns1 : info.dns2;
        is_first = false;
        std::free(std::exchange(field, nullptr));
        if (!read_server(entry, field)) {
            return false;
        }
    }
    return true;
}

/// Reads the IPv6 address, the IPv4 address and the gateway. An address that does not exist does
/// not change. Returns false, and logs it, without a socket and when there is neither address.
bool read_addresses(const char *p_ifc_name, wan_info_t &info) {
    const tarrow::unique_fd sock(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!sock) {
        syslog(wan_log, "interface_info_get: Socket creation is failed\n");
        return false;
    }
    std::array<char, 128> ipv6 = {};
    const bool has_ipv6 = get_ipv6_address(p_ifc_name, ipv6.data()) == 1;
    if (has_ipv6) {
        set_text(info.ip6_address, ipv6_size, ipv6.data());
    }
    if (get_by_ioctl(sock.get(), SIOCGIFADDR, p_ifc_name, info.ip_address) != 0 && !has_ipv6) {
        syslog(wan_log, "interface_info_get: get_by_ioctl is failed\n");
        return false;
    }
    if (get_gateway_address(p_ifc_name, info.gateway) != 0) {
        syslog(wan_log, "interface_info_get: get_gateway_address is failed\n");
        set_text(info.gateway, state_size, unknown_address);
    }
    return true;
}

int interface_info_get(const char *p_ifc_name, wan_info_t *p_wan_info) {
    if (p_ifc_name == nullptr || p_wan_info == nullptr) {
        syslog(wan_log, "interface_info_get: pointer is NULL \n");
        return -1;
    }
    if (!read_addresses(p_ifc_name, *p_wan_info)) {
        return -1;
    }
    const tarrow::file resolver = tarrow::open_for_reading(resolver_file());
    if (!resolver) {
        syslog(wan_log, "interface_info_get: Resolv.conf isn't exists\n");
        return 0;
    }
    if (!read_servers(resolver.get(), *p_wan_info)) {
        syslog(wan_log, "interface_info_get: malloc is failed \n");
        return -1;
    }
    return 0;
}

int wan_connection_status_get(wan_info_t *p_wan_sys_info) {
    wan_info_t &info = *p_wan_sys_info;
    if (is_type(info, "disabled")) {
        set_text(info.wan_conn_status, state_size, "disconnected");
        return 0;
    }
    const heap_string interface(get_wan_interface());
    if (!interface) {
        syslog(wan_log, "wan_connection_status_get: WAN ifc isn't configured\n");
        return -1;
    }
    const int presence = if_wan_ifc_lives(interface.get());
    if (presence == -1) {
        syslog(wan_log, "wan_connection_status_get: if_wan_ifc_lives is failed \n");
        return -1;
    }
    tarrow::command_line<128> line;
    line.text("/etc/init.d/get_wan_connection_status.sh ")
        .word(interface.get())
        .text(" ")
        .number(presence);
    tarrow::run(line);
    if (info.wan_conn_status != nullptr) {
        tarrow::read_word("/tmp/wan_conn_status", info.wan_conn_status, state_size);
    }
    std::array<char, 10> down = {};
    tarrow::read_word(wan_down_file, down.data(), down.size());
    if (std::strcmp(down.data(), "1") == 0) {
        return 0;
    }
    if (presence == 1 && interface_info_get(interface.get(), &info) != 0) {
        syslog(wan_log, "wan_connection_status_get: interface_info_get is failed\n");
    }
    return 0;
}

} // namespace

int wan_info_gather(wan_info_t *p_wan_sys_info) {
    if (p_wan_sys_info == nullptr) {
        return 0;
    }
    wan_info_t &info = *p_wan_sys_info;
    heap_string proto = tarrow::read_setting("wan", "proto");
    info.wan_link_status = new_text(state_size, "");
    info.wan_conn_type = proto.release();
    const bool is_file_driven = // the link state comes from the WAN state files
        is_type(info, "usbmodem") || is_type(info, "cellular") || is_type(info, "wifi");
    if (is_type(info, "disabled")) {
        set_text(info.wan_link_status, state_size, "Disconnected");
    } else if (!is_file_driven && vexorel_product_get_wan_link_status(&info) != 0) {
        set_text(info.wan_link_status, state_size, "Disconnected");
        return 0;
    }
    info.ip_address = new_text(state_size, unknown_address);
    info.ip6_address = new_text(ipv6_size, "");
    info.gateway = new_text(state_size, unknown_address);
    info.wan_conn_status = new_text(state_size, "");
    wan_connection_status_get(&info);
    if (is_file_driven) {
        set_text(info.wan_link_status, state_size,
                 get_wan_link_status() >= 0 ? "Connected" : "Disconnected");
    }
    return 0;
}

int vexorel_product_get_wan_link_status(wan_info_t *p_wan_sys_info) {
    if (p_wan_sys_info == nullptr) {
        return -1;
    }
    const heap_string port(get_eth_interface());
    const int link = get_link_status(port.get());
    if (link != 0 && link != 1) {
        syslog(wan_log, "vexorel_product_get_wan_link_status: Can't read WAN Link status \n");
        return -1;
    }
    char *&field = p_wan_sys_info->wan_link_status;
    field = field != nullptr ? field : new_text(state_size, "");
    set_text(field, state_size, link == 0 ? "Connected" : "Disconnected");
    return field != nullptr ? 0 : -1;
}

int get_wan_link_status() {
    std::array<char, 10> word = {};
    return tarrow::read_word(wan_down_file, word.data(), word.size()) &&
                   strcasecmp(word.data(), "0") == 0
               ? 0
               : -1;
}
