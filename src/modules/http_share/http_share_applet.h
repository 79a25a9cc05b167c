// The http_share module: the SD card is shared over HTTP or is a USB disk of the computer, and the
// file-sharing page works with its files.
//
// (archive): only in the static library; the shared library does not export it.
#ifndef TARROW_HTTP_SHARE_APPLET_H
#define TARROW_HTTP_SHARE_APPLET_H

#include <stdint.h>

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// The share settings.
typedef struct http_share_info_struct {
    int32_t sdcard_mode_option;    // 1: shared over HTTP; 0: USB disk
    int32_t sd_card_state;         // 1: a card is inserted
    char http_share_status[16];    // "HTTP_SHARE_STATUS", cut to 15 characters
    char http_share_wr_auth[16];   // "HTTP_SHARE_WR_AUTH", cut to 15 characters
    char http_share_file[64];      // "HTTP_SHARE_FILE", cut to 63 characters
    char http_share_card_user[64]; // always empty
    int32_t cmd_status;            // always 0
} http_share_info_struct, http_share_info;

// Post-set handler: carries out the posted action. Returns the result of http_share_xml_set; -1 for
// a record without an XML subtree.
int http_share_post_set(int flags, dc_args_t *dc);

// A post-get handler that is in no row of the table: fills the share settings. Returns 0; -1 for a
// record without an XML subtree.
int http_share_post_get(int flags, dc_args_t *dc);

// All below: (archive).

// --- Share settings, in module "http_share" of the settings store ---

// Fills the settings' elements, at any depth below root. Returns 0. Elements stay empty for texts
// that are not stored, and all of them when the store cannot be opened. Writes "begin" to the
// serial console when the page has "HTTP_SHARE_STATUS".
int http_share_xml_get(mxml_node_t *root);

// Switches the card. Mode "http_share_mode" takes it from the computer and notifies the display.
// Any other mode gives it to the computer: the block device of get_tcard_block, or
// "/dev/block/mmcblk0" when there is none or it does not fit the command line of 99 characters.
// Returns 0. Returns -1, and runs nothing, for a null mode and when the store cannot be opened.
int set_httpshare_mode(const char *mode);

// Looks for a path of the device. Returns 2 when it exists, 1 when it does not, and 0 when no card
// is inserted; -1 for a null path and when the store cannot be opened.
int check_httpshare_file(const char *path);

// Stores the three settings. Returns 0; -1 for a null text and when the store cannot be opened.
int set_httpshare_auth_param(const char *status, const char *wr_auth, const char *file);

// Writes the card's block device, the first word of "/tmp/tcard_block", into a buffer of 30 bytes.
// The buffer does not change when there is no word, or it has more than 29 characters. The word can
// have any characters but blanks.
void get_tcard_block(char *device);

// --- Files on the card ---
//
// A posted path begins with five characters that stand for the card, such as "/mmc2". Then it ends,
// or continues with "/" and a path without "..". The path on the device is below
// "/mnt/external_sdcard". No operation follows a symbolic link there.

// Carries out "http_share_action": 2 switches the card, 3 looks for a file, 4 stores the settings,
// 5 enters a folder (which does nothing), 6 renames, 8 deletes, 9 creates a folder. Returns the
// result of the operation; -1 for another action, and when a text is missing. Action 3 adds
// "no_sdcard", "noexist" or "exist" to the posted "path_SD_CARD".
int http_share_xml_set(mxml_node_t *root);

// Creates the folder "path_SD_CARD" (at most 200 characters) with mode 0777. Sets its time to
// "path_SD_CARD_time", also when it existed before. Returns 0; -1 when the folder cannot be
// created, a text is missing or the path is refused. Touches "/tmp/dbg_new_1" in any case.
int http_share_new(mxml_node_t *root);

// Renames "OLD_NAME_SD_CARD" to "NEW_NAME_SD_CARD" and sets the time of that entry to
// "path_SD_CARD_time". Writes both device paths to "/tmp/dbg1". Returns 0. Returns -1 when the
// renaming fails, when a text (also "path_SD_CARD") is missing, and when a path is refused: the
// card's root, or two paths that do not fit the command line of 1023 characters for "/tmp/dbg1".
// When memory runs out, nothing happens and the result is 0.
int http_share_rename(mxml_node_t *root);

// Removes the entries that "name_SD_CARD" lists from the folder "path_SD_CARD". A "*" ends each
// name. The time grows with the number of files. Returns 0, whatever could be removed; 1 when
// memory runs out. Returns -1, and removes nothing, when the folder or one of the names is refused:
// empty, ".", "..", with a "/", without its "*", of more than 255 characters, or with a path of
// more than 511 characters.
int http_share_del(mxml_node_t *root);

// Does nothing. Returns 0.
int http_share_enter_folder(mxml_node_t *root);

// Removes a file, a symbolic link (not its target), or a folder with all that is in it, as far as
// possible. A folder that cannot be opened is removed if it is empty. Entries with a path of more
// than 1023 characters stay. Stack: about 100 bytes for each level of folders.
void force_rm(const char *path);

// Sets the time of a file or folder to a text in a form that touch -d accepts. Does nothing for a
// null argument, a symbolic link, and a text with characters other than letters, digits, blanks and
// ":.,+-/@".
void update_file_time(const char *path, const char *time);

// Stores the device path of a posted path in *device_path, as a heap string, which the caller
// frees. *device_path does not change for a null argument, for a path that is not in the form
// above, and when memory runs out.
void remove_mmc2(const char *posted, char **device_path);

// Stores the opaque text of the first element of that name below root in *value; null when it has
// none. The tree owns the text. *value does not change when there is no such element.
void get_opaque_string_by_name(mxml_node_t *root, const char *name, const char **value);

#ifdef __cplusplus
}
#endif

#endif
