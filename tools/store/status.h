// Exit statuses of halden-store and the error that carries one out of a
// command.
#ifndef HALDEN_TOOLS_STORE_STATUS_H
#define HALDEN_TOOLS_STORE_STATUS_H

#include <stdexcept>
#include <string>

namespace store_tool {

enum ExitStatus : int {
    kSuccess = 0,
    // Something asked for is not there, or could not be done.
    kFailure = 1,
    // A bad command line, or a file that cannot be read or parsed.
    kUsage = 64,
};

// Ends a command with a message on the standard error and a status.
class CommandError : public std::runtime_error {
public:
    CommandError(ExitStatus status, const std::string& message) : std::runtime_error(message), status_(status) {}
    ExitStatus status() const { return status_; }

private:
    ExitStatus status_;
};

}  // namespace store_tool

#endif
