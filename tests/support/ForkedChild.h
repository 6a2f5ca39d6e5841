// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>
#include <type_traits>

namespace Velmora::Test
{

/// The time after which SIGALRM ends a child that hangs.
inline constexpr std::chrono::seconds s_limitOfChild(20);

/// Forks and returns the id of the child, or 0 in the child.
///
/// Failure: throws `std::system_error` if there can be no child.
inline pid_t forkChild(std::chrono::seconds in_limit = s_limitOfChild)
{
    const pid_t pid = fork();
    if (pid < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (pid == 0)
        alarm(static_cast<unsigned int>(in_limit.count()));
    return pid;
}

/// Returns the exit code in a status of `waitpid`, or the negated number of the signal that ended
/// the process.
inline int exitCodeOfStatus(int in_iStatus)
{
    return WIFEXITED(in_iStatus) ? WEXITSTATUS(in_iStatus) : -WTERMSIG(in_iStatus);
}

/// Waits for a child to end and returns its exit code, or the negated number of the signal that
/// ended it.
///
/// Failure: throws `std::system_error` if the process is no child, or if a handler of a signal
/// interrupts the wait.
inline int waitForChild(pid_t in_pid)
{
    int iStatus = 0;
    if (waitpid(in_pid, &iStatus, 0) != in_pid)
        throw std::system_error(errno, std::generic_category(), "waitpid");
    return exitCodeOfStatus(iStatus);
}

/// Runs a function in a forked child and returns the exit code of the child, or the negated number
/// of the signal that ended it. The child ends through `_exit` with the result of the function, or
/// with 0 if the function returns nothing. The function may itself end the child, through `exit`.
/// An exception of the function ends the child with SIGABRT.
template <class Function>
int exitCodeOfChild(Function in_function, std::chrono::seconds in_limit = s_limitOfChild)
{
    using Result = std::invoke_result_t<Function>;
    static_assert(std::is_void_v<Result> || std::is_same_v<Result, int>);
    const auto live = [&in_function]() noexcept
    {
        if constexpr (std::is_void_v<Result>)
            return in_function(), 0;
        else
            return in_function();
    };
    const pid_t pid = forkChild(in_limit);
    if (pid == 0)
        _exit(live());
    return waitForChild(pid);
}

} // namespace Velmora::Test
