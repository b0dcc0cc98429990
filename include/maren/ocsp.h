/* maren's OCSP objects and client (RFC 6960), C++ only.
 *
 * The classes return Tarsis::CBlob and Tarsis::CDateTime by value or by
 * pointer; their definitions are base/blob.h and base/date_time.h, which a
 * caller includes itself. Every class holds one pointer to its private state,
 * so its layout does not depend on how maren keeps that state.
 *
 * Failures of the exchange and of parsing throw exceptions derived from
 * std::exception; checks return 0 or an HRESULT-style code. */
#ifndef MAREN_OCSP_H
#define MAREN_OCSP_H

#include <maren/context.h>
#include <maren/export.h>
#include <maren/types.h>

#ifdef __cplusplus

#include <string>

namespace Tarsis {
class CBlob;
class CDateTime;
}  // namespace Tarsis

namespace Tarsis {
namespace PKI {
namespace OCSP {

namespace detail {
struct CertIdState;
struct RequestState;
struct ResponseState;
/* maren's own way into the private state. */
struct Access;
}  // namespace detail

/* The identity of one certificate as OCSP names it: a hash algorithm, the
 * hashes of the issuer's name and key, and the serial number. */
class MAREN_API CCertID {
public:
    /* Empty: no algorithm, empty hashes and serial. */
    CCertID();
    CCertID(const CCertID& other);
    CCertID& operator=(const CCertID& other);
    ~CCertID();

    /* The serial number's content octets in wire order (big-endian, with a
     * leading zero byte where DER needs one). */
    Tarsis::CBlob get_serialNumber() const;
    Tarsis::CBlob get_issuerNameHash() const;
    Tarsis::CBlob get_issuerKeyHash() const;
    /* The dotted OID of the hash algorithm, "1.3.14.3.2.26" for SHA-1. */
    std::string get_hashAlgorithm() const;

    /* Same algorithm, hashes and serial. */
    bool operator==(const CCertID& other) const;
    bool operator!=(const CCertID& other) const { return !(*this == other); }

private:
    friend struct detail::Access;
    detail::CertIdState* state_;
};

namespace Client {

class CResponse;

/* One OCSP exchange. A request belongs to one thread at a time; separate
 * requests may run on separate threads. */
class MAREN_API CRequest {
public:
    CRequest();
    ~CRequest();
    CRequest(const CRequest&) = delete;
    CRequest& operator=(const CRequest&) = delete;

    /* Send a random 16-byte nonce and refuse a response that does not echo
     * it. A request with a nonce never takes its answer from the cache. */
    void put_UseNonce(bool use);
    /* Without this, Send refuses a response whose producedAt lies in the
     * future beyond the clock skew (five minutes). */
    void put_DisableProducedAtCheck(bool disable);
    /* Request flags, kept for the response checks:
     *   1: don't use the process-wide response cache (neither read nor fill);
     *   2: an answer is demanded for every single request; Send refuses a
     *      response that leaves one of them out.
     * Other bits are ignored. halden passes 2. */
    void put_Flags(unsigned int flags);
    /* A cached response fetched before *time is not taken; null for none.
     * The time is copied. */
    void put_CacheResync(FILETIME* time);
    /* Adds one single request for cert, issued by issuer: a SHA-1 CertID
     * over the issuer's encoded subject name, the issuer's public key (the
     * BIT STRING's content) and cert's serial number. The first certificate
     * added names the responder (its authority information access, id-ad-ocsp).
     * The last two arguments are reserved: 0 and null. A null certificate or
     * issuer throws. */
    void put_SRCertIDFromCert(const CERT_CONTEXT* cert, const CERT_CONTEXT* issuer, unsigned long reserved,
                              const char* reservedText);

    /* Performs the exchange on the calling thread and returns the response.
     * Throws when there is no single request or no responder URL, on any
     * failure of the transport (time-out, refused connection, HTTP error,
     * response above the size cap), when the answer is not an OCSP response,
     * and when a nonce was asked for and not given back. An answer with an
     * unsuccessful status is returned, not thrown. A short request goes
     * out as an HTTP GET first and as a POST when the GET meets an HTTP
     * error; postOnly skips the GET.
     *
     * A request about one certificate is answered from the process-wide
     * response cache when it holds a fresh answer: answers are kept until
     * their nextUpdate (never without one), and only successful ones signed
     * by the issuer or a responder it certified for OCSP signing; an entry
     * fetched before the put_CacheResync time is passed over.
     *
     * Registry: \config\OCSP\Timeout (the whole exchange in ms, default
     * 10000), \config\OCSP\MaxResponseBytes (default 65536; also caps
     * Import), \config\OCSP\CacheSize (entries, default 10000, 0 turns the
     * cache off). */
    CResponse Send(bool postOnly);

    unsigned long get_SRNumber() const;
    /* Throws for an index out of range. */
    CCertID get_SRCertID(unsigned long index) const;
    /* The responder URL from the first certificate's authority information
     * access; empty when it has none (Send then throws). */
    std::wstring get_OCSPAddress() const;

private:
    friend struct detail::Access;
    detail::RequestState* state_;
};

/* A parsed OCSP response. Accessors on an empty, unsuccessful or
 * non-basic response answer empty values, -1 or null; they don't throw. */
class MAREN_API CResponse {
public:
    CResponse();
    CResponse(const CResponse& other);
    CResponse& operator=(const CResponse& other);
    ~CResponse();

    /* Parses a DER OCSPResponse, replacing what this object held. Throws
     * when it is not one, or above the size cap; the object is then left as
     * it was. With a request, a response that is successful must answer
     * with the request's nonce if it sent one. */
    void Import(const unsigned char* der, unsigned long size, const CRequest* request);
    /* The DER as imported. A null buffer stores the size in *size; a
     * buffer whose room (*size) is too small throws, with *size set to
     * the size needed. */
    void Export(unsigned char* buffer, unsigned long* size) const;

    /* OCSPResponseStatus: 0 successful, 1 malformedRequest, 2 internalError,
     * 3 tryLater, 5 sigRequired, 6 unauthorized; -1 when nothing was
     * imported. */
    int get_Status() const;

    /* The responder's certificate: from the response's certificates, the
     * one that matches the responderID by name or key hash, else from the
     * given stores (HCERTSTORE handles); of several, one whose key verifies
     * the signature. A new reference the caller frees, or null. */
    const CERT_CONTEXT* get_OCSPCertificate(void** stores, unsigned long count) const;

    /* The response's signature checked with cert's public key: 0, or
     * NTE_BAD_SIGNATURE, NTE_BAD_ALGID, CRYPT_E_NOT_FOUND (nothing signed to
     * check), E_INVALIDARG for a null cert. The text is reserved: null. */
    HRESULT Verify(const CERT_CONTEXT* cert, char* reserved) const;
    /* Whether cert may sign this response: the issuer of the certificates
     * asked about (their CertIDs' issuer name and key hashes name it), or a
     * certificate with id-kp-OCSPSigning in its extended key usage, valid
     * now, whose signature that issuer's key verifies. The issuer is looked
     * for in the given stores, the response's certificates, the delegate's
     * own store, the system stores "CA" and "Root" and by a chain build.
     * 0, or E_INVALIDARG (null cert), CERT_E_WRONG_USAGE (no
     * id-kp-OCSPSigning), CERT_E_EXPIRED, CERT_E_UNTRUSTEDCA (no issuer
     * certified it), CRYPT_E_NOT_FOUND (no single response). The bool is
     * reserved. */
    HRESULT VerifyCertificate(const CERT_CONTEXT* cert, bool reserved, void** stores, unsigned long count) const;

    unsigned long get_SRNumber() const;
    /* The index of the single response about id, or -1. */
    long get_SRIndexByCertID(CCertID id) const;
    /* Time checks of one single response: thisUpdate not later than now
     * plus a clock skew of five minutes, nextUpdate (when present) not
     * earlier than now minus the skew. 0, CERT_E_EXPIRED when either fails,
     * E_INVALIDARG for a bad index. The two pointers are reserved: null. */
    HRESULT VerifySR(unsigned long index, char* reserved, bool* reservedFlag) const;
    /* 0 good, 1 revoked, 2 unknown; -1 for a bad index. */
    int get_SRStatus(unsigned long index) const;
    /* Owned by the response; null unless the single response is revoked. */
    const Tarsis::CDateTime* get_SRRevTime(unsigned long index) const;
    /* The CRLReason of a revocation, -1 when absent or not revoked. */
    int get_SRRevReason(unsigned long index) const;
    /* 1 January 1601 for a bad index. */
    Tarsis::CDateTime get_SRThisUpdate(unsigned long index) const;
    /* Owned by the response; null when absent or for a bad index. */
    const Tarsis::CDateTime* get_SRNextUpdate(unsigned long index) const;
    /* An empty identity for a bad index. */
    CCertID get_SRCertID(unsigned long index) const;
    /* 1601 when nothing was imported. */
    Tarsis::CDateTime get_ProducedAt() const;

    /* The basic response's signature algorithm as a dotted OID, empty when
     * there is none; its parameters as their whole DER element, empty when
     * absent. */
    std::string get_SignatureAlgorithmOID() const;
    Tarsis::CBlob get_SignatureAlgorithmParameters() const;

private:
    friend struct detail::Access;
    detail::ResponseState* state_;
};

}  // namespace Client
}  // namespace OCSP
}  // namespace PKI
}  // namespace Tarsis

/* Checks a stapled DER OCSP response for cert. maren finds the issuer
 * itself (the system stores "CA" and "Root", a chain build with the
 * certificate's own store), matches the single response on the CertID
 * (serial, issuer name hash, issuer key hash), checks the signer (the issuer,
 * or a delegated responder it certified with id-kp-OCSPSigning), the
 * signature and the times. Returns 0 for a verified "good", 0x80092010
 * (CRYPT_E_REVOKED) for a verified "revoked", 1 for anything else, a
 * malformed or unverifiable response included. flags must be 0 and reserved
 * null; other values give 1. */
extern "C" MAREN_API DWORD ocspVerifyResponse(PCCERT_CONTEXT cert, const BYTE* response, DWORD cbResponse,
                                              DWORD flags, void* reserved);

#endif /* __cplusplus */

#endif
