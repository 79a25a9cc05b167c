// The priority of the wan module's lines in the system log.
#pragma once

#include <syslog.h>

namespace tarrow {

inline constexpr int wan_log = LOG_SYSLOG | LOG_ERR;

} // namespace tarrow
