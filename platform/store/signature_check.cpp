#include "platform/store/signature_check.h"

namespace maren::store {

bool signature_verifies(const EncodedObject &signed_object, const CERT_PUBLIC_KEY_INFO &key) {
    const DWORD saved = GetLastError();
    const BOOL ok = CryptVerifyCertificateSignature(0, X509_ASN_ENCODING, signed_object.data(), signed_object.size(),
                                                    const_cast<PCERT_PUBLIC_KEY_INFO>(&key));
    SetLastError(saved);
    return ok != FALSE;
}

}  // namespace maren::store
