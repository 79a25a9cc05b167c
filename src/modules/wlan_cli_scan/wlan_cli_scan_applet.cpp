// The Wi-Fi client's scan list: marks the network that the client is connected to, with the key
// management and the address of the connection.

#include "wlan_cli_scan_applet.h"

#include <array>
#include <cstring>

#include "support/callback.h"
#include "support/files.h"
#include "support/table_entries.h"

namespace {

constexpr char status_file[] = "/tmp/wifi_status.txt";
constexpr char trace_file[] = "/tmp/wifi_conn_test.log";
constexpr std::array<const char *, 3> columns = {"connected", "key_mgmt", "ip_address"};

/// The fields of the status line, which colons separate.
struct association {
    std::array<char, 50> ssid = {};
    std::array<char, 2> connected = {};
    std::array<char, 20> key_mgmt = {};
    std::array<char, 20> ip_address = {};
};

association parse_status(char *line) {
    association status;
    char *cursor = nullptr;
    // Cuts a field that does not fit. A field that the line does not have stays empty.
    const auto take_field = [&](char *text, std::size_t size) {
        if (const char *field = strtok_r(std::exchange(line, nullptr), ":", &cursor)) {
            std::strncpy(text, field, size - 1);
        }
    };
    take_field(status.ssid.data(), status.ssid.size());
    take_field(status.connected.data(), status.connected.size());
    take_field(status.key_mgmt.data(), status.key_mgmt.size());
    take_field(status.ip_address.data(), status.ip_address.size());
    return status;
}

/// Fills the new columns, from index first on, of every record with the SSID.
void mark_networks(dlist_node_t *table, int first, const association &status, FILE *trace) {
    for (int r = 0; r < TARROW_DLIST_RECORDS; ++r) {
        char **record = table->dn_dlist[r];
        if (record[0] == nullptr) {
            continue;
        }
        if (trace != nullptr) {
            std::fprintf(trace, "dlist->dn_dlist[record][0],ssid,strlen(ssid) are:%d,%s,%s,%d\n", r,
                         record[0], status.ssid.data(),
                         static_cast<int>(std::strlen(status.ssid.data())));
        }
        if (std::strcmp(record[0], status.ssid.data()) == 0) {
            tarrow::copy_entry(record[first], status.connected.data());
            tarrow::copy_entry(record[first + 1], status.key_mgmt.data());
            tarrow::copy_entry(record[first + 2], status.ip_address.data());
        }
    }
}

} // namespace

int wlan_cli_scan_post_get(int /*flags*/, dc_args_t *dc) {
    dlist_node_t *table = tarrow::table_of(dc);
    if (table == nullptr) {
        return -1;
    }
    const int first = tarrow::leading_entries(table->dn_meta);
    tarrow::file status = tarrow::open_for_reading(status_file);
    if (!status || first + static_cast<int>(columns.size()) > TARROW_DLIST_FIELDS) {
        return 0;
    }
    for (std::size_t i = 0; i < columns.size(); ++i) {
        tarrow::copy_entry(table->dn_meta[static_cast<std::size_t>(first) + i], columns[i]);
    }
    std::array<char, 100> line;
    if (!tarrow::read_line(status.get(), line.data(), line.size())) {
        return 0;
    }
    const tarrow::file trace = tarrow::open_stream(trace_file, O_WRONLY | O_CREAT | O_TRUNC);
    if (trace) {
        std::fprintf(trace.get(), "string in wifi_status.txt is:%s\n", line.data());
    }
    const association found = parse_status(line.data());
    if (trace) {
        std::fprintf(trace.get(), "ssid conn keymgmt  ip_address are: %s,%s,%s,%s\n",
                     found.ssid.data(), found.connected.data(), found.key_mgmt.data(),
                     found.ip_address.data());
    }
    status.reset();
    mark_networks(table, first, found, trace.get());
    return 0;
}
