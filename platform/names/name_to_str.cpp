// CertNameToStrA and CertNameToStrW. A name that does not decode, or an
// unknown format, gives an empty string (and the last error), so callers
// that print whatever comes back still print something well formed.
#include "platform/names/name_format.h"
#include "platform/names/text_out.h"

using namespace maren::names;

namespace {

bool text_of(DWORD encoding, PCERT_NAME_BLOB name, DWORD str_type, std::wstring *text) {
    if (name == nullptr) {
        SetLastError(DWORD(E_INVALIDARG));
        return false;
    }
    return name_to_text(encoding, *name, str_type, text);
}

}  // namespace

extern "C" {

DWORD CertNameToStrW(DWORD dwCertEncodingType, PCERT_NAME_BLOB pName, DWORD dwStrType, LPWSTR psz, DWORD csz) {
    return guarded_text(psz, csz, [&] {
        std::wstring text;
        if (!text_of(dwCertEncodingType, pName, dwStrType, &text)) text.clear();
        return put_text(text, psz, csz);
    });
}

DWORD CertNameToStrA(DWORD dwCertEncodingType, PCERT_NAME_BLOB pName, DWORD dwStrType, LPSTR psz, DWORD csz) {
    return guarded_text(psz, csz, [&] {
        std::wstring text;
        if (!text_of(dwCertEncodingType, pName, dwStrType, &text)) text.clear();
        return put_text(narrow_text(text), psz, csz);
    });
}

}  // extern "C"
