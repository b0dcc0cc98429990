#include "base/time_text.h"

#include <string>

namespace halden {

std::tm system_time_to_tm(const SYSTEMTIME& st) {
    std::tm fields{};
    fields.tm_year = st.wYear - 1900;
    fields.tm_mon = st.wMonth - 1;
    fields.tm_mday = st.wDay;
    fields.tm_hour = st.wHour;
    fields.tm_min = st.wMinute;
    fields.tm_sec = st.wSecond;
    fields.tm_wday = st.wDayOfWeek;
    return fields;
}

namespace detail {

Tarsis::CWStringProxy widen_ascii(const Tarsis::CStringProxy& text) {
    const char* p = text.c_str();
    std::wstring wide(p, p + text.length());
    return Tarsis::CWStringProxy(wide.c_str(), wide.size());
}

}  // namespace detail
}  // namespace halden
