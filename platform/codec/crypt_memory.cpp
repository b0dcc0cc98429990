// The memory functions of the crypto API. Everything maren hands out with
// an ..._ALLOC_FLAG comes from the C heap, so LocalFree and CryptMemFree
// are one and the same.
#include <cstdlib>

#include <maren/decode.h>

extern "C" {

LPVOID CryptMemAlloc(ULONG cbSize) { return std::malloc(cbSize == 0 ? 1 : cbSize); }

LPVOID CryptMemRealloc(LPVOID pv, ULONG cbSize) { return std::realloc(pv, cbSize == 0 ? 1 : cbSize); }

void CryptMemFree(LPVOID pv) { std::free(pv); }

HLOCAL LocalFree(HLOCAL hMem) {
    std::free(hMem);
    return nullptr;
}

}
