// Network queries: interfaces, routes and neighbours, from the kernel and the device's tools.

#include "wan_applet.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <netinet/in.h>
#include <strings.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include "support/command.h"
#include "support/files.h"
#include "wan_log.h"

using tarrow::wan_log;

namespace {

constexpr char route_table[] = "/proc/net/route";
constexpr char arp_table[] = "/proc/net/arp";
constexpr std::size_t interface_name_size = 10; // "/tmp/eth_ifc", "/tmp/wan_ifc": 9 characters
constexpr std::size_t mac_text_size = 18;
constexpr std::size_t ipv6_text_size = 128;
constexpr std::size_t interface_records = 10;

/// 0 for one component of a dotted address, -1 for anything else.
int valid(const char *p_ip) {
    int value = 0;
    for (; *p_ip != '\0'; ++p_ip) {
        if (*p_ip < '0' || *p_ip > '9') {
            return -1;
        }
        value = std::min(value * 10 + (*p_ip - '0'), 256);
    }
    return value <= 255 ? 0 : -1;
}

/// Tests the components of a dotted address from the last to the first, and cuts the text at each.
bool is_dotted_quad(char *text) {
    for (int component = 0; component < 3; ++component) {
        char *dot = std::strrchr(text, '.');
        if (dot == nullptr || valid(dot + 1) != 0) {
            return false;
        }
        *dot = '\0';
    }
    return valid(text) == 0;
}

/// Writes an address in the kernel's order: the low byte is the first component.
void write_dotted(char *out, std::uint32_t address) {
    std::snprintf(out, INET_ADDRSTRLEN, "%u.%u.%u.%u", address & 0xFFU, address >> 8 & 0xFFU,
                  address >> 16 & 0xFFU, address >> 24);
}

tarrow::unique_fd open_inet_socket() {
    return tarrow::unique_fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
}

struct route {
    std::uint32_t destination;
    std::uint32_t gateway;
    std::uint32_t mask;
};

using hexadecimal_text = std::array<char, 9>;

std::uint32_t hexadecimal(const hexadecimal_text &digits) {
    return static_cast<std::uint32_t>(std::strtoull(digits.data(), nullptr, 16));
}

/// Parses a line of the route table: interface, destination, gateway, flags, reference count, use,
/// metric, mask, MTU, window, initial round-trip time. Returns false for a line of another form.
bool parse_route(const char *line, route &found) {
    hexadecimal_text destination;
    hexadecimal_text gateway;
    hexadecimal_text mask;
    int end = 0; // stays 0 unless the line has all columns, also those that are not stored
    std::sscanf(line,
                "%*15s%*[ \t]%8[0-9A-Fa-f]%*[ \t]%8[0-9A-Fa-f]%*[ \t]%*8[0-9A-Fa-f]%*[ \t]"
                "%*d%*d%*d%*[ \t]%8[0-9A-Fa-f]%*[ \t]%*d%*d%*d%n",
                destination.data(), gateway.data(), mask.data(), &end);
    if (end == 0) {
        return false;
    }
    found = {hexadecimal(destination), hexadecimal(gateway), hexadecimal(mask)};
    return true;
}

/// Reads a whole line, and stores as much of it as fits the buffer.
bool read_whole_line(FILE *stream, char *line, std::size_t size) {
    int c = std::getc(stream);
    if (c == EOF) {
        return false;
    }
    std::size_t length = 0;
    for (; c != EOF && c != '\n'; c = std::getc(stream)) {
        if (length + 1 < size) {
            line[length++] = static_cast<char>(c);
        }
    }
    line[length] = '\0';
    return true;
}

tarrow::heap_string new_interface_name() {
    return tarrow::heap_string(static_cast<char *>(std::calloc(1, interface_name_size)));
}

/// Reads the name that a script wrote to a file into a buffer, and returns the buffer, which the
/// caller frees; null when there is no name.
char *read_interface_name(tarrow::heap_string buffer, const char *path) {
    const bool is_named =
        buffer && tarrow::read_word(path, buffer.get(), interface_name_size) && *buffer != '\0';
    return is_named ? buffer.release() : nullptr;
}

/// Copies an interface's name into a request. Returns false when the name does not fit.
bool set_interface_name(ifreq &request, const char *name) {
    const std::size_t length = std::strlen(name);
    if (length >= sizeof(request.ifr_name)) {
        return false;
    }
    std::memcpy(request.ifr_name, name, length + 1);
    return true;
}

void write_inet_address(char *out, const sockaddr &address) {
    sockaddr_in inet = {};
    std::memcpy(&inet, &address, sizeof(inet));
    write_dotted(out, inet.sin_addr.s_addr);
}

/// ioctl with a request that is not a constant. The request is an int in some C libraries, as in
/// POSIX, and an unsigned long in others. The kernel uses 32 bits of it.
template <typename Request>
int call_ioctl(int (*call)(int, Request, ...), int fd, int cmd, ifreq &interface) {
    return call(fd, static_cast<Request>(static_cast<unsigned int>(cmd)), &interface);
}

} // namespace

int is_ipv4(const char *p_ip) {
    if (p_ip == nullptr || *p_ip == '\0') {
        return -1;
    }
    const tarrow::heap_string copy(strdup(p_ip));
    if (!copy) {
        syslog(wan_log, "is_ipv4: strdup failed");
        return -1;
    }
    if (!is_dotted_quad(copy.get())) {
        syslog(wan_log, "is_ipv4: %s is not valid\n", p_ip);
        return -1;
    }
    return 0;
}

int ether_atoe(const char *a, unsigned char *e) {
    if (a == nullptr || e == nullptr) {
        return 0;
    }
    constexpr int address_bytes = 6;
    std::fill_n(e, address_bytes, static_cast<unsigned char>(0));
    for (int i = 0; i < address_bytes; ++i) {
        char *end = nullptr;
        // Not strtoul: the low byte must not depend on the width of long.
        e[i] = static_cast<unsigned char>(std::strtoull(a, &end, 16));
        if (*end == '\0') {
            return i == address_bytes - 1 ? 1 : 0;
        }
        a = end + 1;
    }
    return 1;
}

char *ether_etoa(const unsigned char *e, char *a) {
    if (e != nullptr && a != nullptr) {
        std::snprintf(a, mac_text_size, "%02X:%02X:%02X:%02X:%02X:%02X", e[0], e[1], e[2], e[3],
                      e[4], e[5]);
    }
    return a;
}

int get_ipv6_address(const char *p_ifc_name, char *p_ipv6_address) {
    // Without a name, or with an option instead, ifconfig would list other interfaces.
    if (p_ifc_name == nullptr || p_ipv6_address == nullptr || *p_ifc_name == '\0' ||
        *p_ifc_name == '-') {
        return 0;
    }
    tarrow::command_line<1024> line;
    line.text("/system/sbin/ifconfig ")
        .word(p_ifc_name)
        .text(" | /xbin/grep 'inet6.*Global' | /xbin/awk '{print $3}'");
    const tarrow::pipe_stream output = line.complete() ? tarrow::open_command(line) : nullptr;
    if (!output) {
        return 0;
    }
    ssize_t length = -1;
    do {
        length = read(fileno(output.get()), p_ipv6_address, ipv6_text_size);
    } while (length < 0 && errno == EINTR);
    if (length <= 0) {
        return 0;
    }
    void *prefix = std::memchr(p_ipv6_address, '/', static_cast<std::size_t>(length));
    char *last = p_ipv6_address + std::min<ssize_t>(length, ipv6_text_size - 1);
    *(prefix != nullptr ? static_cast<char *>(prefix) : last) = '\0';
    return 1;
}

int get_gateway_address(const char *p_ifc_name, char *p_gateway_addr) {
    if (p_ifc_name == nullptr || p_gateway_addr == nullptr) {
        return -1;
    }
    const tarrow::file table = tarrow::open_for_reading(route_table);
    if (!table) {
        syslog(wan_log, "get_gateway_address: fopen is failed \n");
        return -1;
    }
    std::array<char, 256> line; // the kernel pads its lines to 128
    if (!read_whole_line(table.get(), line.data(), line.size())) {
        syslog(wan_log, "get_gateway_address: fscanf is failed \n");
        return -1;
    }
    // A cellular link is point-to-point: its gateway is the peer, which has a host route.
    const bool is_cellular = std::strstr(p_ifc_name, "ccinet") != nullptr;
    while (read_whole_line(table.get(), line.data(), line.size())) {
        route found = {};
        if (parse_route(line.data(), found) &&
            (is_cellular ? found.mask == 0xFFFFFFFFU : found.destination == 0)) {
            write_dotted(p_gateway_addr, is_cellular ? found.destination : found.gateway);
            return 0;
        }
    }
    syslog(wan_log, "get_gateway_address: read is failed \n");
    return -1;
}

int get_link_status(const char *ifname) {
    if (ifname == nullptr) {
        syslog(wan_log, "get_link_status: pointer is NULL \n");
        return -1;
    }
    const tarrow::unique_fd sock = open_inet_socket();
    if (!sock) {
        syslog(wan_log, "get_link_status: Socket error\n");
        return -1;
    }
    ethtool_value link = {.cmd = ETHTOOL_GLINK, .data = 0};
    ifreq request = {};
    std::strncpy(request.ifr_name, ifname, sizeof(request.ifr_name) - 1);
    request.ifr_data = reinterpret_cast<char *>(&link);
    if (ioctl(sock.get(), SIOCETHTOOL, &request) < 0) {
        syslog(wan_log, "get_link_status: ETHTOOL_GLINK failed: %s\n", std::strerror(errno));
        return -2;
    }
    return link.data != 0 ? 0 : 1;
}

char *get_eth_interface() {
    tarrow::run("/usr/app/get_eth_interface.sh");
    return read_interface_name(new_interface_name(), "/tmp/eth_ifc");
}

char *get_wan_interface() {
    tarrow::heap_string buffer = new_interface_name();
    if (!buffer) {
        return nullptr;
    }
    tarrow::run("/usr/app/get_wan_interface.sh");
    return read_interface_name(std::move(buffer), "/tmp/wan_ifc");
}

int if_wan_ifc_lives(const char *p_ifc_name) {
    if (p_ifc_name == nullptr) {
        syslog(wan_log, "if_wan_ifc_lives: Null pointer \n");
        return -1;
    }
    const tarrow::unique_fd sock = open_inet_socket();
    if (!sock) {
        syslog(wan_log, "if_wan_ifc_lives: socket is failed \n");
        return -1;
    }
    const tarrow::heap<ifreq> records(
        static_cast<ifreq *>(std::calloc(interface_records, sizeof(ifreq))));
    if (!records) {
        return -1;
    }
    ifconf list = {};
    list.ifc_len = static_cast<int>(interface_records * sizeof(ifreq));
    list.ifc_req = records.get();
    if (ioctl(sock.get(), SIOCGIFCONF, &list) < 0) {
        syslog(wan_log, "if_wan_ifc_lives: ioctl is failed \n");
        return -1;
    }
    if (list.ifc_len == 0) {
        return 1;
    }
    const ifreq *end = records.get() + static_cast<std::size_t>(list.ifc_len) / sizeof(ifreq);
    for (const ifreq *record = records.get(); record != end; ++record) { // each has an IPv4 address
        if (strcasecmp(record->ifr_name, p_ifc_name) == 0) {
            return 1;
        }
    }
    std::array<char, ipv6_text_size> address = {};
    return get_ipv6_address(p_ifc_name, address.data());
}

int get_by_ioctl(int sock_fd, int cmd, const char *p_ifc_name, char *p_parameter) {
    if (p_ifc_name == nullptr || p_parameter == nullptr) {
        syslog(wan_log, "get_by_ioctl: Null pointer\n");
        return -1;
    }
    tarrow::unique_fd own;
    if (sock_fd == -1) {
        own = open_inet_socket();
        if (!own) {
            syslog(wan_log, "get_by_ioctl: Socket creation is failed\n");
            return -1;
        }
        sock_fd = own.get();
    }
    ifreq request = {};
    if (!set_interface_name(request, p_ifc_name) || call_ioctl(ioctl, sock_fd, cmd, request) < 0) {
        syslog(wan_log, "get_by_ioctl: ioctl is failed\n");
        return -1;
    }
    switch (cmd) {
    case SIOCGIFADDR:
        write_inet_address(p_parameter, request.ifr_addr);
        break;
    case SIOCGIFDSTADDR:
        write_inet_address(p_parameter, request.ifr_dstaddr);
        break;
    case SIOCGIFNETMASK:
        write_inet_address(p_parameter, request.ifr_netmask);
        break;
    case SIOCGIFHWADDR:
        ether_etoa(reinterpret_cast<const unsigned char *>(request.ifr_hwaddr.sa_data),
                   p_parameter);
        break;
    default:
        syslog(wan_log, "get_by_ioctl: ioctl isn't implemented\n");
        break;
    }
    return 0;
}

char *get_mac_from_ip(const char *ip) {
    static std::array<char, mac_text_size> result;
    static char no_entry[] = "";
    const tarrow::file table = tarrow::open_for_reading(arp_table);
    if (!table) {
        return nullptr;
    }
    std::array<char, 100> line;
    const bool has_header = tarrow::read_line(table.get(), line.data(), line.size());
    while (has_header && ip != nullptr &&
           tarrow::read_line(table.get(), line.data(), line.size())) {
        std::array<char, 101> address;
        std::array<char, 101> mac;
        std::array<char, 101> mask;
        std::array<char, 101> device;
        // The line must have the hardware type and the flags; their values do not matter.
        const int columns =
            std::sscanf(line.data(), "%100s 0x%*[0-9A-Fa-f] 0x%*[0-9A-Fa-f] %100s %100s %100s",
                        address.data(), mac.data(), mask.data(), device.data());
        if (columns == 4 && std::strcmp(address.data(), ip) == 0) {
            std::snprintf(result.data(), result.size(), "%.17s", mac.data());
            return result.data();
        }
    }
    no_entry[0] = '\0';
    return no_entry;
}

int file_to_buf(const char *path, char *buf, int len) {
    if (path == nullptr || buf == nullptr || len <= 0) {
        return 0;
    }
    const auto size = static_cast<std::size_t>(len);
    const auto length = tarrow::read_first_line(path, buf, size);
    std::memset(buf + length.value_or(0), 0, size - length.value_or(0));
    return length ? 1 : 0;
}
