// The http_share module: the SD card, shared over HTTP or handed to the computer as a USB disk, and
// what the file-sharing page does on it.
//
// (archive): visible in the static library only; the shared library does not export it.
#ifndef TARROW_HTTP_SHARE_APPLET_H
#define TARROW_HTTP_SHARE_APPLET_H

#include <stdint.h>

#include "tarrow_applets.h"

#ifdef __cplusplus
extern "C" {
#endif

// The share-settings record.
typedef struct http_share_info_struct {
    int32_t sdcard_mode_option;    // 1: shared over HTTP; 0: USB disk
    int32_t sd_card_state;         // 1: a card is inserted
    char http_share_status[16];    // "HTTP_SHARE_STATUS", cut to 15 characters
    char http_share_wr_auth[16];   // "HTTP_SHARE_WR_AUTH", cut to 15 characters
    char http_share_file[64];      // "HTTP_SHARE_FILE", cut to 63 characters
    char http_share_card_user[64]; // always empty
    int32_t cmd_status;            // always 0
} http_share_info_struct, http_share_info;

// Post-set handler: carries out the posted action. The result of http_share_xml_set, or -1 for a
// record without an XML subtree.
int http_share_post_set(int flags, dc_args_t *dc);

// Handler of the post-get form that no row of the table names: fills the share settings. 0, or -1
// for a record without an XML subtree.
int http_share_post_get(int flags, dc_args_t *dc);

// All below: (archive).

// Share settings, in module "http_share" of the settings store.

// Fills the settings' elements, wherever they stand below root. Always 0. A text that is not
// stored, and everything when the store cannot be opened, stays empty. Writes "begin" to the serial
// console when "HTTP_SHARE_STATUS" is asked for.
int http_share_xml_get(mxml_node_t *root);

// Switches the card: "http_share_mode" withdraws it from the computer and tells the display so,
// any other mode offers it to the computer: the block device of get_tcard_block, or
// "/dev/block/mmcblk0" when there is none or it does not fit the command line of 99 characters. 0;
// -1, and nothing runs, when the store cannot be opened or for a null mode.
int set_httpshare_mode(const char *mode);

// Whether a path of the device exists: 2; 1 when it does not; 0 when no card is inserted; -1 when
// the store cannot be opened or for a null path.
int check_httpshare_file(const char *path);

// Stores the three settings. 0, or -1 when the store cannot be opened or for a null text.
int set_httpshare_auth_param(const char *status, const char *wr_auth, const char *file);

// Puts the first word of "/tmp/tcard_block", the card's block device, into a buffer of 30 bytes,
// which stays as it is when there is no word or one of more than 29 characters. The word may hold
// any others than blanks.
void get_tcard_block(char *device);

// Files on the card. The page's paths have five characters that stand for the card, and then
// nothing or "/" and a path below it without "..". The device's paths lie below
// "/mnt/external_sdcard"; no operation goes through a symbolic link there.

// Carries out action "http_share_action": 2 switch the card, 3 look for a file, 4 store the
// settings, 5 enter a folder (nothing), 6 rename, 8 delete, 9 make a folder. The operation's
// result; -1 for another action or when a text that it needs is missing. Action 3 adds "no_sdcard",
// "noexist" or "exist" to the posted "path_SD_CARD".
int http_share_xml_set(mxml_node_t *root);

// Makes folder "path_SD_CARD" (at most 200 characters) with mode 0777 and sets its time to
// "path_SD_CARD_time", also when it was there already. 0; -1 when it cannot be made, a text is
// missing or the path is refused. Touches "/tmp/dbg_new_1" in any case.
int http_share_new(mxml_node_t *root);

// Renames "OLD_NAME_SD_CARD" to "NEW_NAME_SD_CARD" and sets that entry's time to
// "path_SD_CARD_time". Leaves both device paths in "/tmp/dbg1". 0, also when there is no memory for
// the paths and nothing happens; -1 when it cannot be renamed, a text is missing, "path_SD_CARD"
// among them, or a path is refused: also the card's root, and two that do not fit the trace's line
// of 1023 characters.
int http_share_rename(mxml_node_t *root);

// Removes each entry that "name_SD_CARD" names in folder "path_SD_CARD"; "*" ends each name. 0,
// whatever could be removed; 1 when there is no memory; -1, and nothing is removed, when the folder
// or any name is refused: empty, ".", "..", with "/", longer than 255 characters, without its "*"
// or with a path of more than 511.
int http_share_del(mxml_node_t *root);

// Always 0.
int http_share_enter_folder(mxml_node_t *root);

// Removes an entry of the device, a folder with everything below it, as far as it can be removed;
// one that cannot be opened goes if it is empty. A symbolic link is removed itself. What has a path
// of more than 1023 characters stays.
void force_rm(const char *path);

// Sets an entry's time to a text as touch -d takes it. Nothing happens for a null argument, a
// symbolic link, or a text with other characters than letters, digits, blanks and ":.,+-/@".
void update_file_time(const char *path, const char *time);

// The device path of a posted path, as a heap string that the caller frees; *device_path stays as
// it is for a null argument, a path that is none of the page's, or when there is no memory.
void remove_mmc2(const char *posted, char **device_path);

// The opaque text of the first element of that name below root, which the tree owns; null for an
// element without one. *value stays as it is when there is no such element.
void get_opaque_string_by_name(mxml_node_t *root, const char *name, const char **value);

#ifdef __cplusplus
}
#endif

#endif
