#include "platform/codec/der_writer.h"

#include <cstdio>
#include <utility>

namespace maren::codec {
namespace {

// FILETIME ticks (100 ns) per second, and seconds from 1601-01-01 to
// 1970-01-01.
constexpr std::uint64_t kTicksPerSecond = 10000000;
constexpr std::int64_t kEpochDelta = 11644473600;

struct Civil {
    std::int64_t year;
    unsigned month, day, hour, minute, second;
};

// Days since 1970-01-01 to a proleptic Gregorian date (H. Hinnant's
// algorithm), then the time of day.
Civil civil_from_seconds(std::int64_t unix_seconds) {
    std::int64_t days = unix_seconds / 86400;
    std::int64_t rest = unix_seconds % 86400;
    if (rest < 0) {
        rest += 86400;
        --days;
    }
    days += 719468;
    const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const std::int64_t doe = days - era * 146097;
    const std::int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const std::int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const std::int64_t mp = (5 * doy + 2) / 153;
    const unsigned day = static_cast<unsigned>(doy - (153 * mp + 2) / 5 + 1);
    const unsigned month = static_cast<unsigned>(mp < 10 ? mp + 3 : mp - 9);
    const std::int64_t year = yoe + era * 400 + (month <= 2 ? 1 : 0);
    return Civil{year,
                 month,
                 day,
                 static_cast<unsigned>(rest / 3600),
                 static_cast<unsigned>(rest / 60 % 60),
                 static_cast<unsigned>(rest % 60)};
}

bool parse_arc(const char*& p, std::uint64_t* arc) {
    if (*p < '0' || *p > '9') return false;
    std::uint64_t value = 0;
    while (*p >= '0' && *p <= '9') {
        const unsigned digit = static_cast<unsigned>(*p - '0');
        if (value > (UINT64_MAX - digit) / 10) return false;
        value = value * 10 + digit;
        ++p;
    }
    *arc = value;
    return true;
}

void base128(Bytes& out, std::uint64_t value) {
    std::uint8_t groups[10];
    int n = 0;
    do {
        groups[n++] = static_cast<std::uint8_t>(value & 0x7F);
        value >>= 7;
    } while (value != 0);
    while (n > 1) out.push_back(static_cast<std::uint8_t>(groups[--n] | 0x80));
    out.push_back(groups[0]);
}

// Definite length, short or long form; returns the header's size.
std::size_t length_header(std::size_t size, std::uint8_t* header) {
    if (size < 0x80) {
        header[0] = static_cast<std::uint8_t>(size);
        return 1;
    }
    std::size_t bytes = 0;
    for (std::size_t s = size; s != 0; s >>= 8) ++bytes;
    header[0] = static_cast<std::uint8_t>(0x80 | bytes);
    for (std::size_t i = 0; i < bytes; ++i) header[1 + i] = static_cast<std::uint8_t>(size >> (8 * (bytes - 1 - i)));
    return bytes + 1;
}

}  // namespace

Bytes oid_content(const char* dotted) {
    Bytes out;
    if (dotted == nullptr) return out;
    const char* p = dotted;
    std::uint64_t first = 0, second = 0;
    if (!parse_arc(p, &first) || *p++ != '.' || !parse_arc(p, &second)) return out;
    if (first > 2 || (first < 2 && second > 39) || second > UINT64_MAX - 80) return out;
    base128(out, first * 40 + second);
    while (*p == '.') {
        ++p;
        std::uint64_t arc = 0;
        if (!parse_arc(p, &arc)) return Bytes();
        base128(out, arc);
    }
    if (*p != '\0') return Bytes();
    return out;
}

std::size_t DerWriter::open(std::uint8_t tag) {
    out_.push_back(tag);
    return out_.size();
}

void DerWriter::close(std::size_t mark) {
    std::uint8_t header[9];
    const std::size_t n = length_header(out_.size() - mark, header);
    out_.insert(out_.begin() + static_cast<std::ptrdiff_t>(mark), header, header + n);
}

void DerWriter::length(std::size_t size) {
    std::uint8_t header[9];
    const std::size_t n = length_header(size, header);
    out_.insert(out_.end(), header, header + n);
}

void DerWriter::tlv(std::uint8_t tag, const std::uint8_t* content, std::size_t size) {
    out_.push_back(tag);
    length(size);
    if (size != 0) out_.insert(out_.end(), content, content + size);
}

void DerWriter::raw(const std::uint8_t* data, std::size_t size) {
    if (size != 0) out_.insert(out_.end(), data, data + size);
}

void DerWriter::boolean(bool value) {
    const std::uint8_t content = value ? 0xFF : 0x00;
    tlv(kTagBoolean, &content, 1);
}

void DerWriter::null() { tlv(kTagNull, nullptr, 0); }

void DerWriter::small_integer(std::uint8_t tag, std::int32_t value) {
    std::uint8_t be[4];
    const auto u = static_cast<std::uint32_t>(value);
    for (int i = 0; i < 4; ++i) be[i] = static_cast<std::uint8_t>(u >> (24 - 8 * i));
    std::size_t skip = 0;
    // A leading byte is redundant when it only repeats the sign of the next.
    while (skip < 3 && ((be[skip] == 0x00 && (be[skip + 1] & 0x80) == 0) ||
                        (be[skip] == 0xFF && (be[skip + 1] & 0x80) != 0)))
        ++skip;
    tlv(tag, be + skip, 4 - skip);
}

void DerWriter::signed_integer(const std::uint8_t* big_endian, std::size_t size) {
    if (size == 0) {
        const std::uint8_t zero = 0;
        tlv(kTagInteger, &zero, 1);
        return;
    }
    std::size_t skip = 0;
    while (skip + 1 < size && ((big_endian[skip] == 0x00 && (big_endian[skip + 1] & 0x80) == 0) ||
                               (big_endian[skip] == 0xFF && (big_endian[skip + 1] & 0x80) != 0)))
        ++skip;
    tlv(kTagInteger, big_endian + skip, size - skip);
}

void DerWriter::unsigned_integer(const std::uint8_t* big_endian, std::size_t size) {
    std::size_t skip = 0;
    while (skip < size && big_endian[skip] == 0) ++skip;
    const std::size_t mark = open(kTagInteger);
    if (skip == size || (big_endian[skip] & 0x80) != 0) out_.push_back(0);
    raw(big_endian + skip, size - skip);
    close(mark);
}

void DerWriter::octet_string(const std::uint8_t* data, std::size_t size) { tlv(kTagOctetString, data, size); }

void DerWriter::bit_string(const std::uint8_t* data, std::size_t size, unsigned unused_bits) {
    const std::size_t mark = open(kTagBitString);
    out_.push_back(static_cast<std::uint8_t>(size == 0 ? 0 : unused_bits));
    raw(data, size);
    close(mark);
}

bool DerWriter::oid(const char* dotted) {
    const Bytes content = oid_content(dotted);
    if (content.empty()) return false;
    tlv(kTagOid, content.data(), content.size());
    return true;
}

bool DerWriter::time(const FILETIME& time) {
    const std::uint64_t ticks = (std::uint64_t(time.dwHighDateTime) << 32) | time.dwLowDateTime;
    const auto seconds = static_cast<std::int64_t>(ticks / kTicksPerSecond) - kEpochDelta;
    const Civil c = civil_from_seconds(seconds);
    if (c.year > 9999) return false;
    char text[20];
    int n = 0;
    if (c.year >= 1950 && c.year <= 2049) {
        n = std::snprintf(text, sizeof text, "%02u%02u%02u%02u%02u%02uZ", static_cast<unsigned>(c.year % 100),
                          c.month, c.day, c.hour, c.minute, c.second);
        tlv(kTagUtcTime, reinterpret_cast<const std::uint8_t*>(text), static_cast<std::size_t>(n));
    } else {
        n = std::snprintf(text, sizeof text, "%04u%02u%02u%02u%02u%02uZ", static_cast<unsigned>(c.year), c.month,
                          c.day, c.hour, c.minute, c.second);
        tlv(kTagGeneralizedTime, reinterpret_cast<const std::uint8_t*>(text), static_cast<std::size_t>(n));
    }
    return true;
}

}  // namespace maren::codec
