// CryptSignAndEncodeCertificate without a key: the hash-signed CRL that
// carries an OCSP answer, read back by OpenSSL and by maren itself.
#include "tests/platform/crypto_pki_support.h"

#include <gtest/gtest.h>
#include <openssl/sha.h>

namespace {

using pki_test::Bytes;
using pki_test::hex;

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

struct CrlFree {
    void operator()(X509_CRL* c) const { X509_CRL_free(c); }
};
using Crl = std::unique_ptr<X509_CRL, CrlFree>;

// A CRL_INFO as the OCSP step fills it: the responder's name and signature
// algorithm inside, one revoked serial 01 02 03 (little-endian in the
// blob), a critical extension holding the response.
class SyntheticCrl : public ::testing::Test {
  protected:
    SyntheticCrl() {
        struct X509_name_st* name = pki_test::name_of("ocsp responder");
        issuer_ = pki_test::der_of(name, i2d_X509_NAME);
        X509_NAME_free(name);

        entry_.SerialNumber = CRYPT_INTEGER_BLOB{3, serial_le_.data()};
        entry_.RevocationDate = pki_test::filetime_of(2024, 5, 6, 7, 8, 9);
        reason_ext_ = CERT_EXTENSION{const_cast<char*>(szOID_CRL_REASON_CODE), FALSE,
                                     CRYPT_OBJID_BLOB{3, reason_.data()}};
        entry_.cExtension = 1;
        entry_.rgExtension = &reason_ext_;

        response_ext_ = CERT_EXTENSION{const_cast<char*>(szOID_PKIX_OCSP_BASIC_SIGNED_RESPONSE), TRUE,
                                       CRYPT_OBJID_BLOB{DWORD(response_.size()), response_.data()}};

        info_.dwVersion = CRL_V2;
        info_.SignatureAlgorithm.pszObjId = const_cast<char*>(szOID_RSA_SHA256RSA);
        info_.SignatureAlgorithm.Parameters = CRYPT_OBJID_BLOB{2, null_.data()};
        info_.Issuer = CERT_NAME_BLOB{DWORD(issuer_.size()), issuer_.data()};
        info_.ThisUpdate = pki_test::filetime_of(2024, 5, 6, 7, 8, 9);
        info_.NextUpdate = pki_test::filetime_of(2051, 1, 2, 3, 4, 5);
        info_.cCRLEntry = 1;
        info_.rgCRLEntry = &entry_;
        info_.cExtension = 1;
        info_.rgExtension = &response_ext_;
        sha1_.pszObjId = const_cast<char*>(szOID_OIWSEC_sha1);
    }

    BOOL sign_and_encode(BYTE* out, DWORD* size, CRYPT_ALGORITHM_IDENTIFIER* algorithm = nullptr) {
        return CryptSignAndEncodeCertificate(0, 0, kEncoding, X509_CERT_CRL_TO_BE_SIGNED, &info_,
                                             algorithm ? algorithm : &sha1_, nullptr, out, size);
    }
    Bytes sign_and_encode() {
        DWORD size = 0;
        if (!sign_and_encode(nullptr, &size)) return Bytes();
        Bytes out(size);
        return sign_and_encode(out.data(), &size) ? out : Bytes();
    }

    static Crl parse(const Bytes& der) {
        const unsigned char* p = der.data();
        return Crl(d2i_X509_CRL(nullptr, &p, long(der.size())));
    }

    Bytes issuer_;
    Bytes serial_le_ = hex("03 02 01");
    Bytes reason_ = hex("0A 01 01");
    Bytes response_ = hex("30 03 0A 01 00");
    Bytes null_ = hex("05 00");
    CERT_EXTENSION reason_ext_{};
    CERT_EXTENSION response_ext_{};
    CRL_ENTRY entry_{};
    CRL_INFO info_{};
    CRYPT_ALGORITHM_IDENTIFIER sha1_{};
};

TEST_F(SyntheticCrl, OpenSslReadsEveryField) {
    const Bytes der = sign_and_encode();
    ASSERT_FALSE(der.empty()) << std::hex << GetLastError();
    Crl crl = parse(der);
    ASSERT_TRUE(crl);

    EXPECT_EQ(1, X509_CRL_get_version(crl.get()));
    EXPECT_EQ(issuer_, pki_test::der_of(X509_CRL_get_issuer(crl.get()), i2d_X509_NAME));

    const ASN1_TIME* last = X509_CRL_get0_lastUpdate(crl.get());
    const ASN1_TIME* next = X509_CRL_get0_nextUpdate(crl.get());
    EXPECT_EQ(V_ASN1_UTCTIME, ASN1_STRING_type(last));
    EXPECT_EQ("240506070809Z", std::string(reinterpret_cast<const char*>(ASN1_STRING_get0_data(last))));
    ASSERT_NE(nullptr, next);
    EXPECT_EQ(V_ASN1_GENERALIZEDTIME, ASN1_STRING_type(next));
    EXPECT_EQ("20510102030405Z", std::string(reinterpret_cast<const char*>(ASN1_STRING_get0_data(next))));

    STACK_OF(X509_REVOKED)* revoked = X509_CRL_get_REVOKED(crl.get());
    ASSERT_EQ(1, sk_X509_REVOKED_num(revoked));
    const X509_REVOKED* r = sk_X509_REVOKED_value(revoked, 0);
    EXPECT_EQ(0x010203, ASN1_INTEGER_get(X509_REVOKED_get0_serialNumber(r)));
    EXPECT_EQ(0, ASN1_TIME_compare(X509_REVOKED_get0_revocationDate(r), last));
    EXPECT_EQ(1, X509_REVOKED_get_ext_count(r));

    ASSERT_EQ(1, X509_CRL_get_ext_count(crl.get()));
    X509_EXTENSION* ext = X509_CRL_get_ext(crl.get(), 0);
    EXPECT_EQ(1, X509_EXTENSION_get_critical(ext));
    const ASN1_OCTET_STRING* value = X509_EXTENSION_get_data(ext);
    EXPECT_EQ(response_, Bytes(ASN1_STRING_get0_data(value), ASN1_STRING_get0_data(value) + ASN1_STRING_length(value)));

    // The outer algorithm is the bare hash, without parameters, and the
    // signature is that hash of the DER to-be-signed part.
    const ASN1_BIT_STRING* signature = nullptr;
    const X509_ALGOR* outer = nullptr;
    X509_CRL_get0_signature(crl.get(), &signature, &outer);
    const ASN1_OBJECT* outer_oid = nullptr;
    int parameter_type = 0;
    X509_ALGOR_get0(&outer_oid, &parameter_type, nullptr, outer);
    EXPECT_EQ(NID_sha1, OBJ_obj2nid(outer_oid));
    EXPECT_EQ(V_ASN1_UNDEF, parameter_type);
    const pki_test::Range tbs = pki_test::to_be_signed(der);
    Bytes hash(SHA_DIGEST_LENGTH);
    SHA1(der.data() + tbs.offset, tbs.size, hash.data());
    ASSERT_EQ(SHA_DIGEST_LENGTH, ASN1_STRING_length(signature));
    EXPECT_EQ(hash, Bytes(ASN1_STRING_get0_data(signature), ASN1_STRING_get0_data(signature) + SHA_DIGEST_LENGTH));
    EXPECT_EQ(0x00, der[der.size() - SHA_DIGEST_LENGTH - 1]);  // unused bits

    // DER: OpenSSL's own encoding of what it read is byte-identical.
    EXPECT_EQ(Bytes(der.data() + tbs.offset, der.data() + tbs.offset + tbs.size),
              pki_test::der_of(crl.get(), i2d_re_X509_CRL_tbs));
}

TEST_F(SyntheticCrl, AGoodAnswerHasNoRevokedCertificatesAndNoNextUpdateMeansNone) {
    info_.cCRLEntry = 0;
    info_.NextUpdate = FILETIME{0, 0};
    const Bytes der = sign_and_encode();
    Crl crl = parse(der);
    ASSERT_TRUE(crl);
    EXPECT_EQ(nullptr, X509_CRL_get_REVOKED(crl.get()));
    EXPECT_EQ(nullptr, X509_CRL_get0_nextUpdate(crl.get()));
}

TEST_F(SyntheticCrl, MarenDecodesItBackAndItsHashVerifiesWithoutAKey) {
    const Bytes der = sign_and_encode();
    auto info = pki_test::decode_alloc<CRL_INFO>(X509_CERT_CRL_TO_BE_SIGNED, der);
    ASSERT_TRUE(info);
    EXPECT_EQ(CRL_V2, info->dwVersion);
    // The inner algorithm is the response's, parameters and all.
    EXPECT_STREQ(szOID_RSA_SHA256RSA, info->SignatureAlgorithm.pszObjId);
    EXPECT_EQ(null_, Bytes(info->SignatureAlgorithm.Parameters.pbData,
                           info->SignatureAlgorithm.Parameters.pbData + info->SignatureAlgorithm.Parameters.cbData));
    EXPECT_EQ(pki_test::ticks(info_.ThisUpdate), pki_test::ticks(info->ThisUpdate));
    EXPECT_EQ(pki_test::ticks(info_.NextUpdate), pki_test::ticks(info->NextUpdate));
    ASSERT_EQ(1u, info->cCRLEntry);
    const CRYPT_INTEGER_BLOB& serial = info->rgCRLEntry[0].SerialNumber;
    EXPECT_EQ(serial_le_, Bytes(serial.pbData, serial.pbData + serial.cbData));
    EXPECT_EQ(pki_test::ticks(entry_.RevocationDate), pki_test::ticks(info->rgCRLEntry[0].RevocationDate));
    ASSERT_EQ(1u, info->cExtension);
    EXPECT_STREQ(szOID_PKIX_OCSP_BASIC_SIGNED_RESPONSE, info->rgExtension[0].pszObjId);
    EXPECT_TRUE(info->rgExtension[0].fCritical);

    CRYPT_DATA_BLOB blob{DWORD(der.size()), const_cast<BYTE*>(der.data())};
    EXPECT_TRUE(CryptVerifyCertificateSignatureEx(0, X509_ASN_ENCODING, CRYPT_VERIFY_CERT_SIGN_SUBJECT_BLOB, &blob,
                                                  CRYPT_VERIFY_CERT_SIGN_ISSUER_NULL, nullptr, 0, nullptr));
    Bytes tampered = pki_test::flipped(der, pki_test::to_be_signed(der).offset + 20);
    CRYPT_DATA_BLOB bad{DWORD(tampered.size()), tampered.data()};
    EXPECT_FALSE(CryptVerifyCertificateSignatureEx(0, X509_ASN_ENCODING, CRYPT_VERIFY_CERT_SIGN_SUBJECT_BLOB, &bad,
                                                   CRYPT_VERIFY_CERT_SIGN_ISSUER_NULL, nullptr, 0, nullptr));
    EXPECT_EQ(DWORD(NTE_BAD_SIGNATURE), GetLastError());

    // A hash is no signature: any real key refuses it.
    auto key = pki_test::public_key_info(pki_test::key_of(pki_test::Family::ec_p256));
    ASSERT_TRUE(key);
    EXPECT_FALSE(CryptVerifyCertificateSignature(0, kEncoding, der.data(), DWORD(der.size()), key.get()));
    EXPECT_EQ(DWORD(NTE_BAD_ALGID), GetLastError());
}

TEST_F(SyntheticCrl, SizeProtocolAndRefusals) {
    DWORD size = 0;
    ASSERT_TRUE(sign_and_encode(nullptr, &size));
    Bytes small(size - 1);
    DWORD small_size = size - 1;
    EXPECT_FALSE(sign_and_encode(small.data(), &small_size));
    EXPECT_EQ(DWORD(ERROR_MORE_DATA), GetLastError());
    EXPECT_EQ(size, small_size);

    // Signing for real needs a key maren doesn't have.
    CRYPT_ALGORITHM_IDENTIFIER rsa{const_cast<char*>(szOID_RSA_SHA256RSA), {0, nullptr}};
    EXPECT_FALSE(sign_and_encode(nullptr, &size, &rsa));
    EXPECT_EQ(DWORD(NTE_BAD_ALGID), GetLastError());
}

}  // namespace
