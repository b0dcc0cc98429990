// Pieces shared by the sections of halden-demo.
#pragma once

#include <string>
#include <vector>

namespace demo {

void heading(const char* title);

// The PEM blocks of a file, each with its header and footer lines.
std::vector<std::string> read_pem_blocks(const std::string& path);

// Decodes the CA bundle's certificates and, when given, one CRL file (DER).
void show_decoder(const std::vector<std::string>& pems, const char* crl_path);

}  // namespace demo
