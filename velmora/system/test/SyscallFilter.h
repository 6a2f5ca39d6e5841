// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <thread>
#include <vector>

namespace Velmora::Test
{

inline constexpr const char* s_szNoFilter = "the kernel does not filter calls";

/// A system call that is to fail.
struct FailingCall
{
    long lNumber;
    int iError;
    /// Only if this argument has one of these bits, or is this value; -1 for any call.
    int iArgument = -1;
    std::uint32_t uiBits = 0;
    std::uint32_t uiValue = 0;
};

/// Makes system calls fail on the calling thread, and in the processes that it starts, until they
/// end. Returns false if the kernel does not support that.
inline bool makeCallsFail(std::initializer_list<FailingCall> in_calls)
{
    std::vector<sock_filter> filter;
    for (const FailingCall& call : in_calls)
    {
        const auto add = [&filter](int in_iCode, std::uint32_t in_uiOperand, int in_iElse = 0)
        {
            filter.push_back({static_cast<std::uint16_t>(in_iCode), 0,
                              static_cast<std::uint8_t>(in_iElse), in_uiOperand});
        };
        const int iLoad = BPF_LD | BPF_W | BPF_ABS;
        const bool bWithArgument = call.iArgument >= 0;
        add(iLoad, offsetof(seccomp_data, nr));
        add(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call.lNumber),
            bWithArgument ? 3 : 1);
        if (bWithArgument)
        {
            add(iLoad, static_cast<std::uint32_t>(offsetof(seccomp_data, args)) +
                           8 * static_cast<std::uint32_t>(call.iArgument));
            if (call.uiBits != 0)
                add(BPF_JMP | BPF_JSET | BPF_K, call.uiBits, 1);
            else
                add(BPF_JMP | BPF_JEQ | BPF_K, call.uiValue, 1);
        }
        add(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(call.iError));
    }
    filter.push_back({BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW});
    sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

/// Runs a function on a separate thread on which the given system calls fail. Returns false,
/// without a call of the function, if the kernel does not support that.
inline bool doWhileCallsFail(std::initializer_list<FailingCall> in_calls,
                             const std::function<void()>& in_work)
{
    bool bFiltered = false;
    std::thread(
        [&]
        {
            bFiltered = makeCallsFail(in_calls);
            if (bFiltered)
                in_work();
        })
        .join();
    return bFiltered;
}

} // namespace Velmora::Test
