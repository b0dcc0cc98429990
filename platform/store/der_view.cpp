#include "platform/store/der_view.h"

namespace maren::store::der {

bool read(const BYTE *p, size_t n, Value *out) {
    if (n < 2) return false;
    const BYTE tag = p[0];
    if ((tag & 0x1F) == 0x1F) return false;
    size_t header = 2;
    size_t length = p[1];
    if (length & 0x80) {
        const size_t count = length & 0x7F;
        if (count == 0 || count > 4 || n < 2 + count) return false;
        length = 0;
        for (size_t i = 0; i < count; ++i) length = (length << 8) | p[2 + i];
        header += count;
    }
    if (length > n - header) return false;
    out->tag = tag;
    out->start = p;
    out->content = p + header;
    out->length = length;
    out->total = header + length;
    return true;
}

}  // namespace maren::store::der
