/* DER values of the extensions the items read, built by hand so that a test
 * says exactly which bytes it means. */
#ifndef HALDEN_TESTS_NIMBOLE_DER_H
#define HALDEN_TESTS_NIMBOLE_DER_H

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <initializer_list>
#include <string>
#include <vector>

namespace der {

using Bytes = std::vector<unsigned char>;

inline Bytes tlv(unsigned char tag, const Bytes &content) {
    Bytes out{tag};
    if (content.size() >= 0x80) out.push_back(0x81);
    out.push_back(static_cast<unsigned char>(content.size()));
    out.insert(out.end(), content.begin(), content.end());
    return out;
}
inline Bytes seq(std::initializer_list<Bytes> parts) {
    Bytes body;
    for (const Bytes &p : parts) body.insert(body.end(), p.begin(), p.end());
    return tlv(0x30, body);
}
inline Bytes text(unsigned char tag, const std::string &s) { return tlv(tag, Bytes(s.begin(), s.end())); }

inline Bytes oid(const std::string &dotted) {
    std::vector<unsigned long> arcs;
    for (const char *p = dotted.c_str(); *p != '\0';) {
        char *end = nullptr;
        arcs.push_back(std::strtoul(p, &end, 10));
        p = *end == '.' ? end + 1 : end;
    }
    Bytes body{static_cast<unsigned char>(arcs[0] * 40 + arcs[1])};
    for (size_t i = 2; i < arcs.size(); ++i) {
        Bytes arc{static_cast<unsigned char>(arcs[i] & 0x7F)};
        for (unsigned long v = arcs[i] >> 7; v != 0; v >>= 7)
            arc.insert(arc.begin(), static_cast<unsigned char>(0x80 | (v & 0x7F)));
        body.insert(body.end(), arc.begin(), arc.end());
    }
    return tlv(0x06, body);
}

inline Bytes generalized(unsigned char tag, std::time_t when) {
    std::tm t{};
    gmtime_r(&when, &t);
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%04d%02d%02d%02d%02d%02dZ", t.tm_year + 1900, t.tm_mon + 1, t.tm_mday,
                  t.tm_hour, t.tm_min, t.tm_sec);
    return text(tag, buffer);
}

inline Bytes url_name(const std::string &url) { return tlv(0xA0, tlv(0xA0, text(0x86, url))); }
inline Bytes dist_points(const std::string &url) { return seq({seq({url_name(url)})}); }
inline Bytes issuing_dist_point(const std::string &url) { return seq({url_name(url)}); }
inline Bytes ca_issuers(const std::string &url) { return seq({seq({oid("1.3.6.1.5.5.7.48.2"), text(0x86, url)})}); }
inline Bytes authority_key_id(const Bytes &id) { return seq({tlv(0x80, id)}); }
inline Bytes ca_constraints() { return seq({tlv(0x01, {0xFF})}); }
inline Bytes key_period(std::time_t from, std::time_t to) {
    return seq({generalized(0x80, from), generalized(0x81, to)});
}
inline Bytes enumerated(unsigned char v) { return tlv(0x0A, {v}); }
/* A SEQUENCE that announces three bytes and holds one. */
inline const Bytes kCutShort = {0x30, 0x03, 0x01};

}  // namespace der

#endif
