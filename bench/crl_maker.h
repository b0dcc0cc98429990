// Large signed CRLs made quickly, for benchmarks and tests: the entries are
// written as DER directly (the X509_CRL API takes many seconds for a
// million entries) and the to-be-signed bytes are signed with EVP under a
// fresh P-256 key, so the result is an ordinary signed CRL that OpenSSL
// parses and verifies.
#ifndef HALDEN_BENCH_CRL_MAKER_H
#define HALDEN_BENCH_CRL_MAKER_H

#include <cstddef>
#include <ctime>
#include <random>
#include <string>
#include <vector>

struct evp_pkey_st;

namespace crl_maker {

using Bytes = std::vector<unsigned char>;

void put_length(Bytes &out, std::size_t n);
void put_tlv(Bytes &out, unsigned char tag, const Bytes &content);
void put_utc_time(Bytes &out, std::time_t t);

class Signer {
  public:
    Signer();  // exits the program when no key can be made
    ~Signer();
    Signer(const Signer &) = delete;
    Signer &operator=(const Signer &) = delete;

    Bytes sign(const Bytes &to_be_signed) const;
    evp_pkey_st *key() const { return key_; }

  private:
    evp_pkey_st *key_ = nullptr;
};

struct Entry {
    // The INTEGER's content bytes, big-endian, written as given (so a test
    // can give redundant leading bytes).
    Bytes serial;
    std::time_t revoked = 1420070400;  // 2015-01-01
    // A reason code extension with this value, or none when negative.
    int reason = -1;
};

struct Plan {
    std::vector<Entry> entries;
    std::string issuer_common_name = "Halden Bench Issuing CA";
    std::time_t this_update = 1735689600;  // 2025-01-01
    std::time_t next_update = 1735689600 + 7 * 86400;
    long crl_number = 1;
};

// A v2 CRL of the plan, signed by `signer`.
Bytes make_crl(const Signer &signer, const Plan &plan);

// `entries` entries, each a random positive 16-byte serial, a random
// UTCTime between 2015 and 2024 and a reason code extension, with a CRL
// number; thisUpdate 2025-01-01, nextUpdate a week later.
Bytes make_random_crl(const Signer &signer, std::size_t entries, std::mt19937_64 &rng);

// Exits the program unless OpenSSL parses the CRL whole, finds `entries`
// entries and verifies the signature: a benchmark must not time an error
// path.
void check_with_openssl(const Bytes &crl, std::size_t entries, const Signer &signer);

}  // namespace crl_maker

#endif
