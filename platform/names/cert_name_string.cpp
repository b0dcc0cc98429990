// CertGetNameStringA and CertGetNameStringW: the one name of a certificate
// (or of its issuer) that a type asks for, from the distinguished name and
// the alternative names. Only the first match counts; nothing found is an
// empty string.
#include <cstring>
#include <cwchar>
#include <initializer_list>

#include "platform/names/decoded.h"
#include "platform/names/name_format.h"
#include "platform/names/text_out.h"

using namespace maren::names;

namespace {

// The parts of a certificate a name string comes from: the subject's, or
// with CERT_NAME_ISSUER_FLAG the issuer's.
class NameSource {
  public:
    NameSource(PCCERT_CONTEXT cert, bool issuer)
        : cert_(cert), name_(issuer ? cert->pCertInfo->Issuer : cert->pCertInfo->Subject) {
        const CERT_INFO &info = *cert->pCertInfo;
        const char *const oids[] = {issuer ? szOID_ISSUER_ALT_NAME2 : szOID_SUBJECT_ALT_NAME2,
                                    issuer ? szOID_ISSUER_ALT_NAME : szOID_SUBJECT_ALT_NAME};
        for (const char *oid : oids) {
            const CERT_EXTENSION *ext = CertFindExtension(oid, info.cExtension, info.rgExtension);
            if (ext == nullptr) continue;
            alt_ = decode_as<CERT_ALT_NAME_INFO>(encoding(), X509_ALTERNATE_NAME, ext->Value.pbData,
                                                  ext->Value.cbData);
            break;
        }
    }

    DWORD encoding() const { return cert_->dwCertEncodingType; }

    // The alternative names in their order; none without the extension.
    const CERT_ALT_NAME_ENTRY *alt_begin() const { return alt_ ? alt_->rgAltEntry : nullptr; }
    const CERT_ALT_NAME_ENTRY *alt_end() const { return alt_ ? alt_->rgAltEntry + alt_->cAltEntry : nullptr; }

    const CERT_ALT_NAME_ENTRY *first_alt(DWORD choice) const {
        for (const CERT_ALT_NAME_ENTRY *e = alt_begin(); e != alt_end(); ++e)
            if (e->dwAltNameChoice == choice) return e;
        return nullptr;
    }

    // The distinguished name whose attributes count: the certificate's
    // own, or, when that is empty, the first directory name among the
    // alternative names.
    const CERT_NAME_BLOB &rdn_name() const {
        const bool empty = name_.cbData == 0 || (name_.cbData == 2 && name_.pbData[0] == 0x30 && name_.pbData[1] == 0);
        const CERT_ALT_NAME_ENTRY *directory = empty ? first_alt(CERT_ALT_NAME_DIRECTORY_NAME) : nullptr;
        return directory != nullptr ? directory->DirectoryName : name_;
    }

    Decoded<CERT_NAME_INFO> decoded_rdn_name() const {
        const CERT_NAME_BLOB &name = rdn_name();
        return decode_as<CERT_NAME_INFO>(encoding(), X509_UNICODE_NAME, name.pbData, name.cbData);
    }

  private:
    PCCERT_CONTEXT cert_;
    const CERT_NAME_BLOB &name_;
    Decoded<CERT_ALT_NAME_INFO> alt_;
};

std::wstring wide_or_empty(LPCWSTR text) { return text != nullptr ? std::wstring(text) : std::wstring(); }

// The first non-empty value among the attribute types, tried in order.
std::wstring first_attribute(const CERT_NAME_INFO *name, std::initializer_list<const char *> oids) {
    if (name == nullptr) return std::wstring();
    for (const char *oid : oids) {
        const CERT_RDN_ATTR *attr = CertFindRDNAttr(oid, const_cast<CERT_NAME_INFO *>(name));
        if (attr == nullptr) continue;
        std::wstring text = value_text(*attr);
        if (!text.empty()) return text;
    }
    return std::wstring();
}

std::wstring alt_text(const NameSource &source, DWORD choice) {
    const CERT_ALT_NAME_ENTRY *entry = source.first_alt(choice);
    if (entry == nullptr) return std::wstring();
    // The three string choices share the union's slot.
    return wide_or_empty(entry->pwszRfc822Name);
}

std::wstring simple_display(const NameSource &source) {
    const Decoded<CERT_NAME_INFO> name = source.decoded_rdn_name();
    std::wstring text = first_attribute(
        name.get(), {szOID_COMMON_NAME, szOID_ORGANIZATIONAL_UNIT_NAME, szOID_ORGANIZATION_NAME, szOID_RSA_emailAddr});
    return text.empty() ? alt_text(source, CERT_ALT_NAME_RFC822_NAME) : text;
}

std::wstring email(const NameSource &source) {
    std::wstring text = alt_text(source, CERT_ALT_NAME_RFC822_NAME);
    if (!text.empty()) return text;
    const Decoded<CERT_NAME_INFO> name = source.decoded_rdn_name();
    return first_attribute(name.get(), {szOID_RSA_emailAddr});
}

std::wstring dns(const NameSource &source) {
    std::wstring text = alt_text(source, CERT_ALT_NAME_DNS_NAME);
    if (!text.empty()) return text;
    const Decoded<CERT_NAME_INFO> name = source.decoded_rdn_name();
    return first_attribute(name.get(), {szOID_COMMON_NAME});
}

// The first otherName that is a user principal name, a string inside.
std::wstring upn(const NameSource &source) {
    for (const CERT_ALT_NAME_ENTRY *e = source.alt_begin(); e != source.alt_end(); ++e) {
        if (e->dwAltNameChoice != CERT_ALT_NAME_OTHER_NAME || e->pOtherName == nullptr) continue;
        const CERT_OTHER_NAME &other = *e->pOtherName;
        if (other.pszObjId == nullptr || std::strcmp(other.pszObjId, szOID_NT_PRINCIPAL_NAME) != 0) continue;
        const Decoded<CERT_NAME_VALUE> value = decode_as<CERT_NAME_VALUE>(
            source.encoding(), X509_UNICODE_NAME_VALUE, other.Value.pbData, other.Value.cbData);
        if (!value) return std::wstring();
        CERT_RDN_ATTR attr{};
        attr.dwValueType = value->dwValueType;
        attr.Value = value->Value;
        return IS_CERT_RDN_CHAR_STRING(attr.dwValueType) ? value_text(attr) : std::wstring();
    }
    return std::wstring();
}

std::wstring rdn(const NameSource &source, const DWORD *str_type) {
    std::wstring text;
    // Without a string type the values alone are shown.
    if (!name_to_text(source.encoding(), source.rdn_name(), str_type ? *str_type : CERT_SIMPLE_NAME_STR, &text))
        text.clear();
    return text;
}

std::wstring friendly_name(PCCERT_CONTEXT cert) {
    DWORD size = 0;
    if (!CertGetCertificateContextProperty(cert, CERT_FRIENDLY_NAME_PROP_ID, nullptr, &size) || size == 0)
        return std::wstring();
    std::wstring units(size / sizeof(wchar_t) + 1, L'\0');
    if (!CertGetCertificateContextProperty(cert, CERT_FRIENDLY_NAME_PROP_ID, &units[0], &size)) return std::wstring();
    units.resize(std::wcslen(units.c_str()));
    return units;
}

std::wstring name_string(PCCERT_CONTEXT cert, DWORD type, DWORD flags, void *para) {
    if (cert == nullptr || cert->pCertInfo == nullptr) {
        SetLastError(DWORD(E_INVALIDARG));
        return std::wstring();
    }
    const bool issuer = (flags & CERT_NAME_ISSUER_FLAG) != 0;
    const NameSource source(cert, issuer);
    switch (type) {
    case CERT_NAME_EMAIL_TYPE: return email(source);
    case CERT_NAME_RDN_TYPE: return rdn(source, static_cast<const DWORD *>(para));
    case CERT_NAME_ATTR_TYPE: {
        if (para == nullptr) break;
        const Decoded<CERT_NAME_INFO> name = source.decoded_rdn_name();
        return first_attribute(name.get(), {static_cast<const char *>(para)});
    }
    case CERT_NAME_FRIENDLY_DISPLAY_TYPE: {
        // The property names the certificate itself, never its issuer.
        std::wstring text = issuer ? std::wstring() : friendly_name(cert);
        return text.empty() ? simple_display(source) : text;
    }
    case CERT_NAME_SIMPLE_DISPLAY_TYPE: return simple_display(source);
    case CERT_NAME_DNS_TYPE: return dns(source);
    case CERT_NAME_URL_TYPE: return alt_text(source, CERT_ALT_NAME_URL);
    case CERT_NAME_UPN_TYPE: return upn(source);
    default: break;
    }
    SetLastError(DWORD(E_INVALIDARG));
    return std::wstring();
}

}  // namespace

extern "C" {

DWORD CertGetNameStringW(PCCERT_CONTEXT pCertContext, DWORD dwType, DWORD dwFlags, void *pvTypePara,
                         LPWSTR pszNameString, DWORD cchNameString) {
    return guarded_text(pszNameString, cchNameString, [&] {
        return put_text(name_string(pCertContext, dwType, dwFlags, pvTypePara), pszNameString, cchNameString);
    });
}

DWORD CertGetNameStringA(PCCERT_CONTEXT pCertContext, DWORD dwType, DWORD dwFlags, void *pvTypePara,
                         LPSTR pszNameString, DWORD cchNameString) {
    return guarded_text(pszNameString, cchNameString, [&] {
        return put_text(narrow_text(name_string(pCertContext, dwType, dwFlags, pvTypePara)), pszNameString,
                        cchNameString);
    });
}

}  // extern "C"
