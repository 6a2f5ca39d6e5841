// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "tests/support/BackgroundProcess.h"
#include "tests/support/HelperProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::Test
{

/// An installation directory of the gateway with the configuration files of the example, and the
/// gateway as a process. Its loopback address is different from that of any other test.
class GatewayProcess : public testing::Test
{
  protected:
    GatewayProcess();

    [[nodiscard]] std::string etc(const std::string& in_strName) const;

    /// Returns the options that name the sources of the example, followed by more options.
    [[nodiscard]] std::vector<std::string>
    sources(const std::vector<std::string>& in_more = {}) const;

    /// Adds a line to the configuration of the site.
    void configure(const std::string& in_strLine) const;

    /// Sets an environment variable of the gateway. Call it before the start.
    void setEnvironment(const std::string& in_strName, const std::string& in_strValue);

    /// Runs the gateway to its end, for command lines after which it ends by itself.
    HelperResult run(const std::vector<std::string>& in_arguments);

    /// Starts the gateway and does not wait.
    void begin(const std::vector<std::string>& in_arguments);

    /// Start the gateway and wait until it runs. Fail the test if it does not.
    void start(const std::vector<std::string>& in_more = {});
    void startWith(const std::vector<std::string>& in_arguments);

    /// Waits until the log has a line with this text. Fails the test if there is none.
    void waitForLine(const std::string& in_strText);

    void signal(int in_iSignal);

    /// Returns the process id of the gateway, which has been started.
    [[nodiscard]] pid_t pid() const { return m_process->pid(); }

    /// Waits for the gateway to end and returns its exit code.
    int waitForEnd();

    /// Sends SIGTERM, waits for the gateway to end and returns its exit code.
    int stop();

    [[nodiscard]] std::vector<std::string> linesOfLog() const;

    /// Returns the log without dates and threads: "LEVEL logger - text".
    [[nodiscard]] std::vector<std::string> log() const;

    /// Returns its standard output and standard error.
    [[nodiscard]] std::string output() const;

    /// Returns the lines of each call's file, by the name of the file.
    [[nodiscard]] std::map<std::string, std::vector<std::string>> callFiles() const;

    [[nodiscard]] const std::string& address() const { return m_strAddress; }
    [[nodiscard]] const TemporaryDirectory& home() const { return m_home; }

  private:
    TemporaryDirectory m_home;
    std::string m_strAddress;
    std::vector<std::pair<std::string, std::string>> m_environment;
    std::optional<BackgroundProcess> m_process;
};

/// Replaces the first occurrence of a text. Fails the test if there is none.
void replaceInFile(const std::string& in_strFile, const std::string& in_strFrom,
                   const std::string& in_strTo);

/// Returns a line of the log without its date and thread.
[[nodiscard]] std::string withoutDate(const std::string& in_strLine);

} // namespace Velmora::Test
