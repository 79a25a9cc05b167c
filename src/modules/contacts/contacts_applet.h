// The contacts module: writes or deletes an entry of the SIM's phone book.
//
// (archive): only in the static library; the shared library does not export it.
#ifndef TARROW_CONTACTS_APPLET_H
#define TARROW_CONTACTS_APPLET_H

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// Post-set handler: sends the posted change to the modem, then runs sync, which writes all file
// systems. Returns the result of contacts_xml_set; -1 for a record without an XML subtree. Blocks
// until the modem's tool "/usr/app/at_chat" and sync end.
int contacts_post_set(int flags, dc_args_t *dc);

// (archive) Writes the phone-book entry of the first "Item" below "sim_contacts_list" when the
// element "deleted" is 0 or no number, deletes it when "deleted" is 1, and does nothing for another
// number. The modem gets the values exactly as posted, double quotes included. Returns 0, whatever
// the modem replies. Returns -1, and runs no command, when:
//  - an element is missing or empty
//  - the values have more than 56 characters together (59 for the record to delete)
//  - a value has a control character, a ";" outside its own double quotes, or a double quote that
//    it does not close: it would end the modem's command or begin another
int contacts_xml_set(mxml_node_t *root);

#ifdef __cplusplus
}
#endif

#endif
