// Exchanges with the statistics server, and reads the whole statistics page, with the development
// server.

#include "pair.h"

#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "../src/modules/statistics/stat_api.h"
#include "../src/tarrow_applets.h"

namespace {

constexpr char server_pipe[] = "/tmp/stat_server_fifo";
constexpr char lock[] = "/tmp/.sflck";

/// The same bytes over the same pipes, and nothing else.
template <typename Input, typename Output>
void exchange(opcode_t op, const char *interface) {
    Input input = {};
    std::strcpy(input.interface, interface);
    Output output = {};
    const io_meta_data_t meta = {op, static_cast<int32_t>(getpid()), sizeof(input)};
    char path[40];
    std::snprintf(path, sizeof(path), "/tmp/stat_client_%d_fifo", static_cast<int>(getpid()));
    const int server = open(server_pipe, O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    const int held = open(lock, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    benchmark::DoNotOptimize(write(server, &meta, sizeof(meta)));
    benchmark::DoNotOptimize(write(server, &input, sizeof(input)));
    mkfifo(path, 0777);
    const int answers = open(path, O_RDONLY | O_CLOEXEC);
    benchmark::DoNotOptimize(read(answers, &output, sizeof(output)));
    unlink(path);
    close(answers);
    close(held);
    unlink(lock);
    close(server);
}

void exchange_totals(const char *interface) {
    exchange<accu_get_input_t, accu_get_output_t>(OP_ACCU_GET, interface);
}

void read_counters(const char *interface) {
    for (const char *name : {"rx_packets", "rx_errors", "rx_dropped", "tx_packets", "tx_errors",
                             "tx_dropped", "collisions"}) {
        char path[100];
        char value[20];
        std::snprintf(path, sizeof(path), "/sys/class/net/%s/statistics/%s", interface, name);
        const int file = open(path, O_RDONLY | O_CLOEXEC);
        benchmark::DoNotOptimize(read(file, value, sizeof(value)));
        close(file);
    }
}

constexpr char page_text[] =
    "<s><WanStatistics><rx/><tx/><rx_bytes/><tx_bytes/><errors/></WanStatistics><LanStatistics><rx/"
    ">"
    "<tx/><rx_bytes/><tx_bytes/></LanStatistics><WlanStatistics><rx/><tx/><rx_dropped/>"
    "</WlanStatistics><WanStatisticsAccu><rx_bytes/><tx_bytes/><rx_speed/></WanStatisticsAccu></s>";

} // namespace

void bench::register_statistics() {
    pair(
        "statistics exchange", 1.2,
        [] {
            accu_get_input_t input = {};
            std::strcpy(input.interface, "usb");
            accu_get_output_t output = {};
            stat_accu_get(&input, &output);
        },
        [] { exchange_totals("usb"); }, 401);
    pair(
        "statistics get", 1.1,
        [] {
            mxml_node_t *page = mxmlLoadString(nullptr, page_text, MXML_OPAQUE_CALLBACK);
            dc_args_t args = {TARROW_CB_ARGS_XML, {.dc_subnode = page}, nullptr};
            tarrow_call_module_post_get_handler("statistics", TARROW_ACTION_GET, &args);
            mxmlDelete(page);
        },
        [] { // builds the request's tree; runs both scripts, five exchanges, and reads the counters
            mxml_node_t *page = mxmlLoadString(nullptr, page_text, MXML_OPAQUE_CALLBACK);
            benchmark::DoNotOptimize(std::system("/usr/app/get_wan_interface.sh"));
            read_counters("ccinet0");
            exchange_totals("ccinet0");
            benchmark::DoNotOptimize(std::system("/usr/app/get_wan_interface.sh"));
            exchange_totals("ccinet0");
            exchange<speed_get_input_t, speed_get_output_t>(OP_SPEED_GET, "ccinet0");
            for (const char *interface : {"usb", "uap0"}) {
                read_counters(interface);
                exchange_totals(interface);
            }
            mxmlDelete(page);
        },
        101);
}
