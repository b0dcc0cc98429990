#include "tools/common/input_files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/pkcs7.h>
#include <openssl/x509.h>

namespace halden_tools {
namespace {

struct BioFree {
    void operator()(BIO* bio) const { BIO_free(bio); }
};
struct X509Free {
    void operator()(X509* cert) const { X509_free(cert); }
};
struct CrlFree {
    void operator()(X509_CRL* crl) const { X509_CRL_free(crl); }
};
struct Pkcs7Free {
    void operator()(PKCS7* p7) const { PKCS7_free(p7); }
};
struct OpensslFree {
    void operator()(void* p) const { OPENSSL_free(p); }
};

[[noreturn]] void unusable(const std::string& path, const std::string& why) {
    ERR_clear_error();
    throw InputError(path + ": " + why);
}

template <typename T, int (*encode)(const T*, unsigned char**)>
std::vector<BYTE> der_of(const T* object) {
    unsigned char* out = nullptr;
    const int size = encode(object, &out);
    if (size <= 0) return {};
    const std::unique_ptr<unsigned char, OpensslFree> hold(out);
    return std::vector<BYTE>(out, out + size);
}

// The certificates and CRLs of a PKCS#7 SignedData.
void add_bundle(const std::string& path, const PKCS7* p7, std::vector<EncodedObject>* out) {
    if (PKCS7_type_is_signed(p7) == 0 || p7->d.sign == nullptr) unusable(path, "a PKCS#7 file, but not signed data");
    const STACK_OF(X509)* certs = p7->d.sign->cert;
    for (int i = 0; certs != nullptr && i < sk_X509_num(certs); ++i)
        out->push_back({ObjectKind::certificate, der_of<X509, i2d_X509>(sk_X509_value(certs, i))});
    const STACK_OF(X509_CRL)* crls = p7->d.sign->crl;
    for (int i = 0; crls != nullptr && i < sk_X509_CRL_num(crls); ++i)
        out->push_back({ObjectKind::crl, der_of<X509_CRL, i2d_X509_CRL>(sk_X509_CRL_value(crls, i))});
}

// One DER object, which must fill the bytes exactly. Certificates and CRLs
// keep the bytes as given, so that their thumbprints are the file's.
bool read_der(const std::string& path, const std::vector<BYTE>& der, std::vector<EncodedObject>* out) {
    const long size = static_cast<long>(der.size());
    const unsigned char* p = der.data();
    if (std::unique_ptr<X509, X509Free> cert(d2i_X509(nullptr, &p, size)); cert && p == der.data() + size) {
        out->push_back({ObjectKind::certificate, der});
        return true;
    }
    p = der.data();
    if (std::unique_ptr<X509_CRL, CrlFree> crl(d2i_X509_CRL(nullptr, &p, size)); crl && p == der.data() + size) {
        out->push_back({ObjectKind::crl, der});
        return true;
    }
    p = der.data();
    if (std::unique_ptr<PKCS7, Pkcs7Free> p7(d2i_PKCS7(nullptr, &p, size)); p7 && p == der.data() + size) {
        add_bundle(path, p7.get(), out);
        return true;
    }
    return false;
}

void read_pem(const std::string& path, const std::vector<BYTE>& text, std::vector<EncodedObject>* out) {
    const std::unique_ptr<BIO, BioFree> bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    if (!bio) unusable(path, "out of memory");
    for (;;) {
        char* raw_name = nullptr;
        char* raw_header = nullptr;
        unsigned char* raw_data = nullptr;
        long size = 0;
        const int ok = PEM_read_bio(bio.get(), &raw_name, &raw_header, &raw_data, &size);
        const std::unique_ptr<char, OpensslFree> name(raw_name), header(raw_header);
        const std::unique_ptr<unsigned char, OpensslFree> data(raw_data);
        if (ok == 0) {
            // Running out of blocks is the normal end.
            const unsigned long error = ERR_peek_last_error();
            if (ERR_GET_LIB(error) == ERR_LIB_PEM && ERR_GET_REASON(error) == PEM_R_NO_START_LINE) break;
            unusable(path, "malformed PEM");
        }
        const std::string label = name.get();
        const std::vector<BYTE> der(data.get(), data.get() + size);
        if (label == "CERTIFICATE" || label == "X509 CERTIFICATE" || label == "X509 CRL" || label == "PKCS7" ||
            label == "PKCS #7 SIGNED DATA") {
            if (!read_der(path, der, out)) unusable(path, "the PEM block \"" + label + "\" does not parse");
        } else if (label == "TRUSTED CERTIFICATE") {
            // A certificate followed by trust settings, which stores don't keep.
            const unsigned char* p = der.data();
            const std::unique_ptr<X509, X509Free> cert(d2i_X509_AUX(nullptr, &p, static_cast<long>(der.size())));
            if (!cert) unusable(path, "the PEM block \"" + label + "\" does not parse");
            out->push_back({ObjectKind::certificate, der_of<X509, i2d_X509>(cert.get())});
        }
        // Keys and anything else in the file are none of the tool's business.
    }
    ERR_clear_error();
}

}  // namespace

std::vector<BYTE> read_bytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) unusable(path, std::string("cannot read: ") + std::strerror(errno));
    std::vector<BYTE> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad()) unusable(path, "cannot read");
    return bytes;
}

std::vector<EncodedObject> read_objects(const std::string& path) {
    const std::vector<BYTE> bytes = read_bytes(path);
    std::vector<EncodedObject> objects;
    static const char kPemStart[] = "-----BEGIN ";
    const bool pem = std::search(bytes.begin(), bytes.end(), kPemStart, kPemStart + sizeof kPemStart - 1) !=
                     bytes.end();
    if (pem) read_pem(path, bytes, &objects);
    else if (!read_der(path, bytes, &objects)) unusable(path, "not a certificate, CRL or PKCS#7 file");
    ERR_clear_error();
    if (objects.empty()) unusable(path, "holds no certificate or CRL");
    return objects;
}

}  // namespace halden_tools
