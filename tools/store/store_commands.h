// halden-store list, add and remove: the certificates and CRLs of one of
// maren's system stores.
#ifndef HALDEN_TOOLS_STORE_STORE_COMMANDS_H
#define HALDEN_TOOLS_STORE_STORE_COMMANDS_H

#include <string>
#include <vector>

#include <maren/types.h>

#include "tools/store/status.h"

namespace store_tool {

struct StoreName {
    std::string name;
    // CERT_SYSTEM_STORE_CURRENT_USER or CERT_SYSTEM_STORE_LOCAL_MACHINE.
    DWORD location;
};

ExitStatus list_store(const StoreName& store);
ExitStatus add_files(const StoreName& store, const std::vector<std::string>& files);
ExitStatus remove_object(const StoreName& store, const std::string& thumbprint);

}  // namespace store_tool

#endif
