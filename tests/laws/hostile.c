/* The law of posted texts: whatever a page posts, the programs that run are those that a harmless
 * text starts, with the posted text in its place in one argument; or the post is refused, and then
 * nothing runs, is stored or changes.
 *
 * Exceptions: a text that is only stored starts no program, and neither do the shell's own echo and
 * its redirections: sessions show what they write. Long texts are cut, as sessions and C++ cases
 * show. "sync", and the trace of a new folder, run also for a post that is refused. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "requests.h"

#define HARMLESS "7531"

static const char *const texts[] = {
    "0",       "-1",  "-rf",  "--",      " ",       "a b",  "$(id)",   "`id`", "$PATH",
    ";id;",    "|id", "&id&", "\nid\n",  ">/tmp/x", "'",    "''",      "\"",   "'\"'",
    "\"a\"b;", "\\",  "a\\",  "\\'",     "*",       "?",    "[a]",     "~",    "{a,b}",
    "(id)",    "#",   "%s%n", "\x80",    "\x01",    "\x7f", "\x1b[2J", "\r",   "\t",
    "</p>",    "/",   "..",   "../../x", "x,y"};

FILE *__real_popen(const char *line, const char *mode);
int __real_pclose(FILE *stream);
int __real_system(const char *line);

static void read_output(const char *line, char *text, size_t size) {
    FILE *stream = __real_popen(line, "r");
    text[fread(text, 1, size - 1, stream)] = '\0';
    __real_pclose(stream);
}

/* Posts a text; gives the calls of programs: the number of arguments, the program, the arguments, a
 * line each. */
static const char *post(const struct request *request, int place, const char *text) {
    static char calls[1 << 16];
    dc_args_t record = begin_request(request, place, text);
    __real_system(": > /var/log/calls");
    run_request(request, &record);
    end_request(&record);
    read_output("tr '\\0' '\\n' < /var/log/calls", calls, sizeof calls);
    return calls;
}

/* Calls with a text in the place of HARMLESS. */
static void replace(const char *calls, const char *text, char *result) {
    *result = '\0';
    for (const char *found; (found = strstr(calls, HARMLESS)) != NULL;
         calls = found + strlen(HARMLESS)) {
        strcat(strncat(result, calls, (size_t)(found - calls)), text);
    }
    strcat(result, calls);
}

static int is_lawful(const struct request *request, int place, const char *text,
                     const char *harmless_calls) {
    static char expected[1 << 20], before[40], after[40];
    const char state[] =
        "find /tmp /data/panelui /mnt /userfs -printf '%p %l\\n' -type f -exec cksum {} + | md5sum";
    replace(harmless_calls, text, expected);
    read_output(state, before, sizeof before);
    const char *calls = post(request, place, text);
    if (strcmp(calls, expected) == 0) {
        return 1;
    }
    read_output(state, after, sizeof after);
    if (*calls == '\0' && strcmp(before, after) == 0) {
        return 1;
    }
    printf("%s\nwith '%s' in place %d runs\n%s", request->page, text, place, calls);
    return 0;
}

int main(void) {
    int failures = 0;
    set_up_requests();
    setenv("PATH", "/run/bin:/usr/bin:/usr/sbin:/bin:/sbin", 1);
    /* Programs that record their calls and do nothing else, but for the trace of a new folder and
     * "sync". */
    __real_system(
        "mkdir -p /run/bin; cd /run/bin; ln -s /usr/bin/true sync; ln -sf /usr/bin/true /sim/hook;"
        "echo '[ \"$1\" = /tmp/dbg_new_1 ] || . /sim/record' > touch; chmod +x touch;"
        "for name in cfgdb_cmd ping arping traceroute route arp rm; do cp touch $name; done;"
        "for path in /etc/init.d/sms_pre_set.sh /usr/app/at_chat /usr/app/agent_client; do"
        "    mount --bind touch $path; done");
    for (size_t number = 0; number < request_count; ++number) {
        for (int place = 0; place < count_places(requests + number); ++place) {
            char *harmless_calls = strdup(post(requests + number, place, HARMLESS));
            for (size_t i = 0; i < sizeof texts / sizeof texts[0]; ++i) {
                failures += !is_lawful(requests + number, place, texts[i], harmless_calls);
            }
            free(harmless_calls);
        }
    }
    return failures > 0;
}
