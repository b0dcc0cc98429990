#include "provider/time_validity.h"

#include <cinttypes>
#include <cstdio>
#include <ctime>
#include <vector>

#include <maren/cert_compare.h>
#include <maren/decode.h>
#include <maren/errors.h>
#include <maren/host.h>

#include "base/time_text.h"
#include "base/trace.h"
#include "decode/decode.h"
#include "provider/trace_context.h"

namespace {

constexpr char kPrivateKeyUsagePeriodOid[] = "2.5.29.16";
constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

// The decoded extension, or false when it can't be decoded.
bool decode_period(const CERT_EXTENSION& extension, std::vector<BYTE>* area) {
    DWORD size = 0;
    if (!CryptDecodeObject(kEncoding, MAREN_PRIVATE_KEY_USAGE_PERIOD_STRUCT, extension.Value.pbData,
                           extension.Value.cbData, 0, nullptr, &size) ||
        size < sizeof(TSCERT_PRIVATEKEY_USAGE_PERIOD)) {
        return false;
    }
    area->assign(size, 0);
    return CryptDecodeObject(kEncoding, MAREN_PRIVATE_KEY_USAGE_PERIOD_STRUCT, extension.Value.pbData,
                             extension.Value.cbData, 0, area->data(), &size) != FALSE;
}

// "DD.MM.YYYY HH:MM:SS" of a FILETIME; the raw value in hexadecimal when the
// time has no calendar form.
void describe_time(const FILETIME& time, char (&text)[256]) {
    SYSTEMTIME st;
    if (!FileTimeToSystemTime(&time, &st)) {
        const std::uint64_t raw = static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
        std::snprintf(text, sizeof text, "0x%016" PRIx64, raw);
        return;
    }
    const std::tm tm_time = halden::system_time_to_tm(st);
    if (std::strftime(text, sizeof text, "%d.%m.%Y %H:%M:%S", &tm_time) == 0) {
        text[0] = '\0';
    }
}

}  // namespace

HRESULT IsCertContextValidOnTime(const CERT_CONTEXT* cert, const FILETIME& time, bool* valid) {
    *valid = false;
    if (cert == nullptr || cert->pCertInfo == nullptr) {
        return E_INVALIDARG;
    }
    const CERT_INFO& info = *cert->pCertInfo;

    const FILETIME* lower = &info.NotBefore;
    const FILETIME* upper = &info.NotAfter;
    std::vector<BYTE> area;
    if (const CERT_EXTENSION* extension =
            CertFindExtension(kPrivateKeyUsagePeriodOid, info.cExtension, info.rgExtension)) {
        if (!decode_period(*extension, &area)) {
            // The platform's own code is not reported: the trace names the
            // ASN.1 failure that it stands for.
            HALDEN_PRINT_TIME(marencheck_db_ctx,
                              "Extension PRIVATEKEY_USAGE_PERIOD could not be decoded: hr = 0x%08x.\n",
                              static_cast<unsigned int>(CRYPT_E_ASN1_ERROR));
            return E_FAIL;
        }
        // With the extension the certificate's own validity plays no part.
        const auto* period = reinterpret_cast<const TSCERT_PRIVATEKEY_USAGE_PERIOD*>(area.data());
        lower = period->pNotBefore;
        upper = period->pNotAfter;
    }

    const bool too_early = lower != nullptr && CompareFileTime(&time, lower) < 0;
    if (!too_early && (upper == nullptr || CompareFileTime(&time, upper) <= 0)) {
        *valid = true;
        return S_OK;
    }
    if (marencheck_db_ctx != nullptr && host_print_is(marencheck_db_ctx, HALDEN_LEVEL_TIME)) {
        char text[256];
        describe_time(time, text);
        HALDEN_PRINT_TIME(marencheck_db_ctx, "Certificate has not been valid on time (%s)...\n", text);
    }
    return S_OK;
}

HRESULT IsCertPrivateKeyValidOnTime(const CERT_CONTEXT* cert, const FILETIME& time) {
    bool valid = false;
    const HRESULT code = IsCertContextValidOnTime(cert, time, &valid);
    if (code < 0) {
        HALDEN_PRINT_ERROR(db_ctx, "%s %d", "IsCertContextValidOnTime failed with code:", static_cast<int>(code));
        return code;
    }
    return valid ? S_OK : CRYPT_E_NO_REVOCATION_CHECK;
}
