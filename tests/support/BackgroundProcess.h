// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "tests/support/WaitUntil.h"

#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>

namespace Velmora::Test
{

/// A program that runs concurrently with the test, such as a server. The destructor kills it. It is
/// also killed when the test ends.
class BackgroundProcess
{
  public:
    /// Starts a program. It gets this process's environment without the variables that begin with
    /// "VELMORA", and `in_environment`. Its standard output and standard error are appended to a
    /// file.
    BackgroundProcess(std::vector<std::string> in_command, const std::string& in_strOutputFile,
                      const std::vector<std::pair<std::string, std::string>>& in_environment = {});
    ~BackgroundProcess();
    BackgroundProcess(const BackgroundProcess&) = delete;
    BackgroundProcess& operator=(const BackgroundProcess&) = delete;

    [[nodiscard]] pid_t pid() const { return m_pid; }
    [[nodiscard]] bool isRunning();
    void signal(int in_iSignal) const;

    /// Waits for the process to end and returns its exit code, or the negated number of the signal
    /// that ended it. Fails the test if the process does not end within two minutes.
    int waitForEnd();

  private:
    pid_t m_pid = -1;
    bool m_bRunning = true;
    int m_iStatus = 0;
};

} // namespace Velmora::Test
