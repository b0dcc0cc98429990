// Exit statuses of halden-verify and the error that carries one out.
#ifndef HALDEN_TOOLS_VERIFY_STATUS_H
#define HALDEN_TOOLS_VERIFY_STATUS_H

#include <stdexcept>
#include <string>

namespace verify_tool {

enum ExitStatus : int {
    kGood = 0,
    kRevoked = 1,
    kNotEstablished = 2,
    // A bad command line, or a file that cannot be read or parsed.
    kUsage = 64,
    // The tool could not ask: no provider, a platform call that failed, or a
    // provider that refused the arguments the tool built.
    kInternal = 70,
};

// Ends the run with a message on the standard error and a status.
class ToolError : public std::runtime_error {
public:
    ToolError(ExitStatus status, const std::string& message) : std::runtime_error(message), status_(status) {}
    ExitStatus status() const { return status_; }

private:
    ExitStatus status_;
};

}  // namespace verify_tool

#endif
