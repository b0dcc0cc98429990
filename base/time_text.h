// Small text helpers of the date and time classes.
#ifndef HALDEN_BASE_TIME_TEXT_H
#define HALDEN_BASE_TIME_TEXT_H

#include <ctime>

#include <maren/types.h>

#include "base/string_proxy.h"

namespace halden {

// The calendar fields of a SYSTEMTIME in a struct tm (year less 1900, month
// less 1, weekday kept; day of the year and daylight flag 0), for strftime.
std::tm system_time_to_tm(const SYSTEMTIME& st);

namespace detail {

// The time texts are ASCII, so widening is one unit per character.
Tarsis::CWStringProxy widen_ascii(const Tarsis::CStringProxy& text);

}  // namespace detail
}  // namespace halden

#endif
