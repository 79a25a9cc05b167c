// The four host tables: bridge forwarding, ARP, DHCP leases, Wi-Fi stations.

#include "host_tables.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <strings.h>

#include "support/command.h"
#include "support/files.h"
#include "support/text.h"

using tarrow::heap_string;

static_assert(sizeof(dhcpOfferedAddr) == 56);
static_assert(offsetof(dhcpOfferedAddr, yiaddr) == 16);
static_assert(offsetof(dhcpOfferedAddr, hostname) == 20);
static_assert(offsetof(dhcpOfferedAddr, padding) == 50);
static_assert(offsetof(dhcpOfferedAddr, expires) == 52);

namespace {

constexpr std::size_t port_size = 5;
constexpr std::size_t address_size = 20; // of a MAC and of an IPv4 address
constexpr std::size_t hostname_size = 180;
constexpr std::size_t type_size = 2;

/// A text in a block of a given size, cut to fit, or null when memory runs out.
heap_string new_text(std::size_t size, const char *text) {
    heap_string block(static_cast<char *>(std::calloc(1, size)));
    if (block) {
        std::strncpy(block.get(), text, size - 1);
    }
    return block;
}

template <typename List>
bool is_full(const List &list) {
    return list.num_of_entries >= HOST_TABLE_ENTRIES;
}

/// The counted entries of a table; a null table has none.
template <typename List>
auto entries_of(List *list) {
    struct range {
        decltype(&list->entry[0]) first, last;
        auto begin() const { return first; }
        auto end() const { return last; }
    };
    const int count = list != nullptr ? std::clamp(list->num_of_entries, 0, HOST_TABLE_ENTRIES) : 0;
    return range{count > 0 ? list->entry : nullptr, count > 0 ? list->entry + count : nullptr};
}

/// The first entry of a host, or null.
template <typename List>
auto find_host(const char *mac, const List *list) -> decltype(&list->entry[0]) {
    if (mac == nullptr) {
        return nullptr;
    }
    for (const auto &entry : entries_of(list)) {
        if (entry.mac != nullptr && strcasecmp(entry.mac, mac) == 0) {
            return &entry;
        }
    }
    return nullptr;
}

void release(char *&text) {
    std::free(std::exchange(text, nullptr));
}

/// Splits a line of the kernel's ARP table into its six columns. Returns false when it has fewer.
bool split_columns(char *line, std::array<const char *, 6> &columns) {
    char *cursor = nullptr;
    for (const char *&column : columns) {
        column = strtok_r(line, " \t\r\n\v\f", &cursor);
        if (column == nullptr) {
            return false;
        }
        line = nullptr;
    }
    return true;
}

/// Appends a lease. Returns false when memory runs out. When it runs out for the escaped name, the
/// entry has no name.
bool add_lease(const dhcpOfferedAddr &lease, dhcp_list_t &list) {
    std::array<char, address_size> text;
    const std::uint8_t *c = lease.chaddr;
    std::snprintf(text.data(), text.size(), "%02x:%02x:%02x:%02x:%02x:%02x", c[0], c[1], c[2], c[3],
                  c[4], c[5]);
    heap_string mac = new_text(address_size, text.data());
    const std::uint8_t *a = lease.yiaddr;
    std::snprintf(text.data(), text.size(), "%u.%u.%u.%u", a[0], a[1], a[2], a[3]);
    heap_string ip = new_text(address_size, text.data());
    heap_string hostname;
    if (lease.hostname[0] != '\0') {
        std::array<char, sizeof(lease.hostname) + 1> name = {};
        std::memcpy(name.data(), lease.hostname, sizeof(lease.hostname));
        const heap_string escaped(escape_special_chars(name.data()));
        if (escaped) {
            hostname = new_text(hostname_size, escaped.get());
            if (!hostname) {
                return false;
            }
        }
    }
    if (!mac || !ip) {
        return false;
    }
    list.entry[list.num_of_entries++] = {ip.release(), mac.release(), hostname.release()};
    return true;
}

} // namespace

int bridge_fwd_get(bridge_fwd_list_t *list) {
    if (list == nullptr) {
        return -1;
    }
    const tarrow::pipe_stream output = tarrow::open_command("/system/usr/sbin/brctl showmacs br0");
    if (!output) {
        return 0;
    }
    list->num_of_entries = 0;
    std::array<char, 64> line;
    if (!tarrow::read_line(output.get(), line.data(), line.size())) { // the column header
        return 0;
    }
    while (!is_full(*list) && tarrow::read_line(output.get(), line.data(), line.size())) {
        std::array<char, port_size> port;
        std::array<char, address_size> mac;
        std::array<char, 5> is_local;
        std::array<char, 10> ageing;
        if (std::sscanf(line.data(), "%4s %19s %4s %9s", port.data(), mac.data(), is_local.data(),
                        ageing.data()) != 4 ||
            strcasecmp(is_local.data(), "no") != 0) {
            continue;
        }
        heap_string port_text = new_text(port_size, port.data());
        heap_string mac_text = new_text(address_size, mac.data());
        if (!port_text || !mac_text) {
            return 0;
        }
        list->entry[list->num_of_entries++] = {port_text.release(), mac_text.release()};
    }
    return 0;
}

int arp_get(arp_list_t *list) {
    if (list == nullptr) {
        return -1;
    }
    const tarrow::file table = tarrow::open_for_reading("/proc/net/arp");
    if (!table) {
        return 0;
    }
    list->num_of_entries = 0;
    std::array<char, 128> line;
    if (!tarrow::read_line(table.get(), line.data(), line.size())) { // the column header
        return 0;
    }
    while (!is_full(*list) && tarrow::read_line(table.get(), line.data(), line.size())) {
        std::array<const char *, 6> columns; // address, type, flags, hardware address, mask, device
        if (!split_columns(line.data(), columns) || strcasecmp(columns[5], "br0") != 0) {
            continue;
        }
        heap_string ip = new_text(address_size, columns[0]);
        heap_string mac = new_text(address_size, columns[3]);
        if (!ip || !mac) {
            return 0;
        }
        list->entry[list->num_of_entries++] = {ip.release(), mac.release()};
    }
    return 0;
}

int dhcp_sys_info_get(dhcp_list_t *list) {
    if (list == nullptr) {
        return -1;
    }
    const tarrow::file leases = tarrow::open_for_reading("/var/lib/udhcpd.leases");
    if (!leases) {
        return 0;
    }
    list->num_of_entries = 0;
    dhcpOfferedAddr lease;
    while (!is_full(*list) && std::fread(&lease, sizeof(lease), 1, leases.get()) == 1) {
        if (!add_lease(lease, *list)) {
            return 0;
        }
    }
    return 0;
}

int get_wireless_clients(wireless_list_t *list) {
    if (list == nullptr) {
        return -1;
    }
    list->num_of_entries = 0;
    const tarrow::file interface = tarrow::open_for_reading("/sys/class/net/uap0/address");
    if (interface) {
        get_wireless_clients_for_interface("uap0", list);
    }
    return 0;
}

void get_wireless_clients_for_interface(const char *interface, wireless_list_t *list) {
    if (interface == nullptr || list == nullptr || list->num_of_entries < 0) {
        return;
    }
    tarrow::command_line<50> command;
    command.text("/system/usr/bin/wapctl -i ").word(interface).text(" sta_list");
    const tarrow::pipe_stream output = command.complete() ? tarrow::open_command(command) : nullptr;
    if (!output) {
        return;
    }
    std::array<char, 64> line;
    for (int i = 0; i < 2; ++i) { // the station count and the line after it
        if (!tarrow::read_line(output.get(), line.data(), line.size())) {
            return;
        }
    }
    while (!is_full(*list) && tarrow::read_line(output.get(), line.data(), line.size())) {
        const char *entry = std::strstr(line.data(), "MAC");
        std::array<char, address_size> mac;
        if (entry == nullptr || std::sscanf(entry, "MAC Address: %19s", mac.data()) != 1) {
            continue;
        }
        heap_string type = new_text(type_size, " ");
        heap_string mac_text = new_text(address_size, mac.data());
        if (!type || !mac_text) {
            return;
        }
        list->entry[list->num_of_entries++] = {type.release(), mac_text.release()};
    }
}

int is_connected_in_bridge(const char *mac, const bridge_fwd_list_t *list) {
    if (mac == nullptr) {
        return 0;
    }
    for (const bridge_fwd_entry_t &entry : entries_of(list)) {
        if (entry.port != nullptr && entry.mac != nullptr && entry.port[0] >= '1' &&
            entry.port[0] <= '4' && entry.port[1] == '\0' && strcasecmp(entry.mac, mac) == 0) {
            return 1;
        }
    }
    return 0;
}

int is_connected_in_wlan(const char *mac, const wireless_list_t *list) {
    return find_host(mac, list) != nullptr ? 1 : 0;
}

const char *get_ip_address_from_arp(const char *mac, const arp_list_t *list) {
    const arp_entry_t *host = find_host(mac, list);
    return host != nullptr ? host->ip : nullptr;
}

const char *get_ip_address_from_dhcp(const char *mac, const dhcp_list_t *list) {
    const dhcp_entry_t *host = find_host(mac, list);
    return host != nullptr ? host->ip : nullptr;
}

char *escape_special_chars(const char *text) {
    constexpr char digits[] = "0123456789ABCDEF";
    // A byte becomes three characters at most.
    char *escaped =
        text != nullptr ? static_cast<char *>(std::malloc(3 * std::strlen(text) + 1)) : nullptr;
    if (escaped == nullptr) {
        return nullptr;
    }
    char *out = escaped;
    for (; *text != '\0'; ++text) {
        const auto byte = static_cast<unsigned char>(*text);
        if (tarrow::is_letter_or_digit(*text) || std::strchr("_-.", *text) != nullptr) {
            *out++ = *text;
        } else if (*text == ' ') {
            *out++ = '+';
        } else {
            *out++ = '%';
            *out++ = digits[byte >> 4];
            *out++ = digits[byte & 15U];
        }
    }
    *out = '\0';
    return escaped;
}

void bridge_list_free(bridge_fwd_list_t *list) {
    for (bridge_fwd_entry_t &entry : entries_of(list)) {
        release(entry.port);
        release(entry.mac);
    }
}

void arp_list_free(arp_list_t *list) {
    for (arp_entry_t &entry : entries_of(list)) {
        release(entry.ip);
        release(entry.mac);
    }
}

void dhcp_client_list_free(dhcp_list_t *list) {
    for (dhcp_entry_t &entry : entries_of(list)) {
        release(entry.ip);
        release(entry.mac);
        release(entry.hostname);
    }
}

void wireless_client_list_free(wireless_list_t *list) {
    for (wireless_entry_t &entry : entries_of(list)) {
        if (entry.mac != nullptr) {
            wireless_client_entry_free(&entry);
        }
    }
}

void wireless_client_entry_free(wireless_entry_t *entry) {
    if (entry != nullptr) {
        release(entry->mac);
        release(entry->type);
    }
}
