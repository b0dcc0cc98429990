#include "nimbole/trust_status.h"

#include "nimbole/item_text.h"
#include "nimbole/small_bit_string.h"

namespace halden::nimbole {
namespace {

// Every bit but IS_NOT_VALID_FOR_USAGE.
constexpr std::uint32_t kNotSuccess = 0x1046D;
// Narrower on purpose: neither a usage failure nor an unknown revocation
// state counts as an error here.
constexpr std::uint32_t kAnyError = 0x1042D;

// Gravest first. A partial chain is worse than anything found on a complete
// one; a bad signature and an untrusted root are worse than an expired or a
// revoked certificate.
constexpr std::uint32_t kGravity[] = {
    TrustStatus::IS_PARTIAL_CHAIN,
    TrustStatus::IS_NOT_SIGNATURE_VALID,
    TrustStatus::IS_UNTRUSTED_ROOT,
    TrustStatus::IS_NOT_TIME_VALID,
    TrustStatus::IS_REVOKED,
    TrustStatus::REVOCATION_STATUS_UNKNOWN,
    TrustStatus::IS_NOT_VALID_FOR_USAGE,
    TrustStatus::INVALID_BASIC_CONSTRAINTS,
};

// The platform's 8-bit code page is UTF-8, so the texts are kept in it.
constexpr char kValidText[] = "Сертификат действителен";

}  // namespace

const std::uint32_t TrustStatus::VALUES[VALUE_LENGTH] = {
    IS_NOT_TIME_VALID, IS_REVOKED,
    IS_NOT_SIGNATURE_VALID, IS_NOT_VALID_FOR_USAGE,
    IS_UNTRUSTED_ROOT, REVOCATION_STATUS_UNKNOWN,
    INVALID_BASIC_CONSTRAINTS, IS_PARTIAL_CHAIN,
};

const char* const TrustStatus::STRINGS[VALUE_LENGTH] = {
    "IS_NOT_TIME_VALID", "IS_REVOKED",
    "IS_NOT_SIGNATURE_VALID", "IS_NOT_VALID_FOR_USAGE",
    "IS_UNTRUSTED_ROOT", "REVOCATION_STATUS_UNKNOWN",
    "INVALID_BASIC_CONSTRAINTS", "IS_PARTIAL_CHAIN",
};

const char* const TrustStatus::TSTRINGS[VALUE_LENGTH] = {
    "Срок действия этого сертификата или одного из сертификатов цепочки уже истек или еще не наступил.",
    "Этот сертификат или один из сертификатов цепочки отозван.",
    "Этот сертификат или один из сертификатов цепочки содержит недействительную цифровую подпись.",
    "Этот сертификат или один из сертификатов цепочки не содержит требуемого расширения использования ключа.",
    "Нет доверия к корневому сертификату центра сертификации, поскольку он не найден в хранилище доверенных "
    "корневых сертификатов центров сертификации.",
    "Не найден CRL для этого сертификата или одного из сертификатов цепочки.",
    "Один из сертификатов цепочки содержит неверные основные ограничения.",
    "Этот сертификат не удалось проверить, проследив его до доверенного центра сертификации.",
};

std::string TrustStatus::toString() const {
    if (status_ == CT_NO_ERROR) return "CERT_TRUST_NO_ERROR";
    return SmallBitStringToString(status_, VALUES, STRINGS, VALUE_LENGTH);
}

std::wstring TrustStatus::toWString() const {
    if (status_ == CT_NO_ERROR) return widen_prefix(kValidText);
    return widen_prefix(SmallBitStringToString(status_, VALUES, TSTRINGS, VALUE_LENGTH).c_str());
}

TrustStatus TrustStatus::fromString(std::string_view text) {
    if (text == "NOT_SUCCESS") return kNotSuccess;
    if (text == "ANY_ERROR") return kAnyError;
    return SmallBitStringFromString(text, VALUES, STRINGS, VALUE_LENGTH, "CT_NO_ERROR");
}

HRESULT TrustStatus::toRevocationResult() const {
    if ((status_ & IS_REVOKED) != 0) return CRYPT_E_REVOKED;
    return status_ != CT_NO_ERROR ? CRYPT_E_NO_REVOCATION_CHECK : 0;
}

int TrustStatus::compare(const TrustStatus& other, std::uint32_t mask) const {
    const std::uint32_t a = status_ & mask;
    const std::uint32_t b = other.status_ & mask;
    return a < b ? 1 : (a == b ? 0 : -1);
}

int TrustStatus::compare(const TrustStatus& other) const {
    if (status_ == CT_NO_ERROR) return other.status_ != CT_NO_ERROR ? 1 : 0;
    if (other.status_ == CT_NO_ERROR) return -1;
    int result = 0;
    for (std::uint32_t bit : kGravity) {
        result = compare(other, bit);
        if (result != 0) break;
    }
    return result;
}

}  // namespace halden::nimbole
