// UTC times as RFC 3339 text, to and from the FILETIME scale.
#ifndef HALDEN_TOOLS_VERIFY_TIMES_H
#define HALDEN_TOOLS_VERIFY_TIMES_H

#include <optional>
#include <string>

#include <maren/types.h>

namespace verify_tool {

// "2024-05-01T12:00:00Z", with an optional fraction of a second and "+00:00"
// for the Z; "T" and "Z" in either case. Other offsets, dates before 1601
// and after 9999, and anything malformed give nullopt.
std::optional<FILETIME> parse_utc_time(const std::string& text);

// "2024-05-01T12:00:00Z", the fraction of the second dropped.
std::string utc_time_text(const FILETIME& time);

}  // namespace verify_tool

#endif
