// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/HelperProcess.h"

#include "tests/support/WaitUntil.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <system_error>

namespace Velmora::Test
{

namespace
{

using Clock = std::chrono::steady_clock;

struct Pipe
{
    Pipe()
    {
        if (pipe2(ends.data(), O_CLOEXEC) != 0)
            throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    ~Pipe()
    {
        closeEnd(0);
        closeEnd(1);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    void closeEnd(std::size_t in_uiEnd)
    {
        if (ends[in_uiEnd] >= 0)
            close(ends[in_uiEnd]);
        ends[in_uiEnd] = -1;
    }

    std::array<int, 2> ends{-1, -1};
};

/// Reads the available bytes. Closes the reading end of the pipe when all writers have closed it.
void readInto(Pipe& in_pipe, std::string& out_strText)
{
    std::array<char, 65536> buffer;
    const ssize_t iRead = read(in_pipe.ends[0], buffer.data(), buffer.size());
    if (iRead > 0)
        out_strText.append(buffer.data(), static_cast<std::size_t>(iRead));
    else if (iRead == 0 || errno != EINTR)
        in_pipe.closeEnd(0);
}

int millisecondsUntil(Clock::time_point in_deadline)
{
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(in_deadline - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

/// Reads both pipes to their ends. Returns false at the deadline.
bool readUntilClosed(Pipe& in_output, Pipe& in_errors, HelperResult& out_result,
                     Clock::time_point in_deadline)
{
    while (in_output.ends[0] >= 0 || in_errors.ends[0] >= 0)
    {
        std::array<pollfd, 2> polled{pollfd{in_output.ends[0], POLLIN, 0},
                                     pollfd{in_errors.ends[0], POLLIN, 0}};
        const int iReady = poll(polled.data(), polled.size(), millisecondsUntil(in_deadline));
        if (iReady == 0)
            return false;
        if (polled[0].revents != 0)
            readInto(in_output, out_result.strOutput);
        if (polled[1].revents != 0)
            readInto(in_errors, out_result.strErrors);
    }
    return true;
}

} // namespace

std::vector<std::string>
environmentOfHelper(const std::vector<std::pair<std::string, std::string>>& in_environment)
{
    std::vector<std::string> result;
    for (char** ppVariable = environ; *ppVariable != nullptr; ++ppVariable)
        if (std::strncmp(*ppVariable, "VELMORA", 7) != 0)
            result.emplace_back(*ppVariable);
    for (const auto& [strName, strValue] : in_environment)
        result.push_back(strName + "=" + strValue);
    return result;
}

std::vector<char*> pointersTo(std::vector<std::string>& in_texts)
{
    std::vector<char*> result;
    for (std::string& text : in_texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

HelperResult runHelper(const std::string& in_strProgram,
                       const std::vector<std::string>& in_arguments,
                       const std::vector<std::pair<std::string, std::string>>& in_environment,
                       std::chrono::seconds in_limit)
{
    std::vector<std::string> arguments{in_strProgram};
    arguments.insert(arguments.end(), in_arguments.begin(), in_arguments.end());
    std::vector<std::string> environment = environmentOfHelper(in_environment);
    const std::vector<char*> argv = pointersTo(arguments);
    const std::vector<char*> envp = pointersTo(environment);

    Pipe output;
    Pipe errors;
    const pid_t pid = fork();
    if (pid < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (pid == 0)
    {
        setpgid(0, 0);
        dup2(output.ends[1], STDOUT_FILENO);
        dup2(errors.ends[1], STDERR_FILENO);
        execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    // Parent and child both set the group, so that it exists whichever of them runs first.
    setpgid(pid, pid);
    output.closeEnd(1);
    errors.closeEnd(1);

    HelperResult result;
    int iStatus = 0;
    const Clock::time_point deadline = Clock::now() + in_limit;
    result.bTimedOut =
        !readUntilClosed(output, errors, result, deadline) ||
        !waitUntil([&] { return waitpid(pid, &iStatus, WNOHANG) != 0; }, deadline - Clock::now());
    if (result.bTimedOut)
    {
        kill(-pid, SIGKILL);
        waitpid(pid, &iStatus, 0);
    }
    if (WIFEXITED(iStatus))
        result.iExitCode = WEXITSTATUS(iStatus);
    else if (WIFSIGNALED(iStatus))
        result.iSignal = WTERMSIG(iStatus);
    return result;
}

} // namespace Velmora::Test
