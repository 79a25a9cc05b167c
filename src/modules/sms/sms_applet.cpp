// The SMS page: messages of the device and the SIM, capacity, and the results of sending, saving
// and deleting.

#include "sms_applet.h"

#include <array>
#include <cstdarg>
#include <cstring>
#include <syslog.h>

#include "support/callback.h"
#include "support/command.h"
#include "support/files.h"
#include "support/xml.h"

using tarrow::find_below;

namespace {

constexpr char folder[] = "/tmp/telephony/sms";

/// Returns null, and logs the reason, for a record without an XML subtree.
mxml_node_t *open_log_and_get_root(const dc_args_t *dc) {
    openlog("tarrow:sms", LOG_ODELAY, LOG_USER);
    if (dc == nullptr) {
        syslog(LOG_ERR, "Argument dc is NULL");
    } else if (dc->dc_type != TARROW_CB_ARGS_XML) {
        syslog(LOG_ERR, "dc->dc_type is not TARROW_CB_ARGS_XML");
    } else if (dc->dc_data.dc_subnode == nullptr) {
        syslog(LOG_ERR, "No XML root found");
    }
    return tarrow::subtree_of(dc);
}

/// The first element of that name after a section's start tag. Normally it is inside the section.
mxml_node_t *find_in(mxml_node_t *section, mxml_node_t *root, const char *name) {
    return mxmlFindElement(section, root, name, nullptr, nullptr, MXML_DESCEND);
}

tarrow::file open_answer(const char *file_name) {
    if (file_name == nullptr) {
        return nullptr;
    }
    std::array<char, 50> path;
    std::snprintf(path.data(), path.size(), "%s/%s", folder, file_name);
    tarrow::file answer = tarrow::open_for_reading(path.data());
    if (!answer) {
        syslog(LOG_ERR, "Failed to open file: %s", path.data());
    }
    return answer;
}

/// Adds an element with a text; a null text adds none. Returns null, and logs it, when the element
/// cannot be created.
mxml_node_t *add_node(mxml_node_t *parent, const char *name, const char *text) {
    mxml_node_t *node = tarrow::add_element(parent, name);
    if (node == nullptr) {
        syslog(LOG_ERR, "Failed to create node: %s", name);
    }
    tarrow::add_text(node, text);
    return node;
}

/// Appends one message of a list. Returns false when a node cannot be created.
bool add_message(mxml_node_t *element, int number, const char *index, char **cursor) {
    mxml_node_t *item = add_node(element, "item", nullptr);
    if (item == nullptr) {
        return false;
    }
    tarrow::number_item(item, number);
    const char *field = index;
    for (const char *name : {"index", "stat", "length", "pdu"}) {
        if (field == nullptr) {
            break;
        }
        if (add_node(item, name, field) == nullptr) {
            return false;
        }
        field = strtok_r(nullptr, "#\n", cursor);
    }
    return true;
}

int fill_deletion(mxml_node_t *root) {
    mxml_node_t *section = find_below(root, "del");
    if (mxml_node_t *dev = find_in(section, root, "dev"); dev != nullptr) {
        return get_result(dev, ".del_dev");
    }
    mxml_node_t *sim = find_in(section, root, "sim");
    return sim != nullptr ? get_result(sim, ".del_sim") : 0;
}

int fill_list(mxml_node_t *root) {
    mxml_node_t *section = find_below(root, "list");
    if (mxml_node_t *dev = find_in(section, root, "dev"); dev != nullptr) {
        run_command("/etc/init.d/sms_pre_get.sh list %s", "dev");
        return get_list(dev, ".list_dev");
    }
    if (mxml_node_t *sim = find_in(section, root, "sim"); sim != nullptr) {
        run_command("/etc/init.d/sms_pre_get.sh list %s", "sim");
        return get_list(sim, ".list_sim");
    }
    return 0;
}

int fill_capacity(mxml_node_t *root) {
    mxml_node_t *sim = find_in(find_below(root, "capacity"), root, "sim");
    if (sim == nullptr) {
        return 0;
    }
    run_command("/etc/init.d/sms_pre_get.sh capacity %s", "sim");
    return get_capacity(sim, ".capacity_sim");
}

int fill_save(mxml_node_t *root) {
    mxml_node_t *section = find_below(root, "save");
    return section != nullptr ? get_result(section, ".save") : 0;
}

int fill_send(mxml_node_t *root) {
    mxml_node_t *section = find_below(root, "send");
    return section != nullptr ? get_result(section, ".send") : 0;
}

void delete_messages(mxml_node_t *root) {
    mxml_node_t *section = find_below(root, "del");
    if (const char *dev = tarrow::opaque_text(find_in(section, root, "dev")); dev != nullptr) {
        run_command("/etc/init.d/sms_pre_set.sh del %s %s", "dev", dev);
    } else if (const char *sim = tarrow::opaque_text(find_in(section, root, "sim"));
               sim != nullptr) {
        run_command("/etc/init.d/sms_pre_set.sh del %s %s", "sim", sim);
    }
}

/// A text of a posted message, or null. Logs the text under the settings key that it stands for.
const char *posted_text(mxml_node_t *item, int count, const char *name) {
    const char *text = tarrow::opaque_text(tarrow::find_child(item, name));
    if (text != nullptr) {
        syslog(LOG_INFO, "KTX.sms.%s.%s.%s[%d].%s=%s", "list", "dev", "item", count, name, text);
    }
    return text;
}

void store_messages(mxml_node_t *root) {
    mxml_node_t *dev = find_in(find_below(root, "list"), root, "dev");
    int count = 0;
    for (mxml_node_t *item = find_below(dev, "item"); item != nullptr;
         item = find_in(item, dev, "item")) {
        const char *index = posted_text(item, count, "index");
        const char *stat = posted_text(item, count, "stat");
        const char *pdu = posted_text(item, count, "pdu");
        // cfgdb_cmd would take an index with "-" for an option, which could name another file.
        if (index != nullptr && *index != '-' && stat != nullptr && pdu != nullptr) {
            run_command("cfgdb_cmd --backend /userfs/cfgdb/sms02.txt set sms %s %s#%s", index, stat,
                        pdu);
        }
        ++count;
    }
}

} // namespace

int sms_pre_get(int /*flags*/, dc_args_t *dc) {
    mxml_node_t *root = open_log_and_get_root(dc);
    if (root == nullptr) {
        return -1;
    }
    for (const auto fill : {fill_deletion, fill_list, fill_capacity, fill_save, fill_send}) {
        if (const int result = fill(root); result < 0) {
            return result;
        }
    }
    return 0;
}

int sms_post_get(int /*flags*/, dc_args_t *dc) {
    mxml_node_t *root = open_log_and_get_root(dc);
    if (root == nullptr) {
        return -1;
    }
    if (find_below(root, "concat_number") != nullptr) {
        run_command("/etc/init.d/sms_post_get.sh concat_number");
    }
    return 0;
}

int sms_pre_set(int /*flags*/, dc_args_t *dc) {
    mxml_node_t *root = open_log_and_get_root(dc);
    if (root == nullptr) {
        return -1;
    }
    delete_messages(root);
    store_messages(root);
    if (const char *text = tarrow::opaque_text(find_below(root, "save")); text != nullptr) {
        run_command("/etc/init.d/sms_pre_set.sh save %s", text);
    }
    if (const char *text = tarrow::opaque_text(find_below(root, "send")); text != nullptr) {
        run_command("/etc/init.d/sms_pre_set.sh send %s", text);
    }
    return 0;
}

int get_list(mxml_node_t *element, const char *file_name) {
    const tarrow::file answer = open_answer(file_name);
    if (!answer || element == nullptr) {
        return -1;
    }
    int count = 0;
    std::array<char, 400> line;
    while (tarrow::read_line(answer.get(), line.data(), line.size())) {
        char *cursor = nullptr;
        const char *index = strtok_r(line.data(), "#\n", &cursor);
        if (index != nullptr && !add_message(element, ++count, index, &cursor)) {
            return -1;
        }
    }
    return 0;
}

int get_capacity(mxml_node_t *element, const char *file_name) {
    const tarrow::file answer = open_answer(file_name);
    if (!answer) {
        return -1;
    }
    std::array<char, 5> line;
    if (!tarrow::read_line(answer.get(), line.data(), line.size())) {
        return 0;
    }
    std::array<char, 5> word = line;
    char *cursor = nullptr;
    const char *capacity = strtok_r(word.data(), " \n", &cursor);
    if (capacity == nullptr) {
        syslog(LOG_ERR, "Failed to get token from: %s", line.data());
        return -1;
    }
    tarrow::add_text(element, capacity);
    return 0;
}

int get_result(mxml_node_t *element, const char *file_name) {
    const tarrow::file answer = open_answer(file_name);
    if (!answer) {
        return -1;
    }
    std::array<char, 80> line;
    if (tarrow::read_line(answer.get(), line.data(), line.size())) {
        tarrow::add_text(element, line.data());
    }
    return 0;
}

void run_command(const char *format, ...) {
    if (format == nullptr) {
        return;
    }
    tarrow::command_line<768> line;
    va_list arguments;
    va_start(arguments, format);
    for (const char *next = nullptr; (next = std::strstr(format, "%s")) != nullptr;
         format = next + 2) {
        const char *argument = va_arg(arguments, const char *);
        line.text(format, static_cast<std::size_t>(next - format))
            .word(argument != nullptr ? argument : "");
    }
    va_end(arguments);
    line.text(format);
    syslog(LOG_INFO, "Run %s", line.c_str());
    tarrow::run(line);
}
