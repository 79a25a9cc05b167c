// Requests with bytes from anywhere: one text in the page or table, one in a file that the library
// reads, one that each command prints. No bytes make the library crash, use memory that it must
// not, lose any, or leave a descriptor open.

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

#include "../laws/requests.h"

namespace {

constexpr const char *files[] = {"/tmp/wan_ifc",
                                 "/tmp/wan_conn_status",
                                 "/tmp/wan_disc",
                                 "/tmp/cust_resolv.conf",
                                 "/tmp/local/ip",
                                 "/tmp/data_start_time",
                                 "/tmp/spn",
                                 "/tmp/cellular_isp",
                                 "/tmp/cellular_basic_act",
                                 "/tmp/telephony/.tmpinfo",
                                 "/tmp/telephony/mep_category",
                                 "/tmp/telephony/pin_attempts",
                                 "/tmp/telephony/sms/.list_dev",
                                 "/tmp/telephony/sms/.capacity_sim",
                                 "/tmp/telephony/sms/.save",
                                 "/tmp/wsc/wdev0ap0/wsc_ap_pin.txt",
                                 "/tmp/wifi_status.txt",
                                 "/tmp/wps/wps_result",
                                 "/tmp/diag",
                                 "/tmp/wrote_bytes.txt",
                                 "/tmp/tcard_block",
                                 "/run/instead/etc/resolv.conf",
                                 "/run/instead/proc/net/arp",
                                 "/run/instead/proc/net/route",
                                 "/run/instead/proc/uptime",
                                 "/run/instead/var/lib/udhcpd.leases",
                                 "/run/instead/sys/class/net/usb/statistics/rx_packets"};

/// The bytes up to the next 0xff, which end a text; those are taken away.
std::string take_text(std::string &bytes) {
    std::string text = bytes.substr(0, bytes.find('\xff'));
    bytes.erase(0, text.size() + 1);
    return text;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    set_up_requests();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (size < 2) {
        return -1;
    }
    std::string bytes(data + 2, data + size);
    const std::filesystem::path file = files[data[1] % std::size(files)];
    const std::string text = take_text(bytes), content = take_text(bytes),
                      output = take_text(bytes);
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
    canned_output = output.c_str();
    const request &one = requests[data[0] % request_count];
    const int descriptors = open_descriptors();
    dc_args_t record = begin_request(&one, -1, text.c_str());
    run_request(&one, &record);
    end_request(&record);
    std::filesystem::remove(file);
    if (open_descriptors() != descriptors) {
        std::abort();
    }
    return 0;
}
