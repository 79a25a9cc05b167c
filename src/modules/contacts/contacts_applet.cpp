// The SIM phone book: writes or deletes one contact, with the modem's command AT+CPBW.

#include "contacts_applet.h"

#include <array>
#include <cstring>

#include "support/callback.h"
#include "support/command.h"
#include "support/files.h"
#include "support/xml.h"

namespace {

constexpr std::size_t max_contact_length = 56; // of a contact's four values together
constexpr std::size_t max_record_length = 59;  // of the index of an entry to delete

/// Whether the modem takes a text as a value: a control character would end the modem's command
/// line, and a ";" outside double quotes would begin another command.
bool is_modem_value(const char *text) {
    bool is_quoted = false;
    for (; *text != '\0'; ++text) {
        const auto byte = static_cast<unsigned char>(*text);
        if (byte < ' ' || byte == 0x7F || (*text == ';' && !is_quoted)) {
            return false;
        }
        is_quoted = is_quoted != (*text == '"');
    }
    return !is_quoted;
}

/// The posted value of an element of a contact, or null when the modem would not take it as one.
const char *posted_value(mxml_node_t *item, const char *name) {
    const char *text = tarrow::opaque_text(tarrow::find_below(item, name));
    return text != nullptr && is_modem_value(text) ? text : nullptr;
}

/// Sends a phone-book command with the values as they are, in one argument.
void write_phone_book(const char *values) {
    std::array<char, sizeof("AT+CPBW=") + max_record_length> command; // a contact fits as well
    std::snprintf(command.data(), command.size(), "AT+CPBW=%s", values);
    tarrow::command_line<512> line; // a quoted character can take four
    line.text("/usr/app/at_chat -c ").word(command.data()).text(" > /dev/null");
    tarrow::run(line);
}

int write_contact(mxml_node_t *item, const char *record) {
    const char *number = posted_value(item, "number");
    const char *type = posted_value(item, "type");
    const char *text = posted_value(item, "text");
    if (number == nullptr || type == nullptr || text == nullptr ||
        std::strlen(record) + std::strlen(number) + std::strlen(type) + std::strlen(text) >
            max_contact_length) {
        return -1;
    }
    std::array<char, max_contact_length + sizeof(",,,")> values;
    std::snprintf(values.data(), values.size(), "%s,%s,%s,%s", record, number, type, text);
    write_phone_book(values.data());
    return 0;
}

int delete_contact(const char *record) {
    if (std::strlen(record) > max_record_length) {
        return -1;
    }
    write_phone_book(record);
    return 0;
}

} // namespace

int contacts_post_set(int /*flags*/, dc_args_t *dc) {
    mxml_node_t *root = tarrow::subtree_of(dc);
    if (root == nullptr) {
        return -1;
    }
    const int result = contacts_xml_set(root);
    tarrow::run("sync");
    return result;
}

int contacts_xml_set(mxml_node_t *root) {
    mxml_node_t *contacts = tarrow::find_below(root, "sim_contacts_list");
    if (mxmlGetFirstChild(contacts) == nullptr) {
        return -1;
    }
    const char *deleted = tarrow::opaque_text(tarrow::find_below(root, "deleted"));
    if (deleted == nullptr) {
        return -1;
    }
    mxml_node_t *item = tarrow::find_below(contacts, "Item");
    if (mxmlGetFirstChild(item) == nullptr) {
        return -1;
    }
    const char *record = posted_value(item, "record");
    if (record == nullptr) {
        return -1;
    }
    switch (tarrow::parse_number(deleted).value_or(0)) {
    case 0:
        return write_contact(item, record);
    case 1:
        return delete_contact(record);
    default:
        return 0;
    }
}
