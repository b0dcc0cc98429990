#include "platform/codec/crl_encoder.h"

#include <algorithm>

#include <maren/errors.h>
#include <maren/host.h>

namespace maren::codec {
namespace {

bool is_zero(const FILETIME& time) { return time.dwLowDateTime == 0 && time.dwHighDateTime == 0; }

void write_name(DerWriter& out, const CERT_NAME_BLOB& name) {
    if (name.cbData == 0 || name.pbData == nullptr)
        out.close(out.open(kTagSequence));
    else
        out.raw(name.pbData, name.cbData);
}

// A little-endian CRYPT_INTEGER_BLOB as a DER INTEGER.
void write_serial(DerWriter& out, const CRYPT_INTEGER_BLOB& serial) {
    Bytes big_endian;
    if (serial.pbData != nullptr) big_endian.assign(serial.pbData, serial.pbData + serial.cbData);
    std::reverse(big_endian.begin(), big_endian.end());
    out.signed_integer(big_endian.data(), big_endian.size());
}

bool write_entry(DerWriter& out, const CRL_ENTRY& entry) {
    const std::size_t mark = out.open(kTagSequence);
    write_serial(out, entry.SerialNumber);
    if (!out.time(entry.RevocationDate)) return false;
    if (entry.cExtension != 0 && !write_extensions(out, entry.cExtension, entry.rgExtension)) return false;
    out.close(mark);
    return true;
}

bool fail(HRESULT error) {
    SetLastError(DWORD(error));
    return false;
}

}  // namespace

bool encode_crl_to_be_signed(const CRL_INFO& info, Bytes* out) {
    if ((info.cCRLEntry != 0 && info.rgCRLEntry == nullptr) || (info.cExtension != 0 && info.rgExtension == nullptr))
        return fail(E_INVALIDARG);
    DerWriter der;
    const std::size_t mark = der.open(kTagSequence);
    if (info.dwVersion != CRL_V1) der.small_integer(kTagInteger, static_cast<std::int32_t>(info.dwVersion));
    if (!write_algorithm(der, info.SignatureAlgorithm)) return fail(CRYPT_E_BAD_ENCODE);
    write_name(der, info.Issuer);
    if (!der.time(info.ThisUpdate)) return fail(CRYPT_E_BAD_ENCODE);
    if (!is_zero(info.NextUpdate) && !der.time(info.NextUpdate)) return fail(CRYPT_E_BAD_ENCODE);
    if (info.cCRLEntry != 0) {
        const std::size_t entries = der.open(kTagSequence);
        for (DWORD i = 0; i < info.cCRLEntry; ++i)
            if (!write_entry(der, info.rgCRLEntry[i])) return fail(CRYPT_E_BAD_ENCODE);
        der.close(entries);
    }
    if (info.cExtension != 0) {
        const std::size_t explicit0 = der.open(kTagContext0);
        if (!write_extensions(der, info.cExtension, info.rgExtension)) return fail(CRYPT_E_BAD_ENCODE);
        der.close(explicit0);
    }
    der.close(mark);
    *out = der.take();
    return true;
}

}  // namespace maren::codec
