// Drives CResponse::Import and every accessor and check over arbitrary
// bytes, then ocspVerifyResponse with the certificate the response names as
// its responder (when it names one it carries). Nothing may crash, leak or
// read out of bounds, whatever the response says.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include <maren/maren.h>

#include "base/blob.h"
#include "base/date_time.h"

using Tarsis::PKI::OCSP::CCertID;
using Tarsis::PKI::OCSP::Client::CResponse;

namespace {

volatile std::uint64_t sink = 0;

void touch(const Tarsis::CDateTime* date) {
    if (date != nullptr) sink = sink + date->getQuadPart();
}

void touch(const Tarsis::CBlob& blob) {
    for (std::size_t i = 0; i < blob.cbData(); ++i) sink = sink + blob.pbData()[i];
}

void exercise(const CResponse& response) {
    sink = sink + static_cast<std::uint64_t>(response.get_Status());
    touch(response.get_SignatureAlgorithmParameters());
    sink = sink + response.get_SignatureAlgorithmOID().size();
    const Tarsis::CDateTime produced_at = response.get_ProducedAt();
    touch(&produced_at);

    unsigned long size = 0;
    response.Export(nullptr, &size);
    std::vector<unsigned char> exported(size);
    if (size != 0) response.Export(exported.data(), &size);

    const CERT_CONTEXT* responder = response.get_OCSPCertificate(nullptr, 0);
    sink = sink + static_cast<std::uint64_t>(response.Verify(responder, nullptr));
    sink = sink + static_cast<std::uint64_t>(response.VerifyCertificate(responder, false, nullptr, 0));

    // One past the end as well: bad indexes must answer, not crash.
    const unsigned long count = response.get_SRNumber();
    for (unsigned long i = 0; i <= count && i < 16; ++i) {
        const CCertID id = response.get_SRCertID(i);
        touch(id.get_serialNumber());
        touch(id.get_issuerNameHash());
        touch(id.get_issuerKeyHash());
        const long index = response.get_SRIndexByCertID(id);
        if (i < count && index < 0) std::abort();  // an identity it gave must be found
        sink = sink + static_cast<std::uint64_t>(response.VerifySR(i, nullptr, nullptr));
        sink = sink + static_cast<std::uint64_t>(response.get_SRStatus(i) + response.get_SRRevReason(i));
        touch(response.get_SRRevTime(i));
        touch(response.get_SRNextUpdate(i));
        const Tarsis::CDateTime this_update = response.get_SRThisUpdate(i);
        touch(&this_update);
    }

    if (responder != nullptr) {
        sink = sink + ocspVerifyResponse(responder, exported.data(), static_cast<DWORD>(exported.size()), 0, nullptr);
        CertFreeCertificateContext(responder);
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // No platform home: the system stores the checks look in don't exist,
    // and nothing is written anywhere.
    setenv("MAREN_HOME", "/nonexistent/maren-fuzz-home", 1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CResponse response;
    try {
        response.Import(data, static_cast<unsigned long>(size), nullptr);
    } catch (...) {
        // Refused; the empty response must still answer every accessor.
    }
    exercise(response);
    const CResponse copy(response);
    sink = sink + static_cast<std::uint64_t>(copy.get_Status());
    return 0;
}
