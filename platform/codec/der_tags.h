// The DER tags maren's own reader and writer deal in.
#pragma once

#include <cstdint>

namespace maren::codec {

enum : std::uint8_t {
    kTagBoolean = 0x01,
    kTagInteger = 0x02,
    kTagBitString = 0x03,
    kTagOctetString = 0x04,
    kTagNull = 0x05,
    kTagOid = 0x06,
    kTagEnumerated = 0x0A,
    kTagUtcTime = 0x17,
    kTagGeneralizedTime = 0x18,
    kTagSequence = 0x30,
    kTagContext0 = 0xA0,
    kTagContext1 = 0xA1,
    kTagContext2 = 0xA2,
    kTagContext3 = 0xA3,
};

}  // namespace maren::codec
