// The verdict of a chain or of one of its elements: a set of the platform's
// CERT_TRUST_... error bits, no bit meaning valid. Of two failed chains the
// search keeps the better one, so the order of gravity below decides which
// failure a caller gets to see. That order is not the numeric one.
#ifndef HALDEN_NIMBOLE_TRUST_STATUS_H
#define HALDEN_NIMBOLE_TRUST_STATUS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <maren/maren.h>

namespace halden::nimbole {

class TrustStatus {
public:
    static constexpr std::uint32_t CT_NO_ERROR = CERT_TRUST_NO_ERROR;
    static constexpr std::uint32_t IS_NOT_TIME_VALID = CERT_TRUST_IS_NOT_TIME_VALID;
    static constexpr std::uint32_t IS_REVOKED = CERT_TRUST_IS_REVOKED;
    static constexpr std::uint32_t IS_NOT_SIGNATURE_VALID = CERT_TRUST_IS_NOT_SIGNATURE_VALID;
    static constexpr std::uint32_t IS_NOT_VALID_FOR_USAGE = CERT_TRUST_IS_NOT_VALID_FOR_USAGE;
    static constexpr std::uint32_t IS_UNTRUSTED_ROOT = CERT_TRUST_IS_UNTRUSTED_ROOT;
    static constexpr std::uint32_t REVOCATION_STATUS_UNKNOWN = CERT_TRUST_REVOCATION_STATUS_UNKNOWN;
    static constexpr std::uint32_t INVALID_BASIC_CONSTRAINTS = CERT_TRUST_INVALID_BASIC_CONSTRAINTS;
    static constexpr std::uint32_t IS_PARTIAL_CHAIN = CERT_TRUST_IS_PARTIAL_CHAIN;

    // The named bits, their names and their texts for a person, row by row.
    static constexpr std::size_t VALUE_LENGTH = 8;
    static const std::uint32_t VALUES[VALUE_LENGTH];
    static const char* const STRINGS[VALUE_LENGTH];
    static const char* const TSTRINGS[VALUE_LENGTH];

    constexpr TrustStatus() = default;
    // Implicit: a status is its word, and the bits are handed around as such.
    constexpr TrustStatus(std::uint32_t status) : status_(status) {}

    constexpr std::uint32_t value() const { return status_; }
    friend constexpr bool operator==(TrustStatus a, TrustStatus b) { return a.status_ == b.status_; }
    friend constexpr bool operator!=(TrustStatus a, TrustStatus b) { return a.status_ != b.status_; }

    // "CERT_TRUST_NO_ERROR" for 0, else the names of the bits.
    std::string toString() const;
    // The texts for a person, widened by the platform's code page; empty
    // when that conversion fails.
    std::wstring toWString() const;
    // The inverse of toString, with the collective names "NOT_SUCCESS" and
    // "ANY_ERROR" when they are the whole text.
    static TrustStatus fromString(std::string_view text);

    // CRYPT_E_REVOKED whenever IS_REVOKED is set, CRYPT_E_NO_REVOCATION_CHECK
    // for any other failure, 0 for none.
    HRESULT toRevocationResult() const;

    // The masked words compared: 1 when this one is smaller (better), 0 when
    // equal, -1 when greater.
    int compare(const TrustStatus& other, std::uint32_t mask) const;
    // The order of gravity: above 0 when this status is better than the
    // other, 0 when they weigh the same, below 0 when it is worse.
    int compare(const TrustStatus& other) const;

private:
    std::uint32_t status_ = CT_NO_ERROR;
};

}  // namespace halden::nimbole

#endif
