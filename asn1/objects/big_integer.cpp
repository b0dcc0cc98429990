#include "asn1/objects/big_integer.h"

#include <cstring>
#include <string>

#include <maren/errors.h>

#include "base/atl.h"
#include "base/hex.h"

namespace Tarsis {
namespace ASN1 {
namespace {

constexpr unsigned char kIntegerTag = 0x02;
// Longer length fields would describe values beyond anything a blob holds.
constexpr std::size_t kMaxLengthBytes = 4;

[[noreturn]] void throw_malformed() {
    ATL::AtlThrowImpl(CRYPT_E_ASN1_INTERNAL);
}

// The content octets of the INTEGER at the start of der.
void read_integer(const CBlob& der, const unsigned char** content, std::size_t* size) {
    const unsigned char* p = der.pbData();
    std::size_t left = der.cbData();
    if (left < 2 || p[0] != kIntegerTag) {
        throw_malformed();
    }
    std::size_t length = p[1];
    p += 2;
    left -= 2;
    if (length & 0x80) {
        const std::size_t count = length & 0x7f;
        // 0x80 is the indefinite form, which DER has no room for.
        if (count == 0 || count > kMaxLengthBytes || count > left) {
            throw_malformed();
        }
        length = 0;
        for (std::size_t i = 0; i < count; ++i) {
            length = (length << 8) | p[i];
        }
        p += count;
        left -= count;
    }
    if (length == 0 || length > left) {
        throw_malformed();
    }
    *content = p;
    *size = length;
}

}  // namespace

void CBigInteger::increment(int lowest) {
    unsigned char* bytes = pbData();
    if (cbData() == 0) {
        return;
    }
    const long floor = lowest > 0 ? lowest : 0;
    for (long i = static_cast<long>(cbData()) - 1;; --i) {
        if (bytes[i] != 0xff) {
            ++bytes[i];
            return;
        }
        bytes[i] = 0;
        if (i - 1 < floor) {
            return;
        }
    }
}

CBigInteger& CBigInteger::operator++() {
    increment(0);
    return *this;
}

CBigInteger CBigInteger::operator++(int) {
    CBigInteger old(*this);
    increment(0);
    return old;
}

int CBigInteger::add(const CBigInteger& other) {
    if (other.cbData() != cbData()) {
        ATL::AtlThrowImpl(E_INVALIDARG);
    }
    unsigned char* mine = pbData();
    const unsigned char* theirs = other.pbData();
    unsigned int carry = 0;
    for (std::size_t i = cbData(); i-- > 0;) {
        const unsigned int sum = mine[i] + theirs[i] + carry;
        mine[i] = static_cast<unsigned char>(sum);
        carry = sum >> 8;
    }
    return static_cast<int>(carry);
}

Tarsis::CBlob CBigInteger::encode() const {
    const std::size_t size = cbData();
    if (size == 0) {
        throw_malformed();
    }
    unsigned char header[2 + kMaxLengthBytes];
    std::size_t header_size = 0;
    header[header_size++] = kIntegerTag;
    if (size < 0x80) {
        header[header_size++] = static_cast<unsigned char>(size);
    } else {
        std::size_t count = 0;
        for (std::size_t rest = size; rest != 0; rest >>= 8) {
            ++count;
        }
        if (count > kMaxLengthBytes) {
            throw_malformed();
        }
        header[header_size++] = static_cast<unsigned char>(0x80 | count);
        for (std::size_t i = count; i-- > 0;) {
            header[header_size++] = static_cast<unsigned char>(size >> (8 * i));
        }
    }
    Tarsis::CBlob der(header_size + size);
    std::memcpy(der.pbData(), header, header_size);
    std::memcpy(der.pbData() + header_size, pbData(), size);
    return der;
}

void CBigInteger::decode(const Tarsis::CBlob& der) {
    const unsigned char* content = nullptr;
    std::size_t size = 0;
    read_integer(der, &content, &size);
    // Through the text form, so that a value read from DER and one read
    // from text take the same road.
    const std::string text = "0x" + halden::detail::hex_encode(content, size, 0);
    StringToBigInteger(text.c_str(), *this);
}

int CBigInteger::compare(const CBigInteger& other) const {
    const unsigned char* a = pbData();
    const unsigned char* b = other.pbData();
    std::size_t na = cbData();
    std::size_t nb = other.cbData();
    if (na == 0 || nb == 0) {
        if (na == nb) {
            return 0;
        }
        if (na != 0) {
            return (a[0] & 0x80) ? -1 : 1;
        }
        return (b[0] & 0x80) ? 1 : -1;
    }
    const bool a_negative = (a[0] & 0x80) != 0;
    const bool b_negative = (b[0] & 0x80) != 0;
    if (a_negative != b_negative) {
        return a_negative ? -1 : 1;
    }
    if (na == nb) {
        return std::memcmp(a, b, na);
    }
    const unsigned char pad = a_negative ? 0xff : 0x00;
    const auto redundant = [pad, a_negative](const unsigned char* p, std::size_t n) {
        return n > 1 && p[0] == pad && ((p[1] & 0x80) != 0) == a_negative;
    };
    while (redundant(a, na)) {
        ++a;
        --na;
    }
    while (redundant(b, nb)) {
        ++b;
        --nb;
    }
    if (na == nb) {
        return std::memcmp(a, b, na);
    }
    return na < nb ? -1 : 1;
}

void StringToBigInteger(const char* text, CBigInteger& value) {
    const std::size_t length = text != nullptr ? std::strlen(text) : 0;
    if (length <= 2 || text[0] != '0' || text[1] != 'x') {
        throw_malformed();
    }
    if (length % 2 == 1 && text[2] == '0') {
        const std::string digits = std::string("0") + (text + 2);
        value.readFromHexString(digits.c_str());
        return;
    }
    value.readFromHexString(text + 2);
}

}  // namespace ASN1
}  // namespace Tarsis
