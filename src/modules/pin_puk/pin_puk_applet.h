// The pin_puk module: the state of the SIM's PIN lock and network lock, and the operations on them.
//
// The operations run the modem's command tool and the device's SIM check. They wait for the end of
// each, without a limit.
//
// (archive): only in the static library; the shared library does not export it.
#ifndef TARROW_PIN_PUK_APPLET_H
#define TARROW_PIN_PUK_APPLET_H

#include <stdint.h>

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// The state of the SIM's locks. A query without an answer does not change its fields.
typedef struct pin_puk_info {
    int32_t pin_attempts; // PIN attempts left; -1: unknown
    int32_t puk_attempts; // PUK attempts left; -1: unknown
    int32_t pin_enabled;  // the PIN lock: 1 on, 0 off; -1: unknown
    int32_t cmd_status;   // 1: the last PIN change failed
} pin_puk_info;

// Post-get handler: fills the elements of pin_puk_xml_get. Returns 0; -1 for a record without an
// XML subtree.
int pin_puk_post_get(int flags, dc_args_t *dc);

// Post-set handler: carries out the posted operation. Returns the result of pin_puk_xml_set; -1 for
// a record without an XML subtree.
int pin_puk_post_set(int flags, dc_args_t *dc);

// All below: (archive).

// Query the modem for the attempts left, for the lock state, or for both. Store the answer in info
// and in the files pin_attempts, puk_attempts and pin_enabled below "/tmp/telephony". With a null
// info the query runs, but its answer is not read.
void pin_puk_info_get_attempts(pin_puk_info *info);
void pin_puk_info_get_enabled(pin_puk_info *info);
void pin_puk_info_get(pin_puk_info *info);

// Queries the modem for the attempts left for the control key of the network lock whose category is
// in "/tmp/telephony/mep_category", and waits 200 ms after the command. Without an answer
// *attempts does not change. Writes the result, or why there was no query, to the serial console.
void mep_get_attempts(int32_t *attempts);

// Fills pin_attempts, puk_attempts, pin_enabled, cmd_status and mep_attempts, at any depth below
// root, from their files below "/tmp/telephony". Queries the modem where a file cannot be opened.
// cmd_status is 1 once after a PIN change that failed: the get that shows it deletes its file.
// Returns 0.
int pin_puk_xml_get(mxml_node_t *root);

// Carries out the operation of the element "command", which is one of these numbers:
//   1 enable_pin, 2 disable_pin                  with "pin", of at most 204 characters
//   3 change_pin                                 with "pin" and "new_pin", at most 187 together
//   4 reset_pin_using_puk                        with "puk" and "new_pin", at most 255 each
//   5 provide_pin                                with "pin", of at most 255
//   6 mep_provide_ck                             with "mep_unlock_ck", of at most 255
// A code has letters and digits only, and is alone in its element. The limits of 1 to 3 keep the
// modem's command lines within 254 characters. Returns 0, also when the modem refuses the code: the
// page reads the outcome with its next get. Returns -1, and changes nothing, for another command
// and when a code is missing or refused.
int pin_puk_xml_set(mxml_node_t *root);

// The operations. They return 0, or -1 for a refused code.
int enable_pin(const char *pin);
int disable_pin(const char *pin);
int change_pin(const char *old_pin, const char *new_pin);
// These two first wait, without a limit, until "/tmp/sim_checking_mutex" is gone: a SIM check is
// running while that file exists. provide_pin waits 1 s after its own SIM check. Both also return
// -1 when the settings store cannot be opened.
int reset_pin_using_puk(const char *puk, const char *new_pin);
int provide_pin(const char *pin);
// Also returns -1 when the SIM waits for no control key, when the lock category is not 0 to 4, and
// when the settings store cannot be opened.
int mep_provide_ck(const char *control_key);

#ifdef __cplusplus
}
#endif

#endif
