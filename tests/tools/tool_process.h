// A command-line tool run as a child process, as a user runs it: its exit
// status and what it wrote, with extra environment variables on top of the
// test's own.
#ifndef HALDEN_TESTS_TOOLS_TOOL_PROCESS_H
#define HALDEN_TESTS_TOOLS_TOOL_PROCESS_H

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <string>
#include <vector>

#include "tests/platform/host_test_support.h"

extern char** environ;

namespace tool_test {

struct ToolRun {
    int status = -1;  // -1 when it did not exit normally
    std::string out;
    std::string err;
};

// scratch: a directory for the two output files.
inline ToolRun run_tool(std::vector<std::string> args, const std::vector<std::string>& env,
                        const std::string& scratch) {
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(&a[0]);
    argv.push_back(nullptr);
    // The extra variables come first, where getenv finds them first.
    std::vector<std::string> env_strings(env);
    for (char** e = environ; *e != nullptr; ++e) env_strings.push_back(*e);
    std::vector<char*> envp;
    for (std::string& e : env_strings) envp.push_back(&e[0]);
    envp.push_back(nullptr);

    const std::string out = scratch + "/tool.out", err = scratch + "/tool.err";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ToolRun run;
    pid_t pid = 0;
    if (posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp.data()) == 0) {
        int status = 0;
        waitpid(pid, &status, 0);
        run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    posix_spawn_file_actions_destroy(&actions);
    run.out = host_test::read_file(out);
    run.err = host_test::read_file(err);
    return run;
}

inline bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

}  // namespace tool_test

#endif
