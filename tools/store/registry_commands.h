// halden-store registry get and set: values of maren's configuration
// registry.
#ifndef HALDEN_TOOLS_STORE_REGISTRY_COMMANDS_H
#define HALDEN_TOOLS_STORE_REGISTRY_COMMANDS_H

#include <string>

#include "tools/store/status.h"

namespace store_tool {

ExitStatus registry_get(const std::string& key);

// A value that reads as a number (decimal or 0x hexadecimal, with an
// optional minus) is stored as a number; one in double quotes, or anything
// else, as a string.
ExitStatus registry_set(const std::string& key, const std::string& value);

}  // namespace store_tool

#endif
