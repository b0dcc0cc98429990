// The other process of the URL cache tests. Runs the retrievals its
// arguments name, in order, and prints one line for each:
//   wire:URL | cache:URL | default:URL   ->   "ok <entries>" or "error <hex>"
// (<entries> is the CRL's entry count). MAREN_HOME comes from the parent.
#include <cstdio>
#include <string>

#include <maren/maren.h>

int main(int argc, char **argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        const std::size_t colon = argument.find(':');
        const std::string mode = argument.substr(0, colon);
        const std::string url = argument.substr(colon + 1);
        DWORD flags = 0;
        if (mode == "wire") flags = CRYPT_WIRE_ONLY_RETRIEVAL;
        else if (mode == "cache") flags = CRYPT_CACHE_ONLY_RETRIEVAL;
        void *object = nullptr;
        if (CryptRetrieveObjectByUrlA(url.c_str(), CONTEXT_OID_CRL, flags, 5000, &object, nullptr, nullptr, nullptr,
                                      nullptr)) {
            PCCRL_CONTEXT crl = static_cast<PCCRL_CONTEXT>(object);
            std::printf("ok %u\n", static_cast<unsigned>(crl->pCrlInfo->cCRLEntry));
            CertFreeCRLContext(crl);
        } else {
            std::printf("error %x\n", static_cast<unsigned>(GetLastError()));
        }
    }
    return 0;
}
