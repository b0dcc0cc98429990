#include "base/wide_path.h"

#include <maren/errors.h>
#include <maren/host.h>

#include "base/atl.h"

namespace halden {
namespace detail {

std::string narrow_path(const wchar_t* path) {
    if (path == nullptr) {
        ATL::AtlThrowImpl(E_INVALIDARG);
    }
    const int size = WideCharToMultiByte(CP_ACP, 0, path, -1, nullptr, 0, nullptr, nullptr);
    if (size <= 0) {
        ATL::AtlThrowLastWin32();
    }
    std::string text(static_cast<std::size_t>(size), '\0');
    if (WideCharToMultiByte(CP_ACP, 0, path, -1, &text[0], size, nullptr, nullptr) != size) {
        ATL::AtlThrowLastWin32();
    }
    text.resize(static_cast<std::size_t>(size) - 1);  // the terminator
    return text;
}

}  // namespace detail
}  // namespace halden
