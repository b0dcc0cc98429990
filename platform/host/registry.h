/* The configuration registry's file, as maren's other parts see it. */
#ifndef MAREN_PLATFORM_HOST_REGISTRY_H
#define MAREN_PLATFORM_HOST_REGISTRY_H

#include <cstdint>
#include <string>

namespace maren::detail {

/* $MAREN_REGISTRY if set, else <home>/registry.conf; empty without a home. */
std::string registry_file_path();

/* Grows each time a lookup finds the registry file changed (another path,
 * modification time, size or file, or it appeared or went away), so that
 * whoever derived settings from it knows to derive them again. */
uint64_t registry_generation();

}  // namespace maren::detail

#endif
