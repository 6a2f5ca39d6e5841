// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/BackgroundProcess.h"

#include "tests/support/ForkedChild.h"
#include "tests/support/HelperProcess.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

namespace Velmora::Test
{

BackgroundProcess::BackgroundProcess(
    std::vector<std::string> in_command, const std::string& in_strOutputFile,
    const std::vector<std::pair<std::string, std::string>>& in_environment)
{
    std::vector<std::string> environment = environmentOfHelper(in_environment);
    const std::vector<char*> argv = pointersTo(in_command);
    const std::vector<char*> envp = pointersTo(environment);
    const int iOutput =
        open(in_strOutputFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    m_pid = fork();
    if (m_pid < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (m_pid == 0)
    {
        // The program must not outlive a test that crashes.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(iOutput, STDOUT_FILENO);
        dup2(iOutput, STDERR_FILENO);
        execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    close(iOutput);
}

BackgroundProcess::~BackgroundProcess()
{
    if (isRunning())
    {
        signal(SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
}

bool BackgroundProcess::isRunning()
{
    if (m_bRunning && waitpid(m_pid, &m_iStatus, WNOHANG) == m_pid)
        m_bRunning = false;
    return m_bRunning;
}

void BackgroundProcess::signal(int in_iSignal) const
{
    if (m_bRunning)
        kill(m_pid, in_iSignal);
}

int BackgroundProcess::waitForEnd()
{
    EXPECT_TRUE(waitUntil([this] { return !isRunning(); })) << "the process does not end";
    return exitCodeOfStatus(m_iStatus);
}

} // namespace Velmora::Test
