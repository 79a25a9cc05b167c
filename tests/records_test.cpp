// Public records, field by field, as programs that were built against them lay them out: the compiler of
// each build, of 32 bits and of 64, proves these. The statistics server's are proved beside their source.

#include <cstddef>

#include "../src/cfgdb.h"
#include "../src/modules/http_share/http_share_applet.h"
#include "../src/modules/pin_puk/pin_puk_applet.h"
#include "../src/modules/statistics/statistics_applet.h"
#include "../src/modules/wan/wan_applet.h"

namespace {

constexpr std::size_t ptr = sizeof(void *);
static_assert(sizeof(int) == 4 && (ptr == 4 || ptr == 8));

constexpr std::size_t here(std::size_t narrow, std::size_t wide) { return ptr == 4 ? narrow : wide; }
// Offsets with pointers of 32 and of 64 bits, and the size.
#define FIELD(record, field, narrow, wide, size)                                                                       \
    static_assert(offsetof(record, field) == here(narrow, wide) && sizeof(record::field) == (size))
#define RECORD(record, narrow, wide) static_assert(sizeof(record) == here(narrow, wide))

FIELD(applet_info, di_modname, 0, 0, ptr);
FIELD(applet_info, di_version, 4, 8, 4);
FIELD(applet_info, di_handler_upgrades, 8, 16, ptr);
FIELD(applet_info, di_handler_validate_func, 12, 24, ptr);
FIELD(applet_info, di_handler_pre_set_func, 16, 32, ptr);
FIELD(applet_info, di_handler_pre_set_cmd, 20, 40, ptr);
FIELD(applet_info, di_handler_post_set_func, 24, 48, ptr);
FIELD(applet_info, di_handler_post_set_cmd, 28, 56, ptr);
FIELD(applet_info, di_handler_pre_get_func, 32, 64, ptr);
FIELD(applet_info, di_handler_pre_get_cmd, 36, 72, ptr);
FIELD(applet_info, di_handler_post_get_func, 40, 80, ptr);
FIELD(applet_info, di_handler_post_get_cmd, 44, 88, ptr);
FIELD(applet_info, di_handler_dynamic, 48, 96, ptr);
FIELD(applet_info, di_rd, 52, 104, 1);
FIELD(applet_info, di_fd, 53, 105, 1);
RECORD(applet_info, 56, 112);

FIELD(dc_args_t, dc_type, 0, 0, 2);
FIELD(dc_args_t, dc_data, 4, 8, ptr);
FIELD(dc_args_t, dc_opaque, 8, 16, ptr);
RECORD(dc_args_t, 12, 24);

FIELD(dlist_node_t, dn_dlist, 0, 0, 6000 * ptr);
FIELD(dlist_node_t, dn_dlist[1], 48, 96, 12 * ptr);
FIELD(dlist_node_t, dn_meta, 24000, 48000, 12 * ptr);
RECORD(dlist_node_t, 24048, 48096);

FIELD(qstr_t, len, 0, 0, 4);
FIELD(qstr_t, name, 4, 8, ptr);
RECORD(qstr_t, 8, 16);

FIELD(cfgdb_handle_t, cfgdbh_mod_name, 0, 0, ptr);
FIELD(cfgdb_handle_t, cfgdbh_env, 4, 8, 2 * ptr);
FIELD(cfgdb_handle_t, cfgdbh_backend_info, 12, 24, ptr);
FIELD(cfgdb_handle_t, cfgdbh_semid, 16, 32, 4);
FIELD(cfgdb_handle_t, cfgdbh_dirty, 20, 36, 2);
FIELD(cfgdb_handle_t, cfgdbh_subspace, 22, 38, 100);
FIELD(cfgdb_handle_t, cfgdbh_subspacelen, 122, 138, 2);
RECORD(cfgdb_handle_t, 124, 144);

FIELD(wan_info_t, wan_link_status, 0, 0, ptr);
FIELD(wan_info_t, wan_conn_type, 4, 8, ptr);
FIELD(wan_info_t, wan_conn_status, 8, 16, ptr);
FIELD(wan_info_t, ip_address, 12, 24, ptr);
FIELD(wan_info_t, ip6_address, 16, 32, ptr);
FIELD(wan_info_t, gateway, 20, 40, ptr);
FIELD(wan_info_t, dns1, 24, 48, ptr);
FIELD(wan_info_t, dns2, 28, 56, ptr);
RECORD(wan_info_t, 32, 64);

FIELD(pin_puk_info, pin_attempts, 0, 0, 4);
FIELD(pin_puk_info, puk_attempts, 4, 4, 4);
FIELD(pin_puk_info, pin_enabled, 8, 8, 4);
FIELD(pin_puk_info, cmd_status, 12, 12, 4);
RECORD(pin_puk_info, 16, 16);

FIELD(statistics_t, rx.received, 0, 0, 4);
FIELD(statistics_t, rx.dropped, 4, 4, 4);
FIELD(statistics_t, tx.sent, 8, 8, 4);
FIELD(statistics_t, tx.dropped, 12, 12, 4);
FIELD(statistics_t, tx.collisions, 16, 16, 4);
FIELD(statistics_t, errors, 20, 20, 4);
FIELD(statistics_t, rx_gbytes, 24, 24, 4);
FIELD(statistics_t, rx_bytes, 28, 28, 4);
FIELD(statistics_t, tx_gbytes, 32, 32, 4);
FIELD(statistics_t, tx_bytes, 36, 36, 4);
RECORD(statistics_t, 40, 40);

FIELD(http_share_info, sdcard_mode_option, 0, 0, 4);
FIELD(http_share_info, sd_card_state, 4, 4, 4);
FIELD(http_share_info, http_share_status, 8, 8, 16);
FIELD(http_share_info, http_share_wr_auth, 24, 24, 16);
FIELD(http_share_info, http_share_file, 40, 40, 64);
FIELD(http_share_info, http_share_card_user, 104, 104, 64);
FIELD(http_share_info, cmd_status, 168, 168, 4);
RECORD(http_share_info, 172, 172);

} // namespace
