#include "requests.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "cfgdb.h"

const struct request requests[] = {
    {"wan", "<w><ip4/><ip6/><gateway/><dns1/><dns2/><wan_link_status/><pc_mac/></w>"},
    {"wan", "<w><cellular><conn_days/><spn/><isp/><act/><rssi/><msisdn/></cellular></w>"},
    {"wlan_cli_scan", "ssid#channel"},
    {"wlan_settings", "<w><channel/></w>"},
    {"wlan_security", "<w><wlan0><ext_registrar/><ap_pin/></wlan0></w>"},
    {"wlan_wps_client", "<w><wps_result/></w>"},
    {"pin_puk", "<p><pin_attempts/><pin_enabled/><cmd_status/><mep_attempts/></p>"},
    {"pin_puk", "<p><command>?</command><pin>?</pin></p>"},
    {"pin_puk", "<p><command>1</command><pin>?</pin></p>"},
    {"pin_puk", "<p><command>3</command><pin>?</pin><new_pin>?</new_pin></p>"},
    {"pin_puk", "<p><command>4</command><puk>?</puk><new_pin>?</new_pin></p>"},
    {"sms", "<s><list><dev/></list><capacity><sim/></capacity><save/><send/></s>"},
    {"sms", "<s><del><dev>?</dev></del><save>?</save><send>?</send></s>"},
    {"sms",
     "<s><list><dev><item><index>?</index><stat>?</stat><pdu>?</pdu></item></dev></list></s>"},
    {"contacts", "<c><deleted>1</deleted><sim_contacts_list><Item><record>?</record></Item>"
                 "</sim_contacts_list></c>"},
    {"contacts",
     "<c><deleted>0</deleted><sim_contacts_list><Item><record>?</record><number>?</number>"
     "<type>?</type><text>?</text></Item></sim_contacts_list></c>"},
    {"device_management", "mac#name#first#last#type"},
    {"statistics",
     "<s><WanStatistics><rx/></WanStatistics><LanStatistics><rx/></LanStatistics></s>"},
    {"diagnostic", "<d><command>?</command><arg>?</arg></d>"},
    {"diagnostic", "<d><command>arping</command><arg>?</arg></d>"},
    {"diagnostic", "<d><output/></d>"},
    {"dynamic_dns", "<d><name>?</name></d>"},
    {"upgrade_status", "<u><progress/></u>"},
    {"http_share", "<h><http_share_action>2</http_share_action><mode_set>?</mode_set></h>"},
    {"http_share", "<h><http_share_action>3</http_share_action><path_SD_CARD>?</path_SD_CARD></h>"},
    {"http_share",
     "<h><http_share_action>6</http_share_action><path_SD_CARD>?</path_SD_CARD>"
     "<OLD_NAME_SD_CARD>/mmc2/?</OLD_NAME_SD_CARD><NEW_NAME_SD_CARD>/mmc2/?</NEW_NAME_SD_CARD>"
     "<path_SD_CARD_time>?</path_SD_CARD_time></h>"},
    {"http_share", "<h><http_share_action>8</http_share_action><path_SD_CARD>/mmc2/?</path_SD_CARD>"
                   "<name_SD_CARD>?*</name_SD_CARD></h>"},
    {"http_share", "<h><http_share_action>9</http_share_action><path_SD_CARD>/mmc2/?</path_SD_CARD>"
                   "<path_SD_CARD_time>?</path_SD_CARD_time></h>"},
};
const size_t request_count = sizeof requests / sizeof requests[0];

static dlist_node_t table;

int count_places(const struct request *request) {
    int count = 0;
    for (const char *c = request->page; *c != '\0'; ++c) {
        count += *c == '?';
    }
    return count;
}

dc_args_t begin_request(const struct request *request, int place, const char *text) {
    static char posted[1 << 16];
    const int is_all = place < 0;
    dc_args_t record = {TARROW_CB_ARGS_DLIST, {.dc_dlist = &table}, NULL};
    if (*request->page != '<') {
        dl_dlist_init(&table);
        dl_variable_to_dlist_alloc(text, &table, dl_get_meta_fields(request->page, &table, '#'),
                                   '#', ' ');
        return record;
    }
    mxml_node_t *page = mxmlLoadString(NULL, request->page, MXML_OPAQUE_CALLBACK);
    for (mxml_node_t *node = page; node != NULL; node = mxmlWalkNext(node, page, MXML_DESCEND)) {
        const char *form = mxmlGetType(node) == MXML_OPAQUE ? mxmlGetOpaque(node) : "";
        const char *mark = strchr(form, '?');
        if (mark != NULL) {
            snprintf(posted, sizeof posted, "%.*s%s%s", (int)(mark - form), form,
                     is_all || place == 0 ? text : "42", mark + 1);
            mxmlSetOpaque(node, posted);
            --place;
        }
    }
    record.dc_type = TARROW_CB_ARGS_XML;
    record.dc_data.dc_subnode = page;
    return record;
}

void run_request(const struct request *request, dc_args_t *record) {
    if (count_places(request) > 0) {
        tarrow_call_module_pre_set_handler(request->module, TARROW_ACTION_SET, record);
        tarrow_call_module_post_set_handler(request->module, TARROW_ACTION_SET, record);
    } else {
        tarrow_call_module_pre_get_handler(request->module, TARROW_ACTION_GET, record);
        tarrow_call_module_post_get_handler(request->module, TARROW_ACTION_GET, record);
    }
}

void end_request(dc_args_t *record) {
    mxmlDelete(record->dc_type == TARROW_CB_ARGS_XML ? record->dc_data.dc_subnode : NULL);
    dl_free_dlist(&table);
    free(record->dc_opaque); /* post-set frees it unless it finds no memory */
}

void report(const char *event) {
    (void)event;
}

static void ignore(const char *message) {
    (void)message;
}

void set_up_requests(void) {
    setenv("CLOCK", "1795628000", 1);
    mxmlSetErrorCallback(ignore);
    cfgdb_match__("wan", "", "", ""); /* the store's engine keeps a descriptor from now on */
    mkdir("/run/instead", 0755);
    mkdir("/run/instead/dev", 0755);
    fclose(fopen("/run/instead/dev/ttyS0", "w"));
}
