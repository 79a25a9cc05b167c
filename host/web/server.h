// The device's page for a browser: its calls and their replies. Each path stands behind the token
// of the printed address, "/TOKEN/...".
//
//   GET  /, /NAME.js, /NAME.css    the page's own files
//   GET  /modules                  lines: "tarrow_host list --json"
//   GET  /module/MODULE            text: the description of its elements, if the device has one, a
//                                  NUL, and the request that reads everything
//   GET  /docs/NAME                text: docs/pages/NAME.md in HTML
//   GET  /state                    text: what the tools have set, from state.sh
//   GET  /log/POSITION/POSITION    text: what the logs have gained, from log.sh
//   POST /get/MODULE, /set/MODULE  lines: the request in the body, traced by "tarrow_trace --json"
//   POST /run                      text: a tool of the device; the body is its words, each with a
//                                  NUL behind it
//
// "text" is a line {"status":0,"output":"..."} when the command has ended, standard error at its
// end. "lines" are the command's lines of JSON as they come, and at the end
// {"kind":"end","status":0,"errors":"..."}, with what it wrote to standard error. A command ends
// when the browser goes away. A refusal has an HTTP status and a line of text.
#pragma once

#include <microhttpd.h>
#include <string>

namespace web {

struct site {
    std::string project; ///< the project's folder
    std::string device;  ///< the process that the device hangs on
    std::string port;    ///< ":8080", as it follows the host's name in what a browser sends
    std::string token;   ///< that each path begins with
};

/// Serves the connections of a listening socket, from threads of its own. Null when it cannot. The
/// site has to outlive the server. MHD_stop_daemon() ends it and all commands that run.
MHD_Daemon *serve(const site &served, int socket);

} // namespace web
