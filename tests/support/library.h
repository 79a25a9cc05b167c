// How the library is called and what it does outside of itself, for the tests and for tests/client.c, in C.
#pragma once

#include "../../src/tarrow_applets.h"

/// Makes a page, or a table "NAME#NAME FIELD#FIELD FIELD#FIELD" in which "~" begins an absent record, the request's: 0.
int load(const char *text);
extern dc_args_t request_record;
/// Runs what a module has for a phase, or with "call" a function.
int call(const char *phase, const char *name);
/// The page or table afterwards, which the caller frees.
char *show(void);

/// What the library wishes goes there: "$" and "popen", a command line; "log", a line; "waits", milliseconds; "time";
/// "open", a path. Below 0 is an error's number. The text is what the command prints or the path to open, until the
/// next wish.
struct reply {
    long status;
    const char *text;
    size_t size;
};
struct reply ask(const char *what, const char *text);
