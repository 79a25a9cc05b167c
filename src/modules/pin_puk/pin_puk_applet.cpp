// Posts to the SIM lock page: switches the PIN lock, changes the PIN, unblocks or unlocks the SIM.
// It never makes up or changes a code: a wrong code costs the user an attempt.

#include "pin_puk_applet.h"

#include <array>
#include <cstring>
#include <syslog.h>

#include "support/callback.h"
#include "support/clock.h"
#include "support/command.h"
#include "support/files.h"
#include "support/settings.h"
#include "support/text.h"
#include "support/xml.h"
#include "telephony.h"

namespace {

constexpr std::size_t command_size = 255;
constexpr std::size_t max_code_length = 255;
constexpr int poll_interval_ms = 50;
constexpr int waits_for_control_key = 5; // the PIN state in which the SIM takes one
constexpr char sim_check[] = "/usr/app/agent_client 0 /usr/app/check_sim_status.sh";

constexpr char lock_command[] = "/usr/app/at_chat -i /dev/citty0 -c AT+CLCK=\"SC\",";
constexpr char change_command[] = "/usr/app/at_chat -i /dev/citty0 -c AT+CPWD=\"SC\",";
constexpr char ok_filter[] = " | /xbin/grep \"OK\"";

/// The setting that holds the control key of each lock category.
constexpr const char *control_key_settings[] = {"cellular.mep_nck", "cellular.mep_nsck",
                                                "cellular.mep_spck", "cellular.mep_cck",
                                                "cellular.mep_pck"};

using modem_line = tarrow::command_line<command_size>;

/// A posted code, or null when the element has more than one node: part of a code is another code.
const char *posted_code(mxml_node_t *root, const char *name) {
    mxml_node_t *element = tarrow::find_below(root, name);
    const char *text = tarrow::opaque_text(element);
    return mxmlGetNextSibling(mxmlGetFirstChild(element)) == nullptr ? text : nullptr;
}

bool is_code(const char *text) {
    return text != nullptr && *text != '\0' && std::strlen(text) <= max_code_length &&
           tarrow::is_made_of(text, "");
}

int run_logged(const modem_line &line) {
    syslog(LOG_DEBUG, "Executing %s\n", line.c_str());
    return tarrow::run(line);
}

void check_sim_without_attempts(const pin_puk_info &info) {
    if (info.pin_attempts == 0) {
        tarrow::run(sim_check);
    }
}

void build_lock_command(modem_line &line, bool is_on, const char *pin, const char *filter) {
    line.text(lock_command).text(is_on ? "1," : "0,").text(pin).text(filter);
}

int switch_lock(bool is_on, const char *pin) {
    pin_puk_info info = {-1, -1, -1, 0};
    modem_line line;
    build_lock_command(line, is_on, pin, "");
    run_logged(line);
    pin_puk_info_get(&info);
    check_sim_without_attempts(info);
    return 0;
}

int switch_lock_on(const char *pin, const char * /*none*/) {
    return switch_lock(true, pin);
}

int switch_lock_off(const char *pin, const char * /*none*/) {
    return switch_lock(false, pin);
}

int replace_pin(const char *old_pin, const char *new_pin) {
    int lock_state = -1;
    pin_puk_info info = {-1, -1, -1, 0};
    tarrow::run("/usr/app/at_chat -i/dev/citty0 -c AT+CLCK=\"SC\",2 | /xbin/grep CLCK >"
                " /tmp/telephony/.tmpinfo");
    if (!tarrow::read_lock_state(&lock_state)) {
        return 0;
    }
    // A PIN can only be changed while its lock is on.
    const bool was_off = lock_state == 0;
    if (was_off) {
        modem_line lock_on;
        build_lock_command(lock_on, true, old_pin, ok_filter);
        run_logged(lock_on);
    }
    modem_line line;
    line.text(change_command).text(old_pin).text(",").text(new_pin).text(ok_filter);
    const bool is_changed = run_logged(line) == 0;
    if (was_off) {
        modem_line lock_off;
        build_lock_command(lock_off, false, is_changed ? new_pin : old_pin, ok_filter);
        tarrow::run(lock_off);
    }
    if (!is_changed) {
        tarrow::write_number(tarrow::cmd_status_file, 1);
    }
    pin_puk_info_get_attempts(&info);
    check_sim_without_attempts(info);
    return 0;
}

void wait_for_sim_check() {
    while (tarrow::is_readable("/tmp/sim_checking_mutex")) {
        tarrow::wait_ms(poll_interval_ms);
    }
}

int unblock(const char *puk, const char *new_pin) {
    wait_for_sim_check();
    tarrow::store handle(cfgdb_open("wan"));
    if (!handle) {
        return -1;
    }
    tarrow::set_value(handle, "cellular.puk", puk);
    tarrow::set_value(handle, "cellular.pin", new_pin);
    handle.reset();
    tarrow::run("rm /tmp/unlock_sim");
    tarrow::run("rm /tmp/telephony/pin_attempts");
    tarrow::run("rm /tmp/telephony/puk_attempts");
    tarrow::run("rm /tmp/telephony/pin_enabled");
    tarrow::run(sim_check);
    return 0;
}

int enter_pin(const char *pin, const char * /*none*/) {
    wait_for_sim_check();
    tarrow::store handle(cfgdb_open("wan"));
    if (!handle) {
        return -1;
    }
    tarrow::set_value(handle, "cellular.pin", pin);
    handle.reset();
    tarrow::run("rm /tmp/unlock_sim");
    tarrow::run(sim_check);
    tarrow::wait_ms(1000);
    return 0;
}

int enter_control_key(const char *control_key, const char * /*none*/) {
    if (tarrow::read_number("/tmp/telephony/pin_status") != waits_for_control_key) {
        return -1;
    }
    const int category = tarrow::read_number(tarrow::mep_category_file).value_or(-1);
    if (category < 0 || category >= static_cast<int>(std::size(control_key_settings))) {
        return -1;
    }
    tarrow::store handle(cfgdb_open("wan"));
    if (!handle) {
        return -1;
    }
    tarrow::set_value(handle, control_key_settings[category], control_key);
    const tarrow::heap_string proto = tarrow::value_of(handle, "proto");
    handle.reset();
    const bool is_cellular = proto && std::strcmp(proto.get(), "cellular") == 0;
    tarrow::run(is_cellular
                    ? "/usr/app/agent_client 0 \"/etc/init.d/wan_cellular_start.sh restart\""
                    : "/usr/app/agent_client 0 \"/usr/app/check_sim_status.sh\"");
    return 0;
}

/// The values of the element "command".
enum operation_code { ENABLE_PIN = 1, DISABLE_PIN, CHANGE_PIN, RESET_PIN, PROVIDE_PIN, PROVIDE_CK };

/// The posted elements that an operation needs, and the function that carries it out.
struct operation {
    const char *first_element;  // holds the first code
    const char *second_element; // holds the second code; null: there is none, and "" stands for it
    std::size_t max_codes_length; // of both codes together
    int (*run)(const char *first, const char *second);

    [[nodiscard]] bool accepts(const char *first, const char *second) const {
        return is_code(first) && (second_element == nullptr || is_code(second)) &&
               std::strlen(first) + std::strlen(second) <= max_codes_length;
    }
};
constexpr std::size_t room_in_lock = command_size - sizeof(lock_command) - (sizeof("1,") - 1);
constexpr std::size_t room_in_change = // a code that fits here fits the lock lines of a change too
    command_size - sizeof(change_command) - (sizeof(",") - 1) - (sizeof(ok_filter) - 1);
/// In the order of their codes.
constexpr std::array<operation, PROVIDE_CK> operations = {{
    {"pin", nullptr, room_in_lock, switch_lock_on},
    {"pin", nullptr, room_in_lock, switch_lock_off},
    {"pin", "new_pin", room_in_change, replace_pin},
    {"puk", "new_pin", 2 * max_code_length, unblock},
    {"pin", nullptr, max_code_length, enter_pin},
    {"mep_unlock_ck", nullptr, max_code_length, enter_control_key},
}};

/// The operation of a posted number, or null.
const operation *find_operation(int code) {
    return code >= ENABLE_PIN && code <= PROVIDE_CK
               ? &operations[static_cast<std::size_t>(code - ENABLE_PIN)]
               : nullptr;
}

int perform(operation_code code, const char *first, const char *second) {
    const operation *operation = find_operation(code);
    return operation->accepts(first, second) ? operation->run(first, second) : -1;
}

} // namespace

int enable_pin(const char *pin) {
    return perform(ENABLE_PIN, pin, "");
}

int disable_pin(const char *pin) {
    return perform(DISABLE_PIN, pin, "");
}

int change_pin(const char *old_pin, const char *new_pin) {
    return perform(CHANGE_PIN, old_pin, new_pin);
}

int reset_pin_using_puk(const char *puk, const char *new_pin) {
    return perform(RESET_PIN, puk, new_pin);
}

int provide_pin(const char *pin) {
    return perform(PROVIDE_PIN, pin, "");
}

int mep_provide_ck(const char *control_key) {
    return perform(PROVIDE_CK, control_key, "");
}

int pin_puk_xml_set(mxml_node_t *root) {
    const char *command = tarrow::opaque_text(tarrow::find_below(root, "command"));
    const operation *operation =
        find_operation(command != nullptr ? tarrow::parse_number(command).value_or(0) : 0);
    if (operation == nullptr) {
        return -1;
    }
    const char *first = posted_code(root, operation->first_element);
    const char *second =
        operation->second_element != nullptr ? posted_code(root, operation->second_element) : "";
    if (!operation->accepts(first, second)) {
        return -1;
    }
    operation->run(first, second); // the page reads the outcome with its next get
    return 0;
}

int pin_puk_post_set(int /*flags*/, dc_args_t *dc) {
    mxml_node_t *root = tarrow::subtree_of(dc);
    return root != nullptr ? pin_puk_xml_set(root) : -1;
}
