// Wide-character paths in the platform's multibyte form.
#ifndef HALDEN_BASE_WIDE_PATH_H
#define HALDEN_BASE_WIDE_PATH_H

#include <string>

namespace halden {
namespace detail {

// Converts by WideCharToMultiByte; a failed conversion throws
// ATL::CAtlException with the last error.
std::string narrow_path(const wchar_t* path);

}  // namespace detail
}  // namespace halden

#endif
