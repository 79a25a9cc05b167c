// What the pages do not reach: the task names an operation, the text is its argument, the files are the world's.
// "server" makes an exchange of the statistics client for each digit of the text.

#include <array>
#include <cstring>
#include <sys/ioctl.h>

#include "../src/modules/device_management/host_tables.h"
#include "../src/modules/http_share/http_share_applet.h"
#include "../src/modules/statistics/stat_api.h"
#include "../src/modules/statistics/statistics_applet.h"
#include "../src/modules/wan/wan_applet.h"
#include "../src/modules/wlan_settings/wlan_settings_applet.h"
#include "../src/support/command.h"
#include "support/world.h"

namespace {

using fuzz::require;
using fuzz::world;

fuzz::text block(std::size_t size) { return fuzz::text(static_cast<char *>(std::calloc(1, size))); }

/// A word in buffers of every size: whole, cut but with its closing quote, or not there.
void build_words(world & /*world*/, const char *text) {
    constexpr char save[] = "/etc/init.d/sms_pre_set.sh save ";
    for (std::size_t size = sizeof(save); size < sizeof(save) + 4 * std::strlen(text); size += 1 + size / 8) {
        const fuzz::text buffer = block(size);
        tarrow::command_builder line(buffer.get(), size);
        line.text(save).word(text);
        require((!line.complete() && std::strlen(line.c_str()) < sizeof(save)) || fuzz::is_known_command(line.c_str()),
                "a well formed line", line.c_str());
    }
}

void ask_interface(world & /*world*/, const char *name) {
    const fuzz::text value = block(18), address = block(128), gateway = block(16);
    for (const int request : {SIOCGIFADDR, SIOCGIFDSTADDR, SIOCGIFNETMASK, SIOCGIFHWADDR}) {
        require(get_by_ioctl(-1, request, name, value.get()) == -1 || std::strlen(value.get()) >= 7, "an address");
    }
    require(get_ipv6_address(name, address.get()) == 0 || std::strchr(address.get(), '/') == nullptr, "no prefix");
    require(get_gateway_address(name, gateway.get()) == -1 || is_ipv4(gateway.get()) == 0, "a gateway");
    statistics_t record = {};
    require(statistics_get_mbss(name, &record) == 0, "counters");
    std::array<unsigned char, 6> bytes;
    ether_atoe(name, bytes.data());
    require(std::strlen(ether_etoa(bytes.data(), value.get())) == 17, "six bytes");
}

void list_stations(world & /*world*/, const char *interface) {
    const fuzz::text memory = block(sizeof(wireless_list_t));
    auto *list = reinterpret_cast<wireless_list_t *>(memory.get());
    get_wireless_clients_for_interface(interface, list);
    require(list->num_of_entries >= 0 && list->num_of_entries <= HOST_TABLE_ENTRIES, "a table");
    wireless_client_list_free(list);
}

void reduce_version(world & /*world*/, const char *text) {
    const fuzz::text buffer = block(std::max<std::size_t>(128, std::strlen(text) + 1));
    std::strcpy(buffer.get(), text);
    const int length = generate_sw_version(buffer.get());
    require(length == -1 ? std::strcmp(buffer.get(), text) == 0 : length == static_cast<int>(std::strlen(buffer.get())),
            "a length", buffer.get());
}

void exchange(world &world, opcode_t op) {
    world.sleeps = 0; // each has its own tries for the lock
    constexpr char server_pipe[] = "/tmp/stat_server_fifo", lock_file[] = "/tmp/.sflck";
    const std::string coming = world.parts["answers"];
    const std::size_t output_size = get_data_size(IO_OUTPUT, op);
    const fuzz::text input = block(get_data_size(IO_INPUT, op)), output = block(output_size);
    std::memset(output.get(), '?', output_size);
    const bool is_sent = op < OP_END && (world.exists(server_pipe) || world.exists("*")) && !world.exists(lock_file);
    require(call_server_func(op, input.get(), output.get()) == (is_sent ? 1 : -1), "whether a request was sent");
    if (!is_sent) { return; }
    io_meta_data_t meta = {};
    const std::string request = world.content(server_pipe);
    std::memcpy(&meta, request.data(), std::min(sizeof(meta), request.size()));
    require(meta.op == op && meta.dsize == get_data_size(IO_INPUT, op) && request.size() >= sizeof(meta) + meta.dsize,
            "a whole request");
    std::string expected = coming.empty() ? "" : coming.substr(1, static_cast<unsigned char>(coming[0]));
    expected.resize(output_size, '?');
    require(std::string(output.get(), output_size) == expected, "the answer, and nothing else");
    require(!world.exists(lock_file) && !world.exists("/tmp/stat_client_" + std::to_string(meta.cpid) + "_fifo"),
            "neither lock nor pipe is left");
}

/// The pages whose handlers no row of the table names.
void read_pages(world & /*world*/, const char *text) {
    const fuzz::tree page = fuzz::parse(text);
    dc_args_t args = {TARROW_CB_ARGS_XML, {.dc_subnode = page.get()}, nullptr};
    for (const auto get : {wlan_get, http_share_post_get}) { get(TARROW_ACTION_GET, &args); }
    if (page) { fuzz::serialise(page.get()); }
}

struct operation {
    const char *name;
    void (*run)(world &world, const char *text);
};
constexpr operation operations[] = {
    {"words", build_words},
    {"interface", ask_interface},
    {"stations", list_stations},
    {"version", reduce_version},
    {"pages", read_pages},
    {"self-test", [](world &, const char *) { stat_client_main(); }},
    {"server",
     [](world &w, const char *text) {
         for (; *text >= '0' && *text <= '3'; ++text) { exchange(w, static_cast<opcode_t>(*text - '0')); }
     }},
    {"run_cmd", [](world &, const char *text) { tarrow_call_module_run_cmd("/etc/init.d/lan_pre_set.sh", 3, text); }},
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    world world(data, size);
    const fuzz::text argument(strdup(world.text.c_str()));
    for (const operation &row : operations) {
        if (world.task == row.name) { row.run(world, argument.get()); }
    }
    return 0;
}
