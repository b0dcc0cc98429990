// GeneralName and GeneralNames into CERT_ALT_NAME_ENTRY and
// CERT_ALT_NAME_INFO, and the DistributionPointName that wraps them.
//
// These fill fields that were reserved elsewhere: only the extra cursor
// moves. The choice is taken from the tag's low bits with class and
// constructed bits ignored, so [6] primitive and constructed both read as a
// URL and a universal tag reads as a general name too.
#include <climits>
#include <cstddef>

#include <decode/der_reader.h>

namespace halden::decode {

namespace {

constexpr BYTE kHighestChoice = CERT_ALT_NAME_REGISTERED_ID;
constexpr BYTE kFullNameTag = 0x80;

static_assert(offsetof(CERT_ALT_NAME_ENTRY, pOtherName) == 8 && sizeof(CERT_ALT_NAME_ENTRY) == 24,
              "CERT_ALT_NAME_ENTRY layout");
static_assert(sizeof(CERT_OTHER_NAME) == 24, "CERT_OTHER_NAME layout");

// otherName content: type-id OBJECT IDENTIFIER, then optionally [0] value.
bool decodeOtherName(const DecodeInput *value, CERT_ALT_NAME_ENTRY *entry, DecodeArea *area) {
    // An empty body is an empty identifier, which can't be converted.
    if (value->cbData == 0) return false;
    DecodeInput content = *value;
    DecodeInput oid;
    if (!readTaggedValue(&content, 0x06, &oid)) return false;
    DecodeInput inner{0, nullptr};
    if (content.cbData != 0 && !readTaggedValue(&content, 0xA0, &inner)) return false;
    if (!checkASN1blob(&inner)) return false;

    BYTE *const at = area->pbExtra;
    if (at && !zeroAt(area, at, sizeof(CERT_OTHER_NAME))) return false;
    auto *other = reinterpret_cast<CERT_OTHER_NAME *>(at);
    advanceExtra(area, sizeof(CERT_OTHER_NAME));
    char *text = nullptr;
    if (!detail::oidTextToExtra(area, &oid, &text)) return false;
    BYTE *bytes = nullptr;
    if (!detail::copyToExtra(area, inner.pbData, inner.cbData, &bytes)) return false;
    if (other) {
        other->pszObjId = text;
        other->Value.cbData = inner.cbData;
        other->Value.pbData = bytes;
    }
    if (entry) entry->pOtherName = other;
    return true;
}

// rfc822Name, dNSName, uniformResourceIdentifier: 8-bit text made wide with
// the platform's code page. An empty string can't be converted and fails.
bool decodeWideName(const DecodeInput *value, LPWSTR *field, DecodeArea *area) {
    if (value->cbData == 0 || value->cbData > INT_MAX) return false;
    const auto *src = reinterpret_cast<LPCSTR>(value->pbData);
    const int units = MultiByteToWideChar(CP_ACP, 0, src, int(value->cbData), nullptr, 0);
    if (units <= 0) return false;
    const uint64_t bytes = (uint64_t(units) + 1) * sizeof(WCHAR);
    if (bytes > 0xFFFFFFFFu) return false;
    BYTE *const at = area->pbExtra;
    if (at) {
        if (!hasRoom(area, at, bytes)) return false;
        auto *wide = reinterpret_cast<LPWSTR>(at);
        if (MultiByteToWideChar(CP_ACP, 0, src, int(value->cbData), wide, units) != units) return false;
        const WCHAR zero = 0;
        std::memcpy(at + size_t(units) * sizeof(WCHAR), &zero, sizeof zero);
    }
    if (field) *field = reinterpret_cast<LPWSTR>(at);
    advanceExtra(area, DWORD(bytes));
    return true;
}

// The element count of GeneralNames content, by a run that only measures.
bool countGeneralNames(DecodeInput content, const DecodeArea *area, uint64_t *count) {
    DecodeArea counter{0, nullptr, 0, nullptr, nullptr, area->pbInputEnd};
    uint64_t n = 0;
    while (content.cbData != 0) {
        const DWORD before = content.cbData;
        if (!blb2GeneralName(&content, nullptr, &counter)) return false;
        if (content.cbData >= before) return false;
        ++n;
    }
    *count = n;
    return true;
}

}  // namespace

bool blb2GeneralName(DecodeInput *input, CERT_ALT_NAME_ENTRY *entry, DecodeArea *area) {
    if (input->cbData == 0) return false;
    const DWORD choice = DWORD(input->pbData[0] & 0x5F) + 1;
    if (choice > kHighestChoice) return false;
    if (entry) entry->dwAltNameChoice = choice;
    DecodeInput value;
    if (!readAnyValue(input, &value)) return false;

    switch (choice) {
    case CERT_ALT_NAME_OTHER_NAME:
        return decodeOtherName(&value, entry, area);
    case CERT_ALT_NAME_RFC822_NAME:
    case CERT_ALT_NAME_DNS_NAME:
    case CERT_ALT_NAME_URL:
        // The three names share the union's first pointer.
        return decodeWideName(&value, entry ? &entry->pwszURL : nullptr, area);
    case CERT_ALT_NAME_DIRECTORY_NAME:
    case CERT_ALT_NAME_IP_ADDRESS: {
        // directoryName is the encoded Name inside the [4]; an IP address is
        // kept at whatever length it has.
        if (choice == CERT_ALT_NAME_DIRECTORY_NAME && !checkASN1blob(&value)) return false;
        BYTE *bytes = nullptr;
        if (!detail::copyToExtra(area, value.pbData, value.cbData, &bytes)) return false;
        if (entry) {
            entry->DirectoryName.cbData = value.cbData;
            entry->DirectoryName.pbData = bytes;
        }
        return true;
    }
    case CERT_ALT_NAME_REGISTERED_ID: {
        char *text = nullptr;
        if (!detail::oidTextToExtra(area, &value, &text)) return false;
        if (entry) entry->pszRegisteredID = text;
        return true;
    }
    default:
        // x400Address and ediPartyName are not decoded.
        return false;
    }
}

bool blb2GeneralNames(DecodeInput *input, CERT_ALT_NAME_INFO *info, DecodeArea *area) {
    DecodeInput content{0, input->pbData};
    if (input->cbData != 0 && !readAnyValue(input, &content)) return false;

    if (!detail::writing(area)) {
        // Measuring: the run over the names counts all their data.
        uint64_t count = 0;
        DecodeInput names = content;
        while (names.cbData != 0) {
            const DWORD before = names.cbData;
            if (!blb2GeneralName(&names, nullptr, area)) return false;
            if (names.cbData >= before) return false;
            ++count;
        }
        const uint64_t arrayBytes = count * sizeof(CERT_ALT_NAME_ENTRY);
        if (arrayBytes > 0xFFFFFFFFu) return false;
        advanceExtra(area, DWORD(arrayBytes));
        return true;
    }

    uint64_t count = 0;
    if (!countGeneralNames(content, area, &count)) return false;
    const uint64_t arrayBytes = count * sizeof(CERT_ALT_NAME_ENTRY);
    if (arrayBytes > 0xFFFFFFFFu) return false;
    auto *const entries = reinterpret_cast<CERT_ALT_NAME_ENTRY *>(area->pbExtra);
    if (!zeroAt(area, entries, arrayBytes)) return false;
    if (info) {
        info->cAltEntry = DWORD(count);
        info->rgAltEntry = entries;
    }
    advanceExtra(area, DWORD(arrayBytes));
    for (uint64_t i = 0; content.cbData != 0; ++i) {
        const DWORD before = content.cbData;
        if (i == count || !blb2GeneralName(&content, &entries[i], area) || content.cbData >= before) return false;
    }
    return true;
}

bool DecodeDPN(DecodeInput *input, CRL_DIST_POINT_NAME *name, DecodeArea *area) {
    DecodeInput content{0, input->pbData};
    if (input->cbData != 0 && !readAnyValue(input, &content)) return false;
    // Only fullName [0]; nameRelativeToCRLIssuer [1] is refused.
    if (content.cbData == 0 || (content.pbData[0] & 0xDF) != kFullNameTag) return false;
    if (!blb2GeneralNames(&content, name ? &name->FullName : nullptr, area)) return false;
    if (name) name->dwDistPointNameChoice = CRL_DIST_POINT_FULL_NAME;
    return true;
}

}  // namespace halden::decode
