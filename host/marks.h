// How tarrow_host marks, for a tracer, where the library's handlers begin and end: it looks for
// these files, which nothing else looks for and which do not exist.
#pragma once

namespace host {

inline constexpr char begin_mark[] = "/tarrow_host/handlers begin";
inline constexpr char end_mark[] = "/tarrow_host/handlers end";

} // namespace host
