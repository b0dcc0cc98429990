// Small text helpers of the date and time classes.
#ifndef HALDEN_BASE_TIME_TEXT_H
#define HALDEN_BASE_TIME_TEXT_H

#include "base/string_proxy.h"

namespace halden {
namespace detail {

// The time texts are ASCII, so widening is one unit per character.
Tarsis::CWStringProxy widen_ascii(const Tarsis::CStringProxy& text);

}  // namespace detail
}  // namespace halden

#endif
