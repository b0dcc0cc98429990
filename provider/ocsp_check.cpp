#include "provider/ocsp_check.h"

#include <new>
#include <string>

#include <maren/decode.h>
#include <maren/errors.h>
#include <maren/host.h>
#include <maren/ocsp.h>

#include "asn1/objects/big_integer.h"
#include "base/blob.h"
#include "base/date_time.h"
#include "base/exceptions.h"
#include "base/last_error.h"
#include "provider/cert_context.h"
#include "provider/contract_codes.h"
#include "provider/ocsp_to_crl.h"
#include "provider/struct_size.h"

namespace {

using halden::provider::kNoVerdict;
using Tarsis::PKI::OCSP::Client::CRequest;
using Tarsis::PKI::OCSP::Client::CResponse;

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
// Demands an answer for every single request.
constexpr unsigned int kRequestFlags = 2;

// The serial number as a DER INTEGER.
HRESULT encode_serial(const CERT_CONTEXT* cert, Tarsis::CBlob* encoded) {
    DWORD size = 0;
    if (!CryptEncodeObjectEx(kEncoding, X509_MULTI_BYTE_INTEGER, &cert->pCertInfo->SerialNumber, 0, nullptr, nullptr,
                             &size)) {
        return hresult_from_last_error(E_FAIL);
    }
    encoded->resize_to(size);
    if (!CryptEncodeObjectEx(kEncoding, X509_MULTI_BYTE_INTEGER, &cert->pCertInfo->SerialNumber, 0, nullptr,
                             encoded->pbData(), &size)) {
        return hresult_from_last_error(E_FAIL);
    }
    encoded->resize_to(size);
    return S_OK;
}

// Puts the issuer in a memory store of its own inside the collection, so
// that the client finds it when it links the responder's certificate.
HRESULT make_issuer_findable(const CERT_CONTEXT* issuer, ATL2::CCertStore& store) {
    HCERTSTORE memory = CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr);
    if (memory == nullptr) {
        return hresult_from_last_error(E_FAIL);
    }
    ATL2::CCertStore holder(memory, ATL2::CCertStoreDeleter{});
    if (!CertAddCertificateContextToStore(memory, issuer, CERT_STORE_ADD_USE_EXISTING, nullptr)) {
        return hresult_from_last_error(E_FAIL);
    }
    if (store.get() == nullptr) {
        return E_FAIL;
    }
    if (!CertAddStoreToCollection(store.get(), memory, 0, 0)) {
        return hresult_from_last_error(E_FAIL);
    }
    try {
        store.children().push_back(holder);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
    return S_OK;
}

FILETIME* cache_resync_time(CERT_REVOCATION_PARA* para) {
    FILETIME* time = nullptr;
    if (HALDEN_COVERS(para, CERT_REVOCATION_PARA, pftCacheResync)) {
        time = para->pftCacheResync;
    }
    if (HALDEN_COVERS(para, CERT_REVOCATION_PARA, pChainPara)) {
        const CERT_REVOCATION_CHAIN_PARA* chain = para->pChainPara;
        if (HALDEN_COVERS(chain, CERT_REVOCATION_CHAIN_PARA, pftCacheResync) && chain->pftCacheResync != nullptr) {
            time = chain->pftCacheResync;
        }
    }
    return time;
}

// Verifies the response and walks the request's single requests. Throws
// HaldenException with the outcome's code for anything but "all good".
void verify_response(const CRequest& request, const CResponse& response, ATL2::CCertStore& store,
                     const FILETIME* time_to_use) {
    if (response.get_Status() != 0) {
        throw HaldenException("bad args", kNoVerdict);
    }
    void* handles[1] = {store.get()};
    void** stores = store.get() != nullptr ? handles : nullptr;
    const unsigned long store_count = store.get() != nullptr ? 1 : 0;

    ATL2::CCertContext responder(response.get_OCSPCertificate(stores, store_count));
    if (const HRESULT r = response.Verify(responder.get(), nullptr)) {
        throw HaldenException("Verify error", r);
    }
    if (const HRESULT r = response.VerifyCertificate(responder.get(), false, stores, store_count)) {
        throw HaldenException("VerifyCertificate error", r);
    }

    for (unsigned long i = 0; i < request.get_SRNumber(); ++i) {
        const long index = response.get_SRIndexByCertID(request.get_SRCertID(i));
        if (index == -1) {
            throw HaldenException("get_SRIndexByCertID error", NTE_FAIL);
        }
        const unsigned long found = static_cast<unsigned long>(index);
        if (const HRESULT r = response.VerifySR(found, nullptr, nullptr)) {
            throw HaldenException("VerifySR error", r);
        }
        const int status = response.get_SRStatus(found);
        if (status == 0) {
            continue;
        }
        if (status != 1) {
            throw HaldenException("Error during check revocation", kNoVerdict);
        }
        if (time_to_use == nullptr) {
            throw HaldenException("Error during check revocation", CRYPT_E_REVOKED);
        }
        const Tarsis::CDateTime* revoked_at = response.get_SRRevTime(found);
        if (revoked_at == nullptr) {
            throw HaldenException("Error during check revocation", kNoVerdict);
        }
        // Revoked only after the time to use: still good then. A
        // revocation at that very moment counts.
        const FILETIME revocation = revoked_at->getFileTime();
        if (CompareFileTime(time_to_use, &revocation) >= 0) {
            throw HaldenException("Error during check revocation", CRYPT_E_REVOKED);
        }
    }
}

}  // namespace

HRESULT VerifyRevocationOneCert(const CERT_CONTEXT* cert, CERT_REVOCATION_PARA* para, const CERT_CONTEXT*& issuer,
                                ATL2::CCertStore& store) {
    if (cert == nullptr || cert->pCertInfo == nullptr) {
        return E_INVALIDARG;
    }
    // The serial number's text is kept for a debugger's eyes; nothing
    // reads it. A serial that doesn't decode throws, and that leaves here.
    Tarsis::CBlob encoded_serial;
    if (const HRESULT r = encode_serial(cert, &encoded_serial)) {
        return r;
    }
    Tarsis::ASN1::CBigInteger serial_number;
    serial_number.decode(encoded_serial);
    const Tarsis::CStringProxy serial = serial_number.writeToHexString(0);
    if (issuer == nullptr) {
        return kNoVerdict;
    }
    if (const HRESULT r = make_issuer_findable(issuer, store)) {
        return r;
    }
    FILETIME* resync = cache_resync_time(para);

    // Nobody is asked about a root: its issuer is itself.
    if (cert == issuer) {
        return kNoVerdict;
    }

    CRequest request;
    request.put_UseNonce(false);
    request.put_DisableProducedAtCheck(true);
    request.put_Flags(kRequestFlags);
    request.put_CacheResync(resync);
    request.put_SRCertIDFromCert(cert, issuer, 0, nullptr);

    CResponse response;
    try {
        response = request.Send(false);
    } catch (...) {
        // Read for a debugger's eyes only; a failed exchange is no verdict.
        const std::wstring address = request.get_OCSPAddress();
        return kNoVerdict;
    }

    // The caller gets the synthetic CRL whatever the verification below
    // decides.
    if (HALDEN_COVERS(para, CERT_REVOCATION_PARA, pCrlInfo) && para->pCrlInfo != nullptr) {
        try {
            ConvertOcspToCrl(response, para->pCrlInfo);
        } catch (...) {
            return kNoVerdict;
        }
    }

    const FILETIME* time_to_use =
        HALDEN_COVERS(para, CERT_REVOCATION_PARA, pftTimeToUse) ? para->pftTimeToUse : nullptr;
    try {
        verify_response(request, response, store, time_to_use);
    } catch (const HaldenException& e) {
        return e.code();
    } catch (...) {
        return kNoVerdict;
    }
    return S_OK;
}
