// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/ShellProcess.h"

#include "velmora/system/ClassicText.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>

namespace Velmora
{

namespace
{

constexpr int s_iFirstToClose = 3;

/// Returns the number in a name of digits, -1 for any other name.
int descriptorOf(const char* in_szName)
{
    int iDescriptor = 0;
    for (; *in_szName != '\0'; ++in_szName)
    {
        if (!ClassicText::isDigit(*in_szName))
            return -1;
        iDescriptor = iDescriptor * 10 + (*in_szName - '0');
    }
    return iDescriptor;
}

void closeUnless(int in_iDescriptor, int in_iKept)
{
    if (in_iDescriptor >= s_iFirstToClose && in_iDescriptor != in_iKept)
        close(in_iDescriptor);
}

/// Closes the descriptors that the kernel lists as open. Returns false if they cannot be listed.
/// The directory is read by system calls, because `opendir` allocates memory, which belongs to the
/// parent here.
bool closeListed()
{
    // If the table of descriptors is full, this makes room for the list.
    close(s_iFirstToClose);
    const int iList = open("/proc/self/fd", O_RDONLY | O_DIRECTORY);
    if (iList == -1)
        return false;
    alignas(dirent64) std::array<char, 2048> entries;
    for (;;)
    {
        const long iLength = syscall(SYS_getdents64, iList, entries.data(), entries.size());
        if (iLength <= 0)
        {
            close(iList);
            return iLength == 0;
        }
        for (std::size_t i = 0; i < static_cast<std::size_t>(iLength);)
        {
            const auto* const pEntry = reinterpret_cast<const dirent64*>(&entries[i]);
            closeUnless(descriptorOf(pEntry->d_name), iList);
            i += pEntry->d_reclen;
        }
    }
}

void closeAllButStandard()
{
    if (close_range(s_iFirstToClose, ~0U, 0) == 0 || closeListed())
        return;
    // Takes minutes if the limit is very high or unlimited.
    for (int i = getdtablesize(); i >= s_iFirstToClose; --i)
        close(i);
}

/// Restores the default handling of caught signals earlier than `exec` would: no handler of the
/// program may run in the child, because it shares the parent's memory. An ignored SIGCHLD is also
/// reset.
void dropHandlers()
{
    struct sigaction action = {};
    for (int i = 1; i < NSIG; ++i)
    {
        // The C library reserves two signals for itself and rejects them.
        if (sigaction(i, nullptr, &action) != 0)
            continue;
        if (action.sa_handler == SIG_DFL || (action.sa_handler == SIG_IGN && i != SIGCHLD))
            continue;
        action.sa_handler = SIG_DFL;
        action.sa_flags = 0;
        sigaction(i, &action, nullptr);
    }
}

[[noreturn]] void becomeShell(const char* in_szCommand, const sigset_t& in_signalMask)
{
    dropHandlers();
    pthread_sigmask(SIG_SETMASK, &in_signalMask, nullptr);
    closeAllButStandard();
    execl("/bin/sh", "/bin/sh", "-c", in_szCommand, nullptr);
    _exit(1);
}

} // namespace

// Not inlined: until the child has its own memory, it runs on the stack of this function.
[[gnu::noinline]] pid_t startShell(const char* in_szCommand)
{
    sigset_t all;
    sigset_t former;
    // No handler may run in the child before `dropHandlers`.
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &former);
    // The child only makes system calls until the shell replaces it, as `vfork` requires.
    // `posix_spawn` is not used, because its result does not distinguish a child that was not
    // created from a shell that was not found.
    const pid_t pid = vfork(); // NOLINT(clang-analyzer-security.insecureAPI.vfork)
    if (pid == 0)
        becomeShell(in_szCommand, former); // NOLINT(clang-analyzer-unix.Vfork)
    const int iError = errno;
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
    errno = iError;
    return pid;
}

} // namespace Velmora
