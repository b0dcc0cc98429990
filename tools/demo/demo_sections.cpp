#include "tools/demo/demo_sections.h"

#include <cstdio>
#include <fstream>
#include <sstream>

namespace demo {

void heading(const char* title) { std::printf("\n== %s ==\n", title); }

std::vector<std::string> read_pem_blocks(const std::string& path) {
    std::ifstream in(path);
    std::vector<std::string> blocks;
    std::string line, block;
    bool inside = false;
    while (std::getline(in, line)) {
        if (line.rfind("-----BEGIN ", 0) == 0) {
            inside = true;
            block.clear();
        }
        if (inside) block += line + "\n";
        if (inside && line.rfind("-----END ", 0) == 0) {
            inside = false;
            blocks.push_back(block);
        }
    }
    return blocks;
}

}  // namespace demo
