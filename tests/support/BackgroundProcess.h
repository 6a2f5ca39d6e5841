#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>

namespace Velmora::Test
{

/// Looks again and again until something has come true, for two minutes; tells whether it has.
bool waitUntil(const std::function<bool()>& in_condition);

/// A program that runs beside the test, such as a server. It is killed at the end of this object's
/// life, and with the test.
class BackgroundProcess
{
  public:
    /// Starts a program with this process's environment without any variable that begins with
    /// "VELMORA", and `in_environment`. What it writes on standard output and standard error is
    /// added to a file.
    BackgroundProcess(std::vector<std::string> in_command, const std::string& in_strOutputFile,
                      const std::vector<std::pair<std::string, std::string>>& in_environment = {});
    ~BackgroundProcess();
    BackgroundProcess(const BackgroundProcess&) = delete;
    BackgroundProcess& operator=(const BackgroundProcess&) = delete;

    [[nodiscard]] pid_t pid() const { return m_pid; }
    [[nodiscard]] bool isRunning();
    void signal(int in_iSignal) const;

    /// Waits for its end and gives its exit code, or the signal that ended it, below 0. A failure
    /// of the test when it does not end.
    int waitForEnd();

  private:
    pid_t m_pid = -1;
    bool m_bRunning = true;
    int m_iStatus = 0;
};

} // namespace Velmora::Test
