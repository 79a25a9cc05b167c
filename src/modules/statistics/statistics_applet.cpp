// The statistics page: the counters of each interface, and the traffic of the billing period.

#include "statistics_applet.h"

#include <cstddef>
#include <cstring>
#include <ctime>

#include "modules/wan/wan_applet.h"
#include "support/callback.h"
#include "support/owned.h"
#include "support/settings.h"
#include "support/xml.h"

using tarrow::heap;
using tarrow::heap_string;

namespace {

constexpr char wlan_group[] = "WlanStatistics";

/// The elements of a group, in the order of the answer.
struct counter_element {
    const char *name;
    bool is_wlan_only;
    std::size_t offset; // of its value in the record
};
constexpr counter_element counter_elements[] = {
    {"rx", false, offsetof(statistics_t, rx.received)},
    {"tx", false, offsetof(statistics_t, tx.sent)},
    {"rx_dropped", true, offsetof(statistics_t, rx.dropped)},
    {"tx_collisions", true, offsetof(statistics_t, tx.collisions)},
    {"tx_dropped", true, offsetof(statistics_t, tx.dropped)},
    {"rx_giga_bytes", false, offsetof(statistics_t, rx_gbytes)},
    {"tx_giga_bytes", false, offsetof(statistics_t, tx_gbytes)},
    {"rx_bytes", false, offsetof(statistics_t, rx_bytes)},
    {"tx_bytes", false, offsetof(statistics_t, tx_bytes)},
    {"errors", false, offsetof(statistics_t, errors)},
};

int value_of(const statistics_t &record, const counter_element &element) {
    int value = 0;
    std::memcpy(&value, reinterpret_cast<const char *>(&record) + element.offset, sizeof(value));
    return value;
}

/// Moves an element of a group to its end and fills it, if the page has it.
void fill(mxml_node_t *group, const char *name, int value) {
    if (mxml_node_t *element = tarrow::find_child(group, name); element != nullptr) {
        tarrow::move_last(group, element);
        tarrow::add_integer(element, value);
    }
}

template <typename Record>
heap<Record> new_record() {
    return heap<Record>(static_cast<Record *>(alloc_data(sizeof(Record))));
}

} // namespace

int stat_get(int /*flags*/, dc_args_t *dc) {
    const auto wan = new_record<statistics_t>();
    const auto lan = new_record<statistics_t>();
    const auto wlan = new_record<statistics_t>();
    mxml_node_t *root = tarrow::subtree_of(dc);
    if (root == nullptr || !wan || !lan || !wlan) {
        return -1;
    }
    wan_stat_get(root, wan.get());
    wan_accu_get(root, wan.get());
    lan_stat_get(root, lan.get());
    wlan_stat_get(root, wlan.get());
    return 0;
}

int wan_stat_get(mxml_node_t *root, statistics_t *record) {
    const heap_string interface(get_wan_interface());
    if (!interface) {
        return -1;
    }
    statistics_get(interface.get(), record);
    stat_xml_get(root, record, "WanStatistics");
    return 0;
}

int wan_accu_get(mxml_node_t *root, statistics_t * /*record*/) {
    const heap_string interface(get_wan_interface());
    if (!interface) {
        return -1;
    }
    const auto period = new_record<accu_get_input_t>();
    const auto totals = new_record<accu_get_output_t>();
    const auto port = new_record<speed_get_input_t>();
    const auto speed = new_record<speed_get_output_t>();
    if (!period || !totals || !port || !speed) {
        return 1;
    }
    std::strncpy(period->interface, interface.get(), sizeof(period->interface) - 1);
    period->accu_type = ST_ACCU;
    get_start_end_date(&period->start_date, &period->end_date);
    stat_accu_get(period.get(), totals.get());
    std::strncpy(port->interface, interface.get(), sizeof(port->interface) - 1);
    stat_speed_get(port.get(), speed.get());

    mxml_node_t *group = tarrow::find_child(root, "WanStatisticsAccu");
    fill(group, "rx_bytes", static_cast<int>(totals->rx_bytes));
    fill(group, "tx_bytes", static_cast<int>(totals->tx_bytes));
    fill(group, "rx_giga_bytes", static_cast<int>(totals->rx_gbytes));
    fill(group, "tx_giga_bytes", static_cast<int>(totals->tx_gbytes));
    fill(group, "rx_speed", static_cast<int>(speed->rx_speed));
    fill(group, "tx_speed", static_cast<int>(speed->tx_speed));
    return 1;
}

int lan_stat_get(mxml_node_t *root, statistics_t *record) {
    statistics_get("usb", record);
    stat_xml_get(root, record, "LanStatistics");
    return 0;
}

int wlan_stat_get(mxml_node_t *root, statistics_t *record) {
    statistics_get("uap0", record);
    stat_xml_get(root, record, wlan_group);
    return 0;
}

int stat_xml_get(mxml_node_t *root, const statistics_t *record, const char *group) {
    mxml_node_t *parent = group != nullptr ? tarrow::find_child(root, group) : nullptr;
    if (parent == nullptr || record == nullptr) {
        return 1;
    }
    const bool is_wlan = std::strcmp(group, wlan_group) == 0;
    for (const counter_element &element : counter_elements) {
        if (is_wlan || !element.is_wlan_only) {
            fill(parent, element.name, value_of(*record, element));
        }
    }
    return 1;
}

void get_start_end_date(stat_time_t *start, stat_time_t *end) {
    if (start == nullptr || end == nullptr) {
        return;
    }
    const int start_day = tarrow::read_setting_number("statistics", "StatisticsStartDay", 1);
    const std::time_t now = std::time(nullptr);
    std::tm today = {};
    tzset(); // the zone can change while the daemon runs
    localtime_r(&now, &today);
    start->tm_mday = start_day;
    end->tm_mday = today.tm_mday;
    end->tm_mon = today.tm_mon;
    end->tm_year = today.tm_year;
    start->tm_mon = today.tm_mon;
    start->tm_year = today.tm_year;
    if (static_cast<unsigned int>(today.tm_mday) < static_cast<unsigned int>(start_day)) {
        start->tm_mon = today.tm_mon == 0 ? 11 : today.tm_mon - 1;
        start->tm_year -= today.tm_mon == 0 ? 1 : 0;
    }
}
