/* The law of posted texts: whatever a page posts, the programs that run are those that a harmless
 * text starts, with the posted text in its place in one argument; or the post is refused, and then
 * nothing runs, is stored or changes.
 *
 * Exceptions: a long text may be cut, and leaves the number of arguments as it is. A text that is
 * only stored starts no program, and neither do the shell's own echo and its redirections: sessions
 * show what they write. "sync", and the trace of a new folder, run also for a post that is refused.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "support/support.h"
#include "tarrow_applets.h"

#define HARMLESS "7531"

static const struct {
    const char *module, *page; /* each 7531 is posted as another text in turn */
} posts[] = {
    {"pin_puk", "<p><command>1</command><pin>7531</pin></p>"},
    {"pin_puk", "<p><command>3</command><pin>7531</pin><new_pin>7531</new_pin></p>"},
    {"pin_puk", "<p><command>4</command><puk>7531</puk><new_pin>7531</new_pin></p>"},
    {"sms", "<s><del><dev>7531</dev></del><save>7531</save><send>7531</send></s>"},
    {"sms", "<s><list><dev><item><index>7531</index><stat>7531</stat><pdu>7531</pdu></item></dev></"
            "list></s>"},
    {"contacts", "<c><deleted>1</deleted><sim_contacts_list><Item><record>7531</record></Item></"
                 "sim_contacts_list></c>"},
    {"contacts",
     "<c><deleted>0</deleted><sim_contacts_list><Item><record>7531</record><number>7531</number>"
     "<type>7531</type><text>7531</text></Item></sim_contacts_list></c>"},
    {"diagnostic", "<d><command>7531</command><arg>7531</arg></d>"},
    {"diagnostic", "<d><command>arping</command><arg>7531</arg></d>"},
    {"http_share",
     "<h><http_share_action>9</http_share_action><path_SD_CARD>/mmc2/7531</path_SD_CARD>"
     "<path_SD_CARD_time>7531</path_SD_CARD_time></h>"},
    {"http_share", "<h><http_share_action>6</http_share_action><path_SD_CARD>7531</"
                   "path_SD_CARD><OLD_NAME_SD_CARD>/mmc2/7531"
                   "</OLD_NAME_SD_CARD><NEW_NAME_SD_CARD>/mmc2/7531</NEW_NAME_SD_CARD>"
                   "<path_SD_CARD_time>7531</path_SD_CARD_time></h>"},
};

static const char *const texts[] = {
    "0",       "-1",  "-rf",  "--",      " ",       "a b",  "$(id)",   "`id`", "$PATH",
    ";id;",    "|id", "&id&", "\nid\n",  ">/tmp/x", "'",    "''",      "\"",   "'\"'",
    "\"a\"b;", "\\",  "a\\",  "\\'",     "*",       "?",    "[a]",     "~",    "{a,b}",
    "(id)",    "#",   "%s%n", "\x80",    "\x01",    "\x7f", "\x1b[2J", "\r",   "\t",
    "</p>",    "/",   "..",   "../../x", "x,y"};

FILE *__real_popen(const char *line, const char *mode);
int __real_pclose(FILE *stream);
int __real_system(const char *line);
void report(const char *event) {
    (void)event;
}

static void read_output(const char *line, char *text, size_t size) {
    FILE *stream = __real_popen(line, "r");
    text[fread(text, 1, size - 1, stream)] = '\0';
    __real_pclose(stream);
}

/* A text with another one in the place of HARMLESS. */
static void replace(const char *whole, const char *text, char *result) {
    *result = '\0';
    for (const char *found; (found = strstr(whole, HARMLESS)) != NULL;
         whole = found + strlen(HARMLESS)) {
        strcat(strncat(result, whole, (size_t)(found - whole)), text);
    }
    strcat(result, whole);
}

static char calls[1 << 16]; /* the number of arguments, the program, the arguments, a line each */

/* Posts a text in one place of a page, and harmless ones in the others; gives whether the page has
 * that many. */
static int post(const applet_info *row, const char *page_text, int place, const char *text) {
    char posted[1024];
    int count = 0;
    mxml_node_t *page = mxmlLoadString(NULL, page_text, MXML_OPAQUE_CALLBACK);
    for (mxml_node_t *node = page; node != NULL; node = mxmlWalkNext(node, page, MXML_DESCEND)) {
        if (mxmlGetType(node) == MXML_OPAQUE && strstr(mxmlGetOpaque(node), HARMLESS) != NULL) {
            replace(mxmlGetOpaque(node), count++ == place ? text : "42", posted);
            mxmlSetOpaque(node, posted);
        }
    }
    dc_args_t record = {TARROW_CB_ARGS_XML, {.dc_subnode = page}, NULL};
    __real_system(": > /var/log/calls");
    (row->di_handler_pre_set_func != NULL
         ? row->di_handler_pre_set_func
         : row->di_handler_post_set_func)(TARROW_ACTION_SET, &record);
    read_output("tr '\\0' '\\n' < /var/log/calls", calls, sizeof calls);
    mxmlDelete(page);
    return place < count;
}

static int try(const applet_info *row, const char *page, int place) {
    static char harmless[sizeof calls], expected[1 << 20], before[40], after[40];
    const char state[] = "find /tmp /data/panelui /mnt /userfs -ls | md5sum";
    if (!post(row, page, place, HARMLESS)) {
        return 0;
    }
    strcpy(harmless, calls);
    for (size_t i = 0; i < sizeof texts / sizeof texts[0]; ++i) {
        read_output(state, before, sizeof before);
        post(row, page, place, texts[i]);
        read_output(state, after, sizeof after);
        replace(harmless, texts[i], expected);
        if (strcmp(calls, expected) != 0 && (*calls != '\0' || strcmp(before, after) != 0)) {
            printf("%s: text %d is '%s', and runs\n%s", page, place, texts[i], calls);
            exit(1);
        }
    }
    return 1;
}

int main(void) {
    setenv("CLOCK", "1795628000", 1);
    setenv("PATH", "/run/bin:/usr/bin:/usr/sbin:/bin:/sbin", 1);
    /* Programs that record their calls and do nothing else, but for the trace of a new folder and
     * "sync". */
    __real_system(
        "mkdir -p /run/bin /run/instead/dev; : > /run/instead/dev/ttyS0; cd /run/bin;"
        "echo '[ \"$1\" = /tmp/dbg_new_1 ] || . /sim/record' > touch; chmod +x touch;"
        "for name in cfgdb_cmd ping arping traceroute route arp rm; do cp touch $name; done;"
        "for path in /etc/init.d/sms_pre_set.sh /usr/app/at_chat /usr/app/agent_client; do"
        "    mount --bind touch $path; done; ln -s /usr/bin/true sync");
    applet_info *rows = tarrow_get_module_applets(NULL);
    for (size_t number = 0; number < sizeof posts / sizeof posts[0]; ++number) {
        const applet_info *row = rows;
        while (strcmp(row->di_modname, posts[number].module) != 0) {
            ++row;
        }
        for (int place = 0; try(row, posts[number].page, place);) {
            ++place;
        }
    }
    free(rows);
    return 0;
}
