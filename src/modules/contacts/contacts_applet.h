// The contacts module: writing and deleting one entry of the SIM's phone book.
//
// (archive): visible in the static library only; the shared library does not export it.
#ifndef TARROW_CONTACTS_APPLET_H
#define TARROW_CONTACTS_APPLET_H

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// Post-set handler: hands the posted change to the modem and flushes the file systems. The result
// of contacts_xml_set, or -1 for a record without an XML subtree.
int contacts_post_set(int flags, dc_args_t *dc);

// (archive) Writes ("deleted" is 0, or no number) or deletes (1) the phone-book entry of the first
// "Item" below "sim_contacts_list". The values reach the modem exactly as posted, double quotes
// included. 0, also for another value of "deleted"; -1, and no command runs, when an element is
// missing or empty, the values are longer than 56 characters together (59 of a record to delete),
// or one of them would end the modem's command or begin another: it holds a control character, a
// ";" outside double quotes of its own, or a double quote that does not close.
int contacts_xml_set(mxml_node_t *root);

#ifdef __cplusplus
}
#endif

#endif
