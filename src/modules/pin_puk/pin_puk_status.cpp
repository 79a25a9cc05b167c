// Reads of the SIM lock page: attempts left, lock state, outcome of the last PIN change. Files
// cache the modem's answers, so that the next read does not query the modem again.

#include "pin_puk_applet.h"

#include <array>
#include <cstring>
#include <initializer_list>
#include <sys/stat.h>
#include <syslog.h>

#include "support/callback.h"
#include "support/clock.h"
#include "support/command.h"
#include "support/files.h"
#include "support/xml.h"
#include "tarrow_log.h"
#include "telephony.h"

using tarrow::add_integer;
using tarrow::find_below;
using tarrow::read_number;
using tarrow::scan_number;

namespace {

constexpr int reply_wait_ms = 200;

/// The code of each lock category, as the modem's list of remaining attempts names it.
constexpr const char *lock_codes[] = {"PH-NET PIN", "PH-NETSUB PIN", "PH-SP PIN", "PH-CORP PIN",
                                      "PH-SIM PIN"};

void make_folder() {
    mkdir("/tmp/telephony/", 0777);
}

using reply_text = std::array<char, 256>;

/// Reads the filtered reply of the modem. Returns false when its file cannot be opened.
bool read_reply(reply_text &reply) {
    return tarrow::read_text(tarrow::scratch_file, reply.data(), reply.size()).has_value();
}

/// Reads the numbers after the name at the start of a reply, which commas separate. Stops at the
/// first that is no number: it and the numbers after it do not change.
void read_numbers(const char *reply, const char *name, std::initializer_list<int *> numbers) {
    const std::size_t length = std::strlen(name);
    const char *text = std::strncmp(reply, name, length) == 0 ? reply + length : "";
    for (int *number : numbers) {
        const auto value = tarrow::parse_number(text);
        if (!value) {
            return;
        }
        *number = *value;
        text += std::strspn(text, " \t\n\v\f\r+-");
        text += std::strspn(text, "0123456789");
        if (*text != ',') {
            return;
        }
        ++text;
    }
}

void cache(const char *path, int value) {
    if (value != -1) {
        tarrow::write_number(path, value);
    }
}

} // namespace

bool tarrow::read_lock_state(int *enabled) {
    reply_text reply;
    if (!read_reply(reply)) {
        return false;
    }
    read_numbers(reply.data(), "+CLCK:", {enabled});
    return true;
}

void pin_puk_info_get_attempts(pin_puk_info *info) {
    make_folder();
    tarrow::run("/usr/app/at_chat -c AT*PINCNT | /xbin/grep PINCNT > /tmp/telephony/.tmpinfo");
    reply_text reply;
    if (info == nullptr || !read_reply(reply)) {
        return;
    }
    int pin2_attempts = -1;
    int puk2_attempts = -1;
    read_numbers(reply.data(), "*PINCNT:(",
                 {&info->pin_attempts, &pin2_attempts, &info->puk_attempts, &puk2_attempts});
    unlink(tarrow::scratch_file);
    syslog(LOG_DEBUG, "Get the format data of PINCNT:%d,%d,%d,%d\n", info->pin_attempts,
           pin2_attempts, info->puk_attempts, puk2_attempts);
    cache(tarrow::pin_attempts_file, info->pin_attempts);
    cache(tarrow::puk_attempts_file, info->puk_attempts);
}

void pin_puk_info_get_enabled(pin_puk_info *info) {
    make_folder();
    tarrow::run("/usr/app/at_chat -c AT+CLCK=\"SC\",2 | /xbin/grep CLCK > /tmp/telephony/.tmpinfo");
    if (info == nullptr || !tarrow::read_lock_state(&info->pin_enabled)) {
        return;
    }
    unlink(tarrow::scratch_file);
    cache(tarrow::pin_enabled_file, info->pin_enabled);
}

void pin_puk_info_get(pin_puk_info *info) {
    pin_puk_info_get_attempts(info);
    pin_puk_info_get_enabled(info);
}

void mep_get_attempts(int32_t *attempts) {
    constexpr char name[] = "mep_get_attempts";
    if (attempts == nullptr) {
        return;
    }
    const auto category = read_number(tarrow::mep_category_file);
    if (!category) {
        __tarrow_log_print(0, nullptr, "%s open file fails\n", name);
        return;
    }
    if (*category < 0 || *category >= static_cast<int>(std::size(lock_codes))) {
        __tarrow_log_print(0, nullptr, "%s invalid mep category: %d\n", name, *category);
        return;
    }
    tarrow::command_line<256> line;
    line.text("/usr/app/at_chat -c AT+CPINR | /xbin/grep \"")
        .text(lock_codes[*category])
        .text("\" | /xbin/cut -d \",\" -f2 | /xbin/cut -d \" \" -f2 > /tmp/telephony/.tmpinfo");
    tarrow::run(line);
    tarrow::wait_ms(reply_wait_ms);
    if (scan_number(tarrow::scratch_file, *attempts)) {
        unlink(tarrow::scratch_file);
    }
    __tarrow_log_print(0, nullptr, "%s cat: %d mep_attempts: %d\n", name, *category, *attempts);
}

int pin_puk_xml_get(mxml_node_t *root) {
    pin_puk_info info = {-1, -1, -1, 0};
    const bool is_sim_present = read_number("/tmp/cellular_sim_status").value_or(1) == 0;
    if (mxml_node_t *element = find_below(root, "pin_attempts"); element != nullptr) {
        if (scan_number(tarrow::pin_attempts_file, info.pin_attempts)) {
            scan_number(tarrow::puk_attempts_file, info.puk_attempts);
        } else if (is_sim_present) {
            pin_puk_info_get_attempts(&info);
        }
        add_integer(element, info.pin_attempts);
    }
    // puk_attempts alone loads nothing: pin_attempts loads both.
    add_integer(find_below(root, "puk_attempts"), info.puk_attempts);
    if (mxml_node_t *element = find_below(root, "pin_enabled"); element != nullptr) {
        if (!scan_number(tarrow::pin_enabled_file, info.pin_enabled) && is_sim_present) {
            pin_puk_info_get_enabled(&info);
        }
        add_integer(element, info.pin_enabled);
    }
    if (mxml_node_t *element = find_below(root, "cmd_status"); element != nullptr) {
        if (scan_number(tarrow::cmd_status_file, info.cmd_status)) {
            unlink(tarrow::cmd_status_file); // only the first read reports a failure
        }
        add_integer(element, info.cmd_status);
    }
    if (mxml_node_t *element = find_below(root, "mep_attempts"); element != nullptr) {
        int32_t attempts = -1;
        if (!scan_number("/tmp/telephony/mep_attempts", attempts)) {
            mep_get_attempts(&attempts);
        }
        add_integer(element, attempts);
    }
    return 0;
}

int pin_puk_post_get(int /*flags*/, dc_args_t *dc) {
    mxml_node_t *root = tarrow::subtree_of(dc);
    return root != nullptr ? pin_puk_xml_get(root) : -1;
}
