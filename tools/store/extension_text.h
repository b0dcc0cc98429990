// Decoded forms of the common certificate, CRL and CRL entry extensions.
#ifndef HALDEN_TOOLS_STORE_EXTENSION_TEXT_H
#define HALDEN_TOOLS_STORE_EXTENSION_TEXT_H

#include <string>
#include <vector>

#include <maren/maren.h>

namespace store_tool {

// Lines describing the extension's value: a decoded form for the common
// extensions, the bytes in hexadecimal for the rest.
std::vector<std::string> extension_lines(const CERT_EXTENSION& extension);

// "keyCompromise (1)", from the reason code extension of a CRL entry;
// empty when the entry has none.
std::string entry_reason(const CRL_ENTRY& entry);

}  // namespace store_tool

#endif
