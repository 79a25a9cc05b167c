/* The law of memory: when allocations of a request are refused, a single one or all from one on,
 * the library does not crash, and loses no memory, no descriptor and no element or text of the
 * page. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <sanitizer/lsan_interface.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "support/support.h"
#include "tarrow_applets.h"

static const struct {
    enum { GET, SET } kind;
    const char *module;
    const char *page; /* or the names of a table's columns */
    const char *more; /* what each command prints that is read, or the table's records */
} requests[] = {
    {GET, "wan", "<w><ip4/><ip6/><dns1/><pc_mac/><cellular><spn/><isp/></cellular></w>", "::1/64"},
    {GET, "pin_puk", "<p><pin_attempts/><pin_enabled/><cmd_status/><mep_attempts/></p>", ""},
    {GET, "sms", "<s><list><dev/></list><capacity><sim/></capacity><save/><send/></s>", ""},
    {GET, "statistics", "<s><LanStatistics><rx/><tx_bytes/></LanStatistics></s>", ""},
    {GET, "wlan_cli_scan", "ssid#channel", "Cafe#1 Other#2"},
    {GET, "device_management", "mac#name#first#last#type", "m####USB n####WLAN"},
    {GET, "wlan_security", "<w><wlan0><ext_registrar/><ap_pin/></wlan0></w>", ""},
    {GET, "wlan_wps_client", "<w><wps_result/></w>", ""},
    {GET, "diagnostic", "<d><output/></d>", ""},
    {GET, "upgrade_status", "<u><progress/></u>", ""},
    {SET, "pin_puk", "<p><command>3</command><pin>1</pin><new_pin>2</new_pin></p>", ""},
    {SET, "pin_puk", "<p><command>4</command><puk>1</puk><new_pin>2</new_pin></p>", ""},
    {SET, "sms", "<s><del><dev>1</dev></del><save>a b</save><send>c</send></s>", ""},
    {SET, "sms", "<s><list><dev><item><index>1</index></item></dev></list></s>", ""},
    {SET, "contacts", "<c><deleted>1</deleted><Item><record>1</record></Item></c>", ""},
    {SET, "diagnostic", "<d><command>ping</command><arg>h</arg></d>", "output"},
    {SET, "http_share", "<h><http_share_action>2</http_share_action><mode_set>usb</mode_set></h>",
     ""},
    {SET, "http_share",
     "<h><http_share_action>3</http_share_action><path_SD_CARD>/tmp</path_SD_CARD></h>", ""},
    {SET, "lan", "<lan><ip>192.168.1.1</ip></lan>", ""},
};

static long refused_first; /* 1 is the next allocation; 0: none */
static int is_lasting, has_refused;

void *__interceptor_malloc(size_t size); /* the sanitizer's */
void *__interceptor_calloc(size_t count, size_t size);
void *__interceptor_realloc(void *block, size_t size);

/* The store's engine keeps blocks for later and is spared; so is what libmxml allocates behind the
 * room for an element's first attribute, which it loses without the attribute's name. */
static int is_refused(const void *caller, size_t size) {
    static int is_behind_attribute;
    Dl_info code = {0};
    const char *file = refused_first != 0 && dladdr(caller, &code) != 0 ? code.dli_fname : "";
    const int is_spared = is_behind_attribute || strstr(file, "/libsqlite3.") != NULL;
    is_behind_attribute = strstr(file, "/libmxml.") != NULL && size == 2 * sizeof(char *);
    if (refused_first == 0 || is_spared || --refused_first > 0) {
        return 0;
    }
    refused_first = is_lasting;
    has_refused = 1;
    errno = ENOMEM;
    return 1;
}

void *malloc(size_t size) {
    return is_refused(__builtin_return_address(0), size) ? NULL : __interceptor_malloc(size);
}

void *calloc(size_t count, size_t size) {
    return is_refused(__builtin_return_address(0), count * size)
               ? NULL
               : __interceptor_calloc(count, size);
}

void *realloc(void *block, size_t size) {
    return is_refused(__builtin_return_address(0), 0) ? NULL : __interceptor_realloc(block, size);
}

char *strdup(const char *text) { /* the sanitizer's own does not call malloc */
    char *copy = malloc(strlen(text) + 1);
    return copy != NULL ? strcpy(copy, text) : NULL;
}

void report(const char *event) {
    (void)event;
}
static void ignore(const char *message) {
    (void)message;
}

static void make_request(size_t number, long first) {
    static dlist_node_t table;
    const char *page = requests[number].page;
    const int is_table = *page != '<';
    dc_args_t record = {TARROW_CB_ARGS_DLIST, {.dc_dlist = &table}, NULL};
    if (is_table) {
        dl_variable_to_dlist_alloc(requests[number].more, &table,
                                   dl_get_meta_fields(page, &table, '#'), '#', ' ');
    } else {
        record.dc_type = TARROW_CB_ARGS_XML;
        record.dc_data.dc_subnode = mxmlLoadString(NULL, page, MXML_OPAQUE_CALLBACK);
    }
    const int flags = is_table                       ? TARROW_ACTION_GETLIST
                      : requests[number].kind == GET ? TARROW_ACTION_GET
                                                     : TARROW_ACTION_SET;
    refused_first = first;
    if (requests[number].kind == SET) {
        tarrow_call_module_pre_set_handler(requests[number].module, flags, &record);
        tarrow_call_module_post_set_handler(requests[number].module, flags, &record);
    } else {
        tarrow_call_module_pre_get_handler(requests[number].module, flags, &record);
        tarrow_call_module_post_get_handler(requests[number].module, flags, &record);
    }
    if (is_table) {
        char *text = NULL;
        mxml_node_t *list = mxmlNewElement(MXML_NO_PARENT, "list");
        dl_dlist_to_xmllist(&table, list);
        dl_xmllist_to_dlist(list, &table);
        dl_dlist_to_variable(&text, &table, '#', ' ');
        free(text);
        mxmlDelete(list);
    }
    refused_first = 0;
    char *after =
        is_table ? NULL : mxmlSaveAllocString(record.dc_data.dc_subnode, MXML_NO_CALLBACK);
    if (!is_table && strlen(after) < strlen(page)) {
        printf("%s, allocation %ld: lost elements: %s", page, first, after);
        exit(1);
    }
    free(after);
    free(record.dc_opaque);
    mxmlDelete(is_table ? NULL : record.dc_data.dc_subnode);
    dl_free_dlist(&table);
}

int __real_system(const char *line);

int main(void) {
    int refused = 0;
    __real_system("mkdir -p /run/instead/dev; : > /run/instead/dev/ttyS0; echo usb > /tmp/wan_ifc; "
                  "echo 0 > /tmp/wan_disc;"
                  "cd /tmp/telephony; echo 0 > mep_category; cd sms; echo 500 > .capacity_sim; : > "
                  ".save; : > .send;"
                  "echo '1#2#3#4' > .list_dev; cp -r /tmp/local /mnt/external_sdcard");
    setenv("CLOCK", "1795628000", 1);
    mxmlSetErrorCallback(ignore);
    mxmlSetWrapMargin(0);
    for (size_t number = 0; number < sizeof requests / sizeof requests[0]; ++number) {
        canned_output = requests[number].more;
        make_request(number, 0);
        const int descriptor = dup(0);
        close(descriptor);
        for (is_lasting = 0; is_lasting < 2; ++is_lasting) {
            has_refused = 1;
            for (long first = 1; has_refused; ++first) {
                has_refused = 0;
                make_request(number, first);
                refused += has_refused;
            }
        }
        const int next = dup(0);
        close(next);
        if (next != descriptor || __lsan_do_recoverable_leak_check() != 0) {
            printf("%s: loses memory or a descriptor\n", requests[number].page);
            return 1;
        }
    }
    printf("%d refused allocations\n", refused);
    return 0;
}
