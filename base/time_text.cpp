#include "base/time_text.h"

#include <string>

namespace halden {
namespace detail {

Tarsis::CWStringProxy widen_ascii(const Tarsis::CStringProxy& text) {
    const char* p = text.c_str();
    std::wstring wide(p, p + text.length());
    return Tarsis::CWStringProxy(wide.c_str(), wide.size());
}

}  // namespace detail
}  // namespace halden
