// halden-verify: asks the revocation provider about certificates, calling
// its export as the platform does, and shows the answer.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "tools/common/input_files.h"
#include "tools/common/text.h"
#include "tools/verify/inputs.h"
#include "tools/verify/options.h"
#include "tools/verify/provider_library.h"
#include "tools/verify/report.h"
#include "tools/verify/request.h"
#include "tools/verify/status.h"
#include "tools/verify/verdict.h"

namespace verify_tool {
namespace {

ExitStatus exit_status(Result result) {
    switch (result) {
    case Result::good:
        return kGood;
    case Result::revoked:
        return kRevoked;
    case Result::unknown:
        return kNotEstablished;
    case Result::invalid_argument:
        // The tool built the arguments; a refusal is its own failure.
        return kInternal;
    }
    return kInternal;
}

ExitStatus run(const Options& options) {
    // maren reads its home at each call, but the provider reads the trace
    // switch in its static initialisers: both are set before either runs.
    if (!options.home.empty()) setenv("MAREN_HOME", options.home.c_str(), 1);
    if (options.trace) setenv("TS_PRINT_CHAIN_DETAIL", "1", 1);

    const Inputs inputs = read_inputs(options);
    const ProviderLibrary provider(options.provider);
    Request request(inputs, options);
    const Verdict verdict = verify(provider, request);

    if (options.json) {
        std::fputs(json_report(verdict).c_str(), stdout);
    } else {
        std::vector<std::string> subjects;
        for (DWORD i = 0; i < request.count(); ++i)
            subjects.push_back(halden_tools::name_text(request.cert(i)->pCertInfo->Subject));
        std::fputs(human_report(verdict, subjects).c_str(), stdout);
    }
    return exit_status(verdict.result);
}

void complain(const char* message, bool usage) {
    std::fflush(stdout);
    std::fprintf(stderr, "halden-verify: %s\n", message);
    if (usage) std::fputs("Try 'halden-verify --help'.\n", stderr);
}

}  // namespace
}  // namespace verify_tool

int main(int argc, char** argv) {
    using namespace verify_tool;
    try {
        const Options options = parse_options(argc, argv);
        if (options.help) {
            std::fputs(kHelpText, stdout);
            return kGood;
        }
        const ExitStatus status = run(options);
        std::fflush(stdout);
        return status;
    } catch (const ToolError& error) {
        complain(error.what(), error.status() == kUsage);
        return error.status();
    } catch (const halden_tools::InputError& error) {
        complain(error.what(), true);
        return kUsage;
    } catch (const std::exception& error) {
        complain(error.what(), false);
        return kInternal;
    }
}
