/* The keys of name attributes in the X.500 string form ("CN", "O", ...). */
#ifndef MAREN_PLATFORM_NAMES_ATTRIBUTE_KEYS_H
#define MAREN_PLATFORM_NAMES_ATTRIBUTE_KEYS_H

namespace maren::names {

/* The key of an attribute type, or null for a type without one (shown as
 * "OID." and the dotted identifier). */
const char *attribute_key(const char *oid);

}  // namespace maren::names

#endif
