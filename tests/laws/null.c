/* The law of null arguments: no operation crashes. One that gives a number gives -1, but for those
 * that say otherwise in their headers. Beside them, the results of some operations that no page
 * shows. */
#include <stdio.h>

#include "cfgdb.h"
#include "modules/contacts/contacts_applet.h"
#include "modules/device_date/device_date_applet.h"
#include "modules/device_management/device_management_applet.h"
#include "modules/device_management/host_tables.h"
#include "modules/http_share/http_share_applet.h"
#include "modules/pin_puk/pin_puk_applet.h"
#include "modules/sms/sms_applet.h"
#include "modules/statistics/stat_api.h"
#include "modules/statistics/statistics_applet.h"
#include "modules/wan/wan_applet.h"
#include "modules/wlan_settings/wlan_settings_applet.h"
#include "requests.h"
#include "tarrow_log.h"

static int failures;

static void check(const char *call, int result, int expected) {
    if (result != expected) {
        printf("%s gives %d, not %d\n", call, result, expected);
        ++failures;
    }
}
#define GIVES(expected, call) check(#call, call, expected)

static void refusals(void) {
    GIVES(0, __tarrow_call_module_pre_set_handler(NULL, TARROW_ACTION_SET, NULL));
    GIVES(-1, __tarrow_log_print(0, NULL, NULL));
    GIVES(-1, contacts_xml_set(NULL));
    GIVES(-1, get_date(NULL, 128));
    GIVES(-1, get_date((char[128]){""}, 127));
    GIVES(-1, bridge_fwd_get(NULL));
    GIVES(-1, arp_get(NULL));
    GIVES(-1, dhcp_sys_info_get(NULL));
    GIVES(-1, get_wireless_clients(NULL));
    GIVES(-1, set_httpshare_mode(NULL));
    GIVES(-1, set_httpshare_auth_param(NULL, NULL, NULL));
    GIVES(-1, http_share_new(NULL));
    GIVES(-1, check_httpshare_file(NULL));
    GIVES(-1, http_share_xml_set(NULL));
    GIVES(-1, http_share_rename(NULL));
    GIVES(-1, http_share_del(NULL));
    GIVES(-1, pin_puk_xml_set(NULL));
    GIVES(-1, get_list(NULL, NULL));
    GIVES(-1, get_capacity(NULL, NULL));
    GIVES(-1, get_result(NULL, NULL));
    GIVES(-1, enable_pin(NULL));
    GIVES(-1, reset_pin_using_puk(NULL, NULL));
    GIVES(-1, mep_provide_ck(NULL));
    GIVES(-1, call_server_func(OP_SPEED_GET, NULL, NULL));
    GIVES(-1, stat_speed_get(NULL, NULL));
    GIVES(-1, stat_reset(NULL, NULL));
    GIVES(-1, stat_accu_get(NULL, NULL));
    GIVES(-1, write_io_meta_data(1, NULL));
    GIVES(-1, write_io_data(1, 1, NULL));
    GIVES(-1, read_io_meta_data(0, NULL));
    GIVES(-1, read_io_data(0, 1, NULL));
    GIVES(-1, is_ipv4(NULL));
    GIVES(-1, get_gateway_address(NULL, NULL));
    GIVES(-1, vexorel_product_get_wan_link_status(NULL));
    GIVES(-1, generate_sw_version(NULL));
    GIVES(-1, find_channel(NULL));
    GIVES(-1, wlan_get(0, NULL));
    GIVES(-1, get_device_date(0, NULL));
}

static void other_results(void) {
    mxml_node_t *page = mxmlLoadString(NULL, "<s><LanStatistics/></s>", MXML_OPAQUE_CALLBACK);
    GIVES(0, (int)get_data_size(IO_INPUT, OP_END));
    GIVES(0, get_device_date(0, &(dc_args_t){TARROW_CB_ARGS_DLIST, {NULL}, NULL}));
    GIVES(0, cfgdb_match__(NULL, NULL, NULL, NULL));
    GIVES(0, dl_get_meta_fields(NULL, NULL, '#'));
    GIVES(0, dl_count_meta_fields(NULL, '#'));
    GIVES(0, tarrow_call_module_validate_handler(NULL, NULL, NULL));
    GIVES(0, tarrow_call_module_dynamic_handler(NULL, 0, 0, NULL));
    GIVES(0, is_connected_in_bridge(NULL, NULL));
    GIVES(0, is_connected_in_wlan(NULL, NULL));
    GIVES(0, ether_atoe(NULL, NULL));
    GIVES(0, get_ipv6_address(NULL, (char[128]){""}));
    GIVES(0, file_to_buf(NULL, NULL, 0));
    GIVES(0, file_to_buf("/none", (char[9]){""}, 9));
    GIVES(0, wan_info_gather(NULL));
    GIVES(0, tarrow_call_module_pre_get_handler(NULL, TARROW_ACTION_GET, NULL));
    GIVES(0, __tarrow_log_write(0, NULL, NULL));
    GIVES(0, get_date((char[128]){""}, 128));
    GIVES(0, find_channel((char[20]){"1"}));
    GIVES(0, wan_stat_get(NULL, NULL));
    GIVES(0, lan_stat_get(NULL, NULL));
    GIVES(0, wlan_stat_get(NULL, NULL));
    GIVES(1, statistics_get(NULL, &(statistics_t){{0}}));
    GIVES(1, stat_xml_get(page, NULL, "LanStatistics"));
    GIVES(1, stat_xml_get(page, &(statistics_t){{0}}, "LanStatistics"));
    GIVES(1, stat_xml_get(page, NULL, NULL));
    GIVES(1, wan_xml_get(NULL));
    GIVES(1, wlan_xml_get(NULL));
    mxmlDelete(page);
}

static void operations_without_result(void) {
    dl_dlist_init(NULL);
    dl_alloc_get_token(NULL, '#');
    dl_variable_to_dlist_alloc(NULL, NULL, 1, '#', ' ');
    char *text = NULL;
    dl_dlist_to_variable(&text, NULL, '#', ' ');
    dl_dlist_to_variable(NULL, NULL, '#', ' ');
    dl_dlist_to_xmllist(NULL, NULL);
    dl_dlist_xml_additem(NULL, 0);
    dl_dlist_get_xmllist_entry(NULL, NULL, 0);
    dl_xmllist_to_dlist(NULL, NULL);
    dl_xmllist_get_set_type(NULL, NULL, NULL);
    dl_free_dlist(NULL);
    dl_dlist_delete_record(NULL, 0);
    dl_dlist_add_edit_record(NULL, 0, NULL);
    tarrow_call_module_get_delimiters(NULL, NULL, NULL);
    tarrow_call_module_run_cmd(NULL, TARROW_ACTION_SET, NULL);
    get_nr_connected_dev(NULL);
    get_ip_address_from_arp(NULL, NULL);
    get_ip_address_from_dhcp(NULL, NULL);
    bridge_list_free(NULL);
    arp_list_free(NULL);
    dhcp_client_list_free(NULL);
    escape_special_chars(NULL);
    wireless_client_list_free(NULL);
    get_wireless_clients_for_interface(NULL, NULL);
    get_tcard_block(NULL);
    force_rm(NULL);
    update_file_time(NULL, NULL);
    remove_mmc2(NULL, NULL);
    get_opaque_string_by_name(NULL, NULL, NULL);
    http_share_xml_get(NULL);
    pin_puk_info_get(NULL);
    pin_puk_info_get_attempts(NULL);
    mep_get_attempts(NULL);
    free_data(NULL);
    run_command(NULL);
    get_start_end_date(NULL, NULL);
    ether_etoa(NULL, (char[18]){""});
    get_mac_from_ip(NULL);
}

int main(void) {
    set_up_requests();
    refusals();
    other_results();
    operations_without_result();
    return failures > 0;
}
