// The system log as the wan module writes to it.
#pragma once

#include <syslog.h>

namespace tarrow {

inline constexpr int wan_log = LOG_SYSLOG | LOG_ERR;

} // namespace tarrow
