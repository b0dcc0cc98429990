// halden-store show FILE: certificates and CRLs as maren decodes them.
#ifndef HALDEN_TOOLS_STORE_SHOW_COMMAND_H
#define HALDEN_TOOLS_STORE_SHOW_COMMAND_H

#include <string>

#include "tools/store/status.h"

namespace store_tool {

ExitStatus show_file(const std::string& path);

}  // namespace store_tool

#endif
