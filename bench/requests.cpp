// Requests through the dispatch: finds a module, and reads the whole wan page.

#include "pair.h"

#include <cstring>
#include <fstream>

#include "../src/support/owned.h"
#include "../src/tarrow_applets.h"

namespace {

void write_file(const char *path, const char *text) {
    std::ofstream(path) << text;
}

void add_dispatch() {
    bench::pair(
        "dispatch by name", 0,
        [] { tarrow_call_module_post_get_handler("http_share", TARROW_ACTION_GET, nullptr); },
        [] { // copies the table, and compares up to its last row
            const tarrow::heap<applet_info> table(tarrow_get_module_applets(nullptr));
            for (int i = 0; std::strcmp(table.get()[i].di_modname, "http_share") != 0; ++i) {
                benchmark::ClobberMemory();
            }
        });
}

constexpr char wan_page[] =
    "<wan><pc_mac/><ConnType/><ip4/><ip6/><wan_link_status/><wan_conn_status/><gateway/><dns1/"
    "><dns2/>"
    "<cellular><conn_days/><conn_hours/><conn_minutes/><conn_seconds/><spn/><roaming/><rssi/><isp/>"
    "<act/><sim_status/><pin_status/><pin_attempts/><puk_attempts/><msisdn/></cellular></wan>";

/// Builds the tree of the request, as the daemon does.
mxml_node_t *make_wan_page() {
    return mxmlLoadString(nullptr, wan_page, MXML_OPAQUE_CALLBACK);
}

void read_wan() {
    mxml_node_t *page = make_wan_page();
    dc_args_t args = {TARROW_CB_ARGS_XML, {.dc_subnode = page}, nullptr};
    tarrow_call_module_pre_get_handler("wan", TARROW_ACTION_GET, &args);
    tarrow_call_module_post_get_handler("wan", TARROW_ACTION_GET, &args);
    mxmlDelete(page);
}

/// Runs the commands of the same request, and nothing else.
void run_wan_commands() {
    mxml_node_t *page = make_wan_page();
    benchmark::DoNotOptimize(std::system("/usr/app/get_wan_interface.sh"));
    benchmark::DoNotOptimize(std::system("/etc/init.d/get_wan_connection_status.sh ccinet0 1"));
    FILE *output = popen("/system/sbin/ifconfig ccinet0 | /xbin/grep 'inet6.*Global' |"
                         " /xbin/awk '{print $3}'",
                         "r");
    char address[128];
    benchmark::DoNotOptimize(read(fileno(output), address, sizeof(address)));
    pclose(output);
    mxmlDelete(page);
}

void add_wan() {
    write_file("/tmp/check_sim.txt", "0"); // no SIM check is due, and the next line: no number
    write_file("/tmp/pb_ready", "1");
    bench::pair("wan get", 1.05, read_wan, run_wan_commands, 201);
}

} // namespace

void bench::register_requests() {
    add_dispatch();
    add_wan();
}
