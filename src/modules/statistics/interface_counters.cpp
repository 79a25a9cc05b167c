// The counters of one interface. The kernel counts packets, drops, errors and collisions, the
// statistics server bytes.

#include "statistics_applet.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <optional>

#include "support/files.h"
#include "support/owned.h"

namespace {

constexpr int access_points = 8;

using path_text = std::array<char, 100>;

/// A counter file of an interface; an empty path, which no file has, when the name does not fit.
path_text counter_path(const char *interface, const char *counter) {
    path_text path;
    const int length =
        std::snprintf(path.data(), path.size(), "/sys/class/net/%s/%s", interface, counter);
    if (length >= static_cast<int>(path.size())) {
        path[0] = '\0';
    }
    return path;
}

/// The low 32 bits of a counter's first 19 characters, or nothing when they are no number.
std::optional<uint32_t> read_counter(const char *interface, const char *counter) {
    std::array<char, 20> line;
    if (!tarrow::read_first_line(counter_path(interface, counter).data(), line.data(),
                                 line.size())) {
        return std::nullopt;
    }
    char *end = nullptr;
    const auto value = static_cast<uint32_t>(std::strtoull(line.data(), &end, 10));
    return end != line.data() ? std::optional(value) : std::nullopt;
}

/// Reads a counter into a field, which does not change when there is no number.
template <typename Field>
void read_counter(const char *interface, const char *counter, Field &field) {
    if (const auto value = read_counter(interface, counter)) {
        field = static_cast<Field>(*value);
    }
}

/// Adds a counter to a field.
template <typename Field>
void add_counter(const char *interface, const char *counter, Field &field) {
    field = static_cast<Field>(static_cast<uint32_t>(field) +
                               read_counter(interface, counter).value_or(0));
}

/// Reads the totals of the current connection: 0 when the server does not answer.
void read_totals(const char *interface, statistics_t &record) {
    const tarrow::heap<accu_get_input_t> input(
        static_cast<accu_get_input_t *>(alloc_data(sizeof(accu_get_input_t))));
    const tarrow::heap<accu_get_output_t> output(
        static_cast<accu_get_output_t *>(alloc_data(sizeof(accu_get_output_t))));
    if (!input || !output) {
        return;
    }
    std::strncpy(input->interface, interface, sizeof(input->interface) - 1);
    input->accu_type = ST_CURRENT;
    stat_accu_get(input.get(), output.get());
    record.rx_bytes = output->rx_bytes;
    record.rx_gbytes = output->rx_gbytes;
    record.tx_bytes = output->tx_bytes;
    record.tx_gbytes = output->tx_gbytes;
}

/// Adds the transmit counters of a virtual access point, unless it is down or absent.
void add_access_point(const char *interface, statistics_t &record) {
    std::array<char, 20> state = {};
    if (!tarrow::read_word(counter_path(interface, "operstate").data(), state.data(),
                           state.size()) ||
        std::strstr(state.data(), "down") != nullptr) {
        return;
    }
    add_counter(interface, "statistics/tx_packets", record.tx.sent);
    add_counter(interface, "statistics/tx_dropped", record.tx.dropped);
    add_counter(interface, "statistics/tx_errors", record.errors);
    add_counter(interface, "statistics/collisions", record.tx.collisions);
}

} // namespace

int statistics_get(const char *interface, statistics_t *record) {
    if (interface == nullptr || record == nullptr) {
        return 1;
    }
    read_counter(interface, "statistics/rx_packets", record->rx.received);
    read_counter(interface, "statistics/rx_errors", record->errors);
    read_counter(interface, "statistics/rx_dropped", record->rx.dropped);
    read_counter(interface, "statistics/tx_packets", record->tx.sent);
    add_counter(interface, "statistics/tx_errors", record->errors);
    read_counter(interface, "statistics/tx_dropped", record->tx.dropped);
    read_counter(interface, "statistics/collisions", record->tx.collisions);
    read_totals(interface, *record);
    return 1;
}

int statistics_get_mbss(const char *interface, statistics_t *record) {
    if (interface == nullptr || record == nullptr) {
        std::puts("pointer is NULL ");
        return -1;
    }
    record->errors = 0;
    read_counter(interface, "statistics/rx_packets", record->rx.received);
    read_counter(interface, "statistics/rx_dropped", record->rx.dropped);
    read_counter(interface, "statistics/rx_errors", record->errors);
    for (int number = 0; number < access_points; ++number) {
        path_text access_point;
        std::snprintf(access_point.data(), access_point.size(), "%sap%d", interface, number);
        add_access_point(access_point.data(), *record);
    }
    return 0;
}
