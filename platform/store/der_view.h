// A minimal read-only view of DER values: enough to find the parts of a
// signed object and the few extension values the store looks at, without a
// decode into structures.
#ifndef MAREN_PLATFORM_STORE_DER_VIEW_H
#define MAREN_PLATFORM_STORE_DER_VIEW_H

#include <cstddef>

#include <maren/types.h>

namespace maren::store::der {

// One value: its tag byte, where it starts and where its content lies.
struct Value {
    BYTE tag = 0;
    const BYTE *start = nullptr;
    const BYTE *content = nullptr;
    size_t length = 0;  // of the content
    size_t total = 0;   // header and content

    const BYTE *end() const { return content + length; }
};

// Reads the value at p within n bytes. Only single-byte tags and definite
// lengths of at most four length bytes are read; anything else, or a value
// running past n, gives false.
bool read(const BYTE *p, size_t n, Value *out);

// A cursor over the values inside a constructed value's content.
class Reader {
  public:
    Reader(const BYTE *p, size_t n) : p_(p), n_(n) {}
    explicit Reader(const Value &constructed) : p_(constructed.content), n_(constructed.length) {}

    bool empty() const { return n_ == 0; }
    BYTE peek_tag() const { return n_ ? p_[0] : 0; }
    const BYTE *position() const { return p_; }
    size_t left() const { return n_; }

    // The next value; false (and no move) when it can't be read.
    bool next(Value *out) {
        if (!read(p_, n_, out)) return false;
        p_ += out->total;
        n_ -= out->total;
        return true;
    }

  private:
    const BYTE *p_;
    size_t n_;
};

constexpr BYTE kInteger = 0x02;
constexpr BYTE kBitString = 0x03;
constexpr BYTE kOctetString = 0x04;
constexpr BYTE kObjectId = 0x06;
constexpr BYTE kUtcTime = 0x17;
constexpr BYTE kGeneralizedTime = 0x18;
constexpr BYTE kSequence = 0x30;

}  // namespace maren::store::der

#endif
