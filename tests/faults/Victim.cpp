// SPDX-License-Identifier: BSD-2-Clause

// The program that the tests of the harness run. It makes one system call or allocation that may
// fail, and reacts as its argument specifies.
//
// faults-victim <what> [its directory]

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <string_view>

namespace
{

bool opens()
{
    const int iFile = open("victim", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (iFile >= 0)
        close(iFile);
    return iFile >= 0;
}

void writeLine(bool in_bReport)
{
    constexpr std::string_view line = "a line\n";
    if (write(STDOUT_FILENO, line.data(), line.size()) < 0 && in_bReport)
        std::perror("cannot write");
}

[[noreturn]] void hang()
{
    while (true)
        pause();
}

[[noreturn]] void spin()
{
    for (volatile unsigned int uiTurn = 0;;)
        uiTurn = uiTurn + 1;
}

/// A function of its own, so that the optimiser does not remove the allocation.
char* allocate() { return static_cast<char*>(operator new(1000)); }

void allocateWithoutThrowing() noexcept { operator delete(allocate()); }

int crashInChild()
{
    const pid_t pid = fork();
    if (pid == 0)
    {
        if (!opens())
            std::raise(SIGSEGV);
        _exit(0);
    }
    // The exit status of the child is ignored on purpose.
    waitpid(pid, nullptr, 0);
    return 0;
}

int act(std::string_view in_what)
{
    if (in_what == "crashes" && !opens())
        std::raise(SIGSEGV);
    if (in_what == "aborts" && !opens())
        std::abort();
    if (in_what == "crashes in a child")
        return crashInChild();
    if (in_what == "hangs" && !opens())
        hang();
    if (in_what == "spins" && !opens())
        spin();
    if (in_what == "tries again" && !opens() && !opens())
        return 1;
    if (in_what == "returns 1" && !opens())
        return 1;
    if (in_what == "allocates")
        operator delete(allocate());
    if (in_what == "allocates without throwing")
        allocateWithoutThrowing();
    if (in_what == "allocates with nothrow")
        operator delete(operator new(1000, std::nothrow));
    writeLine(in_what == "reports");
    if (in_what == "reports a loss" && !opens())
        std::printf("LOST a file\n");
    return 0;
}

} // namespace

int main(int argc, char** argv) { return argc < 2 ? 2 : act(argv[1]); }
