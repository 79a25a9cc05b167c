// What tarrow_host and tarrow_trace agree on.
#pragma once

namespace host {

/// tarrow_host marks for a tracer where the library's handlers begin and end: it looks for these
/// files, which do not exist, and for which nothing else looks.
inline constexpr char begin_mark[] = "/tarrow_host/handlers begin";
inline constexpr char end_mark[] = "/tarrow_host/handlers end";

/// Whether another process of this device traces this one.
bool is_traced();

} // namespace host
