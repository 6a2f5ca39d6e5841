// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <gtest/gtest.h>

#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <vector>

namespace Velmora::Test
{

/// Returns the system calls that a function makes. Empty if the process may not be traced.
inline std::vector<long> systemCallsOf(const std::function<void()>& in_work)
{
    constexpr long lMark = SYS_getppid;
    const pid_t pid = fork();
    if (pid == 0)
    {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
            _exit(1);
        raise(SIGSTOP);
        syscall(lMark);
        in_work();
        syscall(lMark);
        _exit(0);
    }
    std::vector<long> calls;
    int iNumMarks = 0;
    int iStatus = 0;
    for (bool bFirst = true; waitpid(pid, &iStatus, 0) == pid && WIFSTOPPED(iStatus);
         bFirst = false)
    {
        if (bFirst)
            ptrace(PTRACE_SETOPTIONS, pid, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
        __ptrace_syscall_info info = {};
        const bool bAtCall = WSTOPSIG(iStatus) == (SIGTRAP | 0x80) &&
                             ptrace(PTRACE_GET_SYSCALL_INFO, pid, sizeof info, &info) > 0 &&
                             info.op == PTRACE_SYSCALL_INFO_ENTRY;
        const long lCall = bAtCall ? static_cast<long>(info.entry.nr) : -1;
        iNumMarks += lCall == lMark ? 1 : 0;
        if (bAtCall && lCall != lMark && iNumMarks == 1)
            calls.push_back(lCall);
        ptrace(PTRACE_SYSCALL, pid, nullptr, nullptr);
    }
    EXPECT_TRUE(iNumMarks == 2 || iNumMarks == 0);
    return calls;
}

} // namespace Velmora::Test
