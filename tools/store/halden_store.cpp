// halden-store: manages maren's certificate stores and configuration
// registry from the command line.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include <maren/maren.h>

#include "tools/common/input_files.h"
#include "tools/store/registry_commands.h"
#include "tools/store/show_command.h"
#include "tools/store/status.h"
#include "tools/store/store_commands.h"

namespace store_tool {
namespace {

const char kUsageText[] =
    "usage:\n"
    "  halden-store [--home DIR] [--machine] list STORE\n"
    "  halden-store [--home DIR] [--machine] add STORE FILE...\n"
    "  halden-store [--home DIR] [--machine] remove STORE THUMBPRINT\n"
    "  halden-store show FILE\n"
    "  halden-store [--home DIR] registry get KEY\n"
    "  halden-store [--home DIR] registry set KEY VALUE\n"
    "  halden-store --help\n";

const char kHelpText[] =
    "\n"
    "Manages maren's certificate stores and configuration registry.\n"
    "\n"
    "  list      one line per certificate or CRL of the store: kind, SHA-1\n"
    "            thumbprint, subject (of a certificate) or issuer (of a CRL)\n"
    "  add       adds the certificates and CRLs of PEM, DER or PKCS#7 files\n"
    "            (a PEM file may hold several); objects already there are kept\n"
    "  remove    removes what has the SHA-1 thumbprint (40 hexadecimal digits,\n"
    "            blanks and colons allowed)\n"
    "  show      prints certificates and CRLs of a file as maren decodes them\n"
    "  registry  reads or writes a value, KEY as in \\config\\Parameters\\Name;\n"
    "            a VALUE that reads as a number (decimal, 0x hexadecimal) is\n"
    "            stored as a number, anything else (or \"...\") as a string\n"
    "\n"
    "  --home DIR  the platform home (stands for MAREN_HOME)\n"
    "  --machine   the local machine's stores instead of the current user's\n"
    "\n"
    "STORE is a system store name such as Root or CA.\n"
    "Exit status: 0 success, 1 something asked for is not there or cannot be\n"
    "done, 64 a bad command line or an unreadable or unparsable file.\n";

struct CommandLine {
    std::string home;
    bool machine = false;
    bool help = false;
    std::string command;
    std::vector<std::string> operands;
};

[[noreturn]] void usage_error(const std::string& message) { throw CommandError(kUsage, message); }

CommandLine parse(int argc, char** argv) {
    CommandLine line;
    int i = 1;
    for (; i < argc && line.command.empty(); ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            line.help = true;
        } else if (arg == "--machine") {
            line.machine = true;
        } else if (arg == "--home") {
            line.home = i + 1 < argc ? argv[++i] : "";
            if (line.home.empty()) usage_error("--home needs a directory");
        } else if (arg.compare(0, 7, "--home=") == 0) {
            line.home = arg.substr(7);
            if (line.home.empty()) usage_error("--home needs a directory");
        } else if (!arg.empty() && arg[0] == '-') {
            usage_error("unknown option " + arg);
        } else {
            line.command = arg;
        }
    }
    for (; i < argc; ++i) line.operands.push_back(argv[i]);
    // "halden-store list --help" asks for help too.
    if (!line.operands.empty() && (line.operands[0] == "--help" || line.operands[0] == "-h")) line.help = true;
    if (line.help) return line;
    if (line.command.empty()) usage_error("no command");
    return line;
}

void expect_operands(const CommandLine& line, size_t least, size_t most, const char* shape) {
    if (line.operands.size() < least || line.operands.size() > most) usage_error(std::string("usage: ") + shape);
}

ExitStatus run(const CommandLine& line) {
    const std::string& command = line.command;
    const bool store_command = command == "list" || command == "add" || command == "remove";
    if (line.machine && !store_command) usage_error("--machine applies to list, add and remove only");
    const DWORD location = line.machine ? CERT_SYSTEM_STORE_LOCAL_MACHINE : CERT_SYSTEM_STORE_CURRENT_USER;

    if (command == "list") {
        expect_operands(line, 1, 1, "halden-store [--home DIR] [--machine] list STORE");
        return list_store({line.operands[0], location});
    }
    if (command == "add") {
        expect_operands(line, 2, SIZE_MAX, "halden-store [--home DIR] [--machine] add STORE FILE...");
        return add_files({line.operands[0], location}, {line.operands.begin() + 1, line.operands.end()});
    }
    if (command == "remove") {
        expect_operands(line, 2, 2, "halden-store [--home DIR] [--machine] remove STORE THUMBPRINT");
        return remove_object({line.operands[0], location}, line.operands[1]);
    }
    if (command == "show") {
        expect_operands(line, 1, 1, "halden-store show FILE");
        return show_file(line.operands[0]);
    }
    if (command == "registry") {
        if (!line.operands.empty() && line.operands[0] == "get") {
            expect_operands(line, 2, 2, "halden-store [--home DIR] registry get KEY");
            return registry_get(line.operands[1]);
        }
        if (!line.operands.empty() && line.operands[0] == "set") {
            expect_operands(line, 3, 3, "halden-store [--home DIR] registry set KEY VALUE");
            return registry_set(line.operands[1], line.operands[2]);
        }
        usage_error("registry takes get KEY or set KEY VALUE");
    }
    usage_error("unknown command " + command);
}

}  // namespace
}  // namespace store_tool

int main(int argc, char** argv) {
    using namespace store_tool;
    try {
        const CommandLine line = parse(argc, argv);
        if (line.help) {
            std::fputs(kUsageText, stdout);
            std::fputs(kHelpText, stdout);
            return kSuccess;
        }
        // maren reads its home from the environment at each use.
        if (!line.home.empty()) setenv("MAREN_HOME", line.home.c_str(), 1);
        const ExitStatus status = run(line);
        std::fflush(stdout);
        return status;
    } catch (const CommandError& error) {
        std::fflush(stdout);
        std::fprintf(stderr, "halden-store: %s\n", error.what());
        if (error.status() == kUsage) std::fputs("Try 'halden-store --help'.\n", stderr);
        return error.status();
    } catch (const halden_tools::InputError& error) {
        std::fflush(stdout);
        std::fprintf(stderr, "halden-store: %s\n", error.what());
        std::fputs("Try 'halden-store --help'.\n", stderr);
        return kUsage;
    } catch (const std::exception& error) {
        std::fflush(stdout);
        std::fprintf(stderr, "halden-store: %s\n", error.what());
        return kFailure;
    }
}
