// The device's page for a browser: what it asks of the server, and the answers.
//
//   GET  /, /NAME.js, /NAME.css   the page's own files
//   GET  /modules                 what "tarrow_host list" prints
//   GET  /elements/MODULE         the elements of a module's page, as the device has them in XML;
//                                 nothing for a module without
//   GET  /docs/MODULE             its documentation in HTML, or what all pages have in common
//   POST /get/MODULE, /set/MODULE the request's XML, answered by "tarrow_trace --json": a line of
//                                 JSON for each step as it happens, the answer in the last
//   POST /run                     a tool and its arguments, each ended by a NUL, run without a
//                                 shell
//   GET  /state                   what the tools have set, from state.sh
//   GET  /log                     the system log and the serial console as they grow
//
// Where a command answers, its output comes as it prints it, and at its end a line of the character
// EOT and its exit status. It is ended when the browser goes away. A refusal is a line of text.
#pragma once

#include <microhttpd.h>
#include <string>

namespace web {

struct site {
    std::string project; ///< the project's folder
    std::string port;    ///< ":8080", which stands behind the host's name in what a browser sends
};

/// Serves the connections of a listening socket, from threads of its own. Null when it cannot.
/// The site has to outlive the server. MHD_stop_daemon() ends it, with all commands that run.
MHD_Daemon *serve(const site &served, int socket);

} // namespace web
