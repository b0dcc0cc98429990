#include "tools/store/extension_text.h"

#include <cstring>

#include "tools/common/decoded.h"
#include "tools/common/text.h"

namespace store_tool {
using namespace halden_tools;

namespace {

using Lines = std::vector<std::string>;

// Raw values longer than this are cut in the listing.
constexpr DWORD kMaxRawBytes = 64;

std::string raw_text(const CRYPT_OBJID_BLOB& value) {
    const DWORD shown = value.cbData < kMaxRawBytes ? value.cbData : kMaxRawBytes;
    return hex_text(value.pbData, shown, " ") + (shown < value.cbData ? " ..." : "");
}

std::string alt_name_text(const CERT_ALT_NAME_ENTRY& entry) {
    switch (entry.dwAltNameChoice) {
    case CERT_ALT_NAME_URL: return "URL: " + utf8_of(entry.pwszURL);
    case CERT_ALT_NAME_DNS_NAME: return "DNS: " + utf8_of(entry.pwszDNSName);
    case CERT_ALT_NAME_RFC822_NAME: return "email: " + utf8_of(entry.pwszRfc822Name);
    case CERT_ALT_NAME_DIRECTORY_NAME: return "directory name: " + name_text(entry.DirectoryName);
    case CERT_ALT_NAME_IP_ADDRESS: return "IP address: " + hex_text(entry.IPAddress.pbData, entry.IPAddress.cbData, ".");
    case CERT_ALT_NAME_REGISTERED_ID: return "registered id: " + std::string(entry.pszRegisteredID);
    case CERT_ALT_NAME_OTHER_NAME: return "other name: " + std::string(entry.pOtherName->pszObjId);
    default: return "name of kind " + std::to_string(entry.dwAltNameChoice);
    }
}

void add_alt_names(const CERT_ALT_NAME_INFO& names, const std::string& prefix, Lines* out) {
    for (DWORD i = 0; i < names.cAltEntry; ++i) out->push_back(prefix + alt_name_text(names.rgAltEntry[i]));
}

// Bit i of a BIT STRING, most significant bit of the first byte first.
bool bit_set(const CRYPT_BIT_BLOB& bits, unsigned i) {
    return i / 8 < bits.cbData && (bits.pbData[i / 8] & (0x80 >> (i % 8))) != 0;
}

std::string bit_names(const CRYPT_BIT_BLOB& bits, const char* const* names, unsigned count) {
    std::string out;
    for (unsigned i = 0; i < count; ++i)
        if (bit_set(bits, i)) out += (out.empty() ? "" : ", ") + std::string(names[i]);
    return out.empty() ? "(none)" : out;
}

constexpr const char* kKeyUsages[] = {"digitalSignature", "nonRepudiation", "keyEncipherment",
                                      "dataEncipherment", "keyAgreement",   "keyCertSign",
                                      "cRLSign",          "encipherOnly",   "decipherOnly"};
constexpr const char* kReasonFlags[] = {"unused",     "keyCompromise",        "cACompromise",
                                        "affiliationChanged", "superseded",   "cessationOfOperation",
                                        "certificateHold",    "privilegeWithdrawn", "aACompromise"};

std::string reason_name(int code) {
    static const char* const kNames[] = {"unspecified",          "keyCompromise",   "cACompromise",
                                         "affiliationChanged",   "superseded",      "cessationOfOperation",
                                         "certificateHold",      "(7)",             "removeFromCRL",
                                         "privilegeWithdrawn",   "aACompromise"};
    const std::string name = code >= 0 && code <= 10 && code != 7 ? kNames[code] : "unknown";
    return name + " (" + std::to_string(code) + ")";
}

// An unsigned integer kept least significant byte first.
std::string number_text(const CRYPT_UINT_BLOB& number) {
    if (number.cbData <= 8) {
        unsigned long long value = 0;
        for (DWORD i = number.cbData; i-- > 0;) value = value << 8 | number.pbData[i];
        return std::to_string(value);
    }
    return "0x" + serial_text(number);
}

void dist_point_name(const CRL_DIST_POINT_NAME& name, const std::string& prefix, Lines* out) {
    if (name.dwDistPointNameChoice == CRL_DIST_POINT_FULL_NAME) add_alt_names(name.FullName, prefix, out);
    else if (name.dwDistPointNameChoice == CRL_DIST_POINT_ISSUER_RDN_NAME)
        out->push_back(prefix + "name relative to the CRL issuer");
}

Lines dist_points(const CRL_DIST_POINTS_INFO& info) {
    Lines out;
    for (DWORD i = 0; i < info.cDistPoint; ++i) {
        const CRL_DIST_POINT& point = info.rgDistPoint[i];
        dist_point_name(point.DistPointName, "", &out);
        if (point.ReasonFlags.cbData != 0)
            out.push_back("reasons: " + bit_names(point.ReasonFlags, kReasonFlags, 9));
        add_alt_names(point.CRLIssuer, "CRL issuer: ", &out);
    }
    return out;
}

Lines decoded_lines(const CERT_EXTENSION& ext) {
    const char* oid = ext.pszObjId;
    const auto decode = [&](LPCSTR type) { return decode_object(type, ext.Value.pbData, ext.Value.cbData); };
    const auto is = [&](const char* known) { return std::strcmp(oid, known) == 0; };

    if (is(szOID_KEY_USAGE)) {
        const Decoded d = decode(X509_KEY_USAGE);
        if (d) return {bit_names(d.as<CRYPT_BIT_BLOB>(), kKeyUsages, 9)};
    } else if (is(szOID_BASIC_CONSTRAINTS2)) {
        const Decoded d = decode(X509_BASIC_CONSTRAINTS2);
        if (d) {
            const auto& info = d.as<CERT_BASIC_CONSTRAINTS2_INFO>();
            return {std::string("CA: ") + (info.fCA ? "yes" : "no") +
                    (info.fPathLenConstraint ? ", path length: " + std::to_string(info.dwPathLenConstraint) : "")};
        }
    } else if (is(szOID_SUBJECT_KEY_IDENTIFIER)) {
        const Decoded d = decode(X509_OCTET_STRING);
        if (d) return {hex_text(d.as<CRYPT_DATA_BLOB>().pbData, d.as<CRYPT_DATA_BLOB>().cbData)};
    } else if (is(szOID_AUTHORITY_KEY_IDENTIFIER2)) {
        const Decoded d = decode(X509_AUTHORITY_KEY_ID2);
        if (d) {
            const auto& info = d.as<CERT_AUTHORITY_KEY_ID2_INFO>();
            Lines out;
            if (info.KeyId.cbData != 0) out.push_back("key id: " + hex_text(info.KeyId.pbData, info.KeyId.cbData));
            add_alt_names(info.AuthorityCertIssuer, "issuer: ", &out);
            if (info.AuthorityCertSerialNumber.cbData != 0)
                out.push_back("serial number: " + serial_text(info.AuthorityCertSerialNumber));
            return out;
        }
    } else if (is(szOID_CRL_DIST_POINTS) || is(szOID_FRESHEST_CRL)) {
        const Decoded d = decode(X509_CRL_DIST_POINTS);
        if (d) return dist_points(d.as<CRL_DIST_POINTS_INFO>());
    } else if (is(szOID_AUTHORITY_INFO_ACCESS)) {
        const Decoded d = decode(X509_AUTHORITY_INFO_ACCESS);
        if (d) {
            const auto& info = d.as<CERT_AUTHORITY_INFO_ACCESS>();
            Lines out;
            for (DWORD i = 0; i < info.cAccDescr; ++i) {
                const CERT_ACCESS_DESCRIPTION& access = info.rgAccDescr[i];
                const std::string method = std::strcmp(access.pszAccessMethod, szOID_PKIX_OCSP) == 0 ? "OCSP"
                                           : std::strcmp(access.pszAccessMethod, szOID_PKIX_CA_ISSUERS) == 0
                                               ? "CA issuers"
                                               : access.pszAccessMethod;
                out.push_back(method + ": " + alt_name_text(access.AccessLocation));
            }
            return out;
        }
    } else if (is(szOID_CRL_NUMBER) || is(szOID_DELTA_CRL_INDICATOR)) {
        const Decoded d = decode(X509_MULTI_BYTE_UINT);
        if (d) return {number_text(d.as<CRYPT_UINT_BLOB>())};
    } else if (is(szOID_CRL_REASON_CODE)) {
        const Decoded d = decode(X509_CRL_REASON_CODE);
        if (d) return {reason_name(d.as<int>())};
    } else if (is(szOID_ISSUING_DIST_POINT)) {
        const Decoded d = decode(X509_ISSUING_DIST_POINT);
        if (d) {
            const auto& info = d.as<CRL_ISSUING_DIST_POINT>();
            Lines out;
            dist_point_name(info.DistPointName, "", &out);
            if (info.fOnlyContainsUserCerts) out.push_back("only user certificates");
            if (info.fOnlyContainsCACerts) out.push_back("only CA certificates");
            if (info.OnlySomeReasonFlags.cbData != 0)
                out.push_back("only reasons: " + bit_names(info.OnlySomeReasonFlags, kReasonFlags, 9));
            if (info.fIndirectCRL) out.push_back("indirect CRL");
            return out;
        }
    } else if (is(szOID_ENHANCED_KEY_USAGE)) {
        const Decoded d = decode(X509_ENHANCED_KEY_USAGE);
        if (d) {
            const auto& usage = d.as<CERT_ENHKEY_USAGE>();
            Lines out;
            for (DWORD i = 0; i < usage.cUsageIdentifier; ++i) out.push_back(oid_text(usage.rgpszUsageIdentifier[i]));
            return out;
        }
    } else if (is(szOID_SUBJECT_ALT_NAME2)) {
        const Decoded d = decode(X509_ALTERNATE_NAME);
        if (d) {
            Lines out;
            add_alt_names(d.as<CERT_ALT_NAME_INFO>(), "", &out);
            return out;
        }
    } else {
        return {raw_text(ext.Value)};
    }
    return {"(maren cannot decode this value) " + raw_text(ext.Value)};
}

}  // namespace

Lines extension_lines(const CERT_EXTENSION& extension) {
    if (extension.pszObjId == nullptr) return {raw_text(extension.Value)};
    return decoded_lines(extension);
}

std::string entry_reason(const CRL_ENTRY& entry) {
    const CERT_EXTENSION* ext = CertFindExtension(szOID_CRL_REASON_CODE, entry.cExtension, entry.rgExtension);
    if (ext == nullptr) return std::string();
    const Decoded d = decode_object(X509_CRL_REASON_CODE, ext->Value.pbData, ext->Value.cbData);
    return d ? reason_name(d.as<int>()) : "(undecodable reason)";
}

}  // namespace store_tool
