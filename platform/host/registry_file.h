/* The text form of the configuration registry and its parser.
 *
 * The file is UTF-8 text read line by line (LF or CRLF; a leading byte-order
 * mark is skipped):
 *
 *   # a comment line starts with '#' or ';' (after optional blanks)
 *   [\config\Parameters]
 *   ChainSignatureCacheSize = 50
 *   LegacyRevokedCertHandling = 0x1
 *   [\cryptography\OID\EncodingType 1\CertDllVerifyRevocation\DEFAULT]
 *   DLL = "/usr/lib/x86_64-linux-gnu/libhalden.so.2"
 *
 * - Blank lines are ignored. Comments take whole lines only.
 * - "[key path]" opens a section. Blanks inside the brackets around the path
 *   are trimmed, and leading and trailing backslashes of the path dropped.
 * - "name = value" sets a value in the open section; its path is the key
 *   path, a backslash and the name. Blanks around the name and the value are
 *   trimmed; the name may contain inner blanks but not '='.
 * - A value is either a long: an optional '-', then decimal digits or "0x"
 *   and hexadecimal digits, within the range of a 64-bit long; or a string:
 *   text between double quotes where \" stands for a quote and \\ for a
 *   backslash (no other escape), with nothing but blanks after the closing
 *   quote.
 * - Paths compare with an ASCII case fold; a later value of the same path
 *   replaces an earlier one.
 * - A malformed line (no '=', an empty name, no open section, a bad value,
 *   an unterminated string, a bad section header) is skipped with a
 *   diagnostic; a bad section header also closes the open section, so the
 *   values under it are skipped too. The rest of the file still counts. */
#ifndef MAREN_PLATFORM_HOST_REGISTRY_FILE_H
#define MAREN_PLATFORM_HOST_REGISTRY_FILE_H

#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace maren::detail {

using RegistryValue = std::variant<long, std::string>;

struct RegistryData {
    /* Keyed by the folded path without a leading backslash. */
    std::map<std::string, RegistryValue> values;
    /* One text per skipped line, "line N: why". */
    std::vector<std::string> diagnostics;
};

RegistryData parse_registry_text(std::string_view text);

/* The folded lookup key of a value path: leading backslashes dropped. */
std::string registry_key(std::string_view path);

/* A long in the registry's syntax, nothing around it. */
bool parse_registry_long(std::string_view text, long *value);

}  // namespace maren::detail

#endif
