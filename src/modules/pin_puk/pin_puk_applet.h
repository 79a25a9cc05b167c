// The pin_puk module: the SIM's PIN lock and network lock, their state and the operations on them.
//
// (archive): visible in the static library only; the shared library does not export it.
#ifndef TARROW_PIN_PUK_APPLET_H
#define TARROW_PIN_PUK_APPLET_H

#include <stdint.h>

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// The SIM lock record. A query that gets no answer leaves its fields as they were.
typedef struct pin_puk_info {
    int32_t pin_attempts; // PIN attempts left; -1: unknown
    int32_t puk_attempts; // PUK attempts left; -1: unknown
    int32_t pin_enabled;  // the PIN lock: 1 on, 0 off; -1: unknown
    int32_t cmd_status;   // 1: the last PIN change failed
} pin_puk_info;

// Post-get handler: fills the requested elements of the subtree. 0, or -1 for a record without an
// XML subtree.
int pin_puk_post_get(int flags, dc_args_t *dc);

// Post-set handler: carries out the posted operation. The result of pin_puk_xml_set, or -1 for a
// record without an XML subtree.
int pin_puk_post_set(int flags, dc_args_t *dc);

// All below: (archive).

// Ask the modem for the attempts left and for the lock state, and keep what it answers in the files
// pin_attempts, puk_attempts and pin_enabled below "/tmp/telephony". A null info: the modem is
// asked, its answer is not read.
void pin_puk_info_get_attempts(pin_puk_info *info);
void pin_puk_info_get_enabled(pin_puk_info *info);
void pin_puk_info_get(pin_puk_info *info);

// Asks the modem for the attempts left for the control key of the lock that
// "/tmp/telephony/mep_category" names; *attempts stays as it was without an answer. Writes what it
// asked, and why it did not, to the serial console.
void mep_get_attempts(int32_t *attempts);

// Fills pin_attempts, puk_attempts, pin_enabled, cmd_status and mep_attempts, wherever they stand
// below root, from their files, or from the modem where a file cannot be opened. Always 0.
int pin_puk_xml_get(mxml_node_t *root);

// Carries out operation "command" (1 to 6) with the posted codes. 0, or -1 when there is no such
// operation, or a code that it needs is missing or refused: then nothing runs and nothing is
// changed. A code is of letters and digits and alone in its element: at most 204 for operations 1
// and 2, 187 with the other one for 3 (what the modem's lines of 254 characters leave), 255 for 4
// to 6. Of "command" the first text counts.
int pin_puk_xml_set(mxml_node_t *root);

// The operations: 0, or -1 for a refused code.
int enable_pin(const char *pin);
int disable_pin(const char *pin);
int change_pin(const char *old_pin, const char *new_pin);
// -1 also when the settings store cannot be opened. Both wait for a running SIM check to end.
int reset_pin_using_puk(const char *puk, const char *new_pin);
int provide_pin(const char *pin);
// -1 also when the SIM does not wait for a control key, its lock category is none of 0 to 4 or the
// settings store cannot be opened.
int mep_provide_ck(const char *control_key);

#ifdef __cplusplus
}
#endif

#endif
