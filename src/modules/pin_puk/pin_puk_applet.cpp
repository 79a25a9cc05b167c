// The SIM lock page as it is posted: the PIN lock switched on or off, the PIN changed, the SIM
// unblocked or unlocked. Codes are passed on, never made up or altered: a wrong one costs the user
// an attempt.

#include "pin_puk_applet.h"

#include <array>
#include <cstring>
#include <syslog.h>

#include "../../callback.h"
#include "../../clock.h"
#include "../../command.h"
#include "../../files.h"
#include "../../settings.h"
#include "../../text.h"
#include "../../xml.h"
#include "telephony.h"

namespace {

constexpr std::size_t command_size = 255;
constexpr std::size_t longest_control_key = 255;
constexpr int poll_interval_ms = 50;
constexpr int waits_for_control_key = 5; // the PIN state in which the SIM takes one
constexpr char sim_check[] = "/usr/app/agent_client 0 /usr/app/check_sim_status.sh";

/// The setting that holds the control key of each lock category.
constexpr char control_key_settings[][18] = {"cellular.mep_nck", "cellular.mep_nsck",
                                             "cellular.mep_spck", "cellular.mep_cck",
                                             "cellular.mep_pck"};

using modem_line = tarrow::command_line<command_size>;

/// A posted text, or null for an element that holds anything beside one: part of a code is another
/// code.
const char *posted_text(mxml_node_t *element) {
    const char *text = tarrow::opaque_text(element);
    return mxmlGetNextSibling(mxmlGetFirstChild(element)) == nullptr ? text : nullptr;
}

bool is_code(const char *text) {
    return text != nullptr && *text != '\0' && tarrow::is_made_of(text, "");
}

/// A command that switches the PIN lock. Gives false when the code is refused or does not fit.
bool make_lock(modem_line &line, bool is_on, const char *pin, const char *filter) {
    if (!is_code(pin)) {
        return false;
    }
    line.text("/usr/app/at_chat -i /dev/citty0 -c AT+CLCK=\"SC\",")
        .text(is_on ? "1," : "0,")
        .text(pin)
        .text(filter);
    return line.complete();
}

/// Whether a code could be sent to the modem at all.
bool is_sendable(const char *code) {
    modem_line line;
    return make_lock(line, true, code, "");
}

bool are_sendable(const char *puk, const char *new_pin) {
    return is_sendable(puk) && is_sendable(new_pin);
}

bool is_control_key(const char *key) {
    return is_code(key) && std::strlen(key) <= longest_control_key;
}

/// The commands of a PIN change.
struct pin_change {
    modem_line lock_on;
    modem_line change;
    modem_line lock_off_new;
    modem_line lock_off_old;

    /// Gives false when a code is refused or does not fit.
    bool make(const char *old_pin, const char *new_pin) {
        constexpr char ok_filter[] = " | /xbin/grep \"OK\"";
        if (!make_lock(lock_on, true, old_pin, ok_filter) ||
            !make_lock(lock_off_new, false, new_pin, ok_filter) ||
            !make_lock(lock_off_old, false, old_pin, ok_filter)) {
            return false;
        }
        change.text("/usr/app/at_chat -i /dev/citty0 -c AT+CPWD=\"SC\",")
            .text(old_pin)
            .text(",")
            .text(new_pin)
            .text(ok_filter);
        return change.complete();
    }
};

int run_logged(const modem_line &line) {
    syslog(LOG_DEBUG, "Executing %s\n", line.c_str());
    return tarrow::run(line);
}

void check_sim_without_attempts(const pin_puk_info &info) {
    if (info.pin_attempts == 0) {
        tarrow::run(sim_check);
    }
}

int switch_lock(bool is_on, const char *pin) {
    modem_line line;
    if (!make_lock(line, is_on, pin, "")) {
        return -1;
    }
    pin_puk_info info = {-1, -1, -1, 0};
    run_logged(line);
    pin_puk_info_get(&info);
    check_sim_without_attempts(info);
    return 0;
}

void wait_for_sim_check() {
    while (tarrow::is_readable("/tmp/sim_checking_mutex")) {
        tarrow::wait_ms(poll_interval_ms);
    }
}

} // namespace

int enable_pin(const char *pin) {
    return switch_lock(true, pin);
}

int disable_pin(const char *pin) {
    return switch_lock(false, pin);
}

int change_pin(const char *old_pin, const char *new_pin) {
    pin_change lines;
    if (!lines.make(old_pin, new_pin)) {
        return -1;
    }
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
        run_logged(lines.lock_on);
    }
    const bool is_changed = run_logged(lines.change) == 0;
    if (was_off) {
        tarrow::run(is_changed ? lines.lock_off_new : lines.lock_off_old);
    }
    if (!is_changed) {
        tarrow::write_number(tarrow::cmd_status_file, 1);
    }
    pin_puk_info_get_attempts(&info);
    check_sim_without_attempts(info);
    return 0;
}

int reset_pin_using_puk(const char *puk, const char *new_pin) {
    if (!are_sendable(puk, new_pin)) {
        return -1;
    }
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

int provide_pin(const char *pin) {
    if (!is_sendable(pin)) {
        return -1;
    }
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

int mep_provide_ck(const char *control_key) {
    if (!is_control_key(control_key) ||
        tarrow::read_number("/tmp/telephony/pin_status") != waits_for_control_key) {
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

int pin_puk_xml_set(mxml_node_t *root) {
    struct operation {
        const char *first;  // the elements that hold its codes
        const char *second; // null: it has one code
        bool (*accepts)(const char *first, const char *second);
        int (*run)(const char *first, const char *second);
    };
    constexpr auto accepts_pin = [](const char *pin, const char *) { return is_sendable(pin); };
    constexpr std::array<operation, 6> operations = {{
        {"pin", nullptr, accepts_pin,
         [](const char *pin, const char *) { return enable_pin(pin); }},
        {"pin", nullptr, accepts_pin,
         [](const char *pin, const char *) { return disable_pin(pin); }},
        {"pin", "new_pin",
         [](const char *pin, const char *new_pin) { return pin_change().make(pin, new_pin); },
         change_pin},
        {"puk", "new_pin", are_sendable, reset_pin_using_puk},
        {"pin", nullptr, accepts_pin,
         [](const char *pin, const char *) { return provide_pin(pin); }},
        {"mep_unlock_ck", nullptr,
         [](const char *key, const char *) { return is_control_key(key); },
         [](const char *key, const char *) { return mep_provide_ck(key); }},
    }};
    const auto posted = [&](const char *name) {
        return posted_text(tarrow::find_below(root, name));
    };
    const char *command = posted("command");
    const int number = command != nullptr ? tarrow::parse_number(command).value_or(0) : 0;
    if (number < 1 || number > static_cast<int>(operations.size())) {
        return -1;
    }
    const operation &chosen = operations[static_cast<std::size_t>(number - 1)];
    const char *first = posted(chosen.first);
    const char *second = chosen.second != nullptr ? posted(chosen.second) : "";
    if (first == nullptr || second == nullptr || !chosen.accepts(first, second)) {
        return -1;
    }
    chosen.run(first, second); // what comes of it is read with the page
    return 0;
}

int pin_puk_post_set(int /*flags*/, dc_args_t *dc) {
    mxml_node_t *root = tarrow::subtree_of(dc);
    return root != nullptr ? pin_puk_xml_set(root) : -1;
}
