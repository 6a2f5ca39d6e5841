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

/// A directory that the gateway is installed in, with the configuration files of the example, and
/// the gateway as a process. Its address is one of the loopback that no other test has.
class GatewayProcess : public testing::Test
{
  protected:
    GatewayProcess();

    [[nodiscard]] std::string etc(const std::string& in_strName) const;

    /// The options that name the sources of the example, and then more.
    [[nodiscard]] std::vector<std::string>
    sources(const std::vector<std::string>& in_more = {}) const;

    /// Adds a line to what differs from site to site.
    void configure(const std::string& in_strLine) const;

    /// Sets a variable of its environment, before it is started.
    void setEnvironment(const std::string& in_strName, const std::string& in_strValue);

    /// Runs it where it ends by itself.
    HelperResult run(const std::vector<std::string>& in_arguments);

    /// Starts it and waits until it runs; a failure of the test when it does not.
    void start(const std::vector<std::string>& in_more = {});
    void startWith(const std::vector<std::string>& in_arguments);

    /// Waits until the log has a line with this text; a failure of the test when it gets none.
    void waitForLine(const std::string& in_strText);

    void signal(int in_iSignal);

    /// Waits for its end; gives the exit code.
    int waitForEnd();

    /// SIGTERM, and then its end.
    int stop();

    [[nodiscard]] std::vector<std::string> linesOfLog() const;

    /// The log without dates and threads: "LEVEL logger - text".
    [[nodiscard]] std::vector<std::string> log() const;

    /// What it has written elsewhere: standard output and standard error.
    [[nodiscard]] std::string output() const;

    /// The lines of each call file, by the name of the file.
    [[nodiscard]] std::map<std::string, std::vector<std::string>> callFiles() const;

    [[nodiscard]] const std::string& address() const { return m_strAddress; }
    [[nodiscard]] const TemporaryDirectory& home() const { return m_home; }

  private:
    TemporaryDirectory m_home;
    std::string m_strAddress;
    std::vector<std::pair<std::string, std::string>> m_environment;
    std::optional<BackgroundProcess> m_process;
};

/// Replaces the first occurrence of a text; a failure of the test when there is none.
void replaceInFile(const std::string& in_strFile, const std::string& in_strFrom,
                   const std::string& in_strTo);

/// A line of the log without its date and thread.
[[nodiscard]] std::string withoutDate(const std::string& in_strLine);

} // namespace Velmora::Test
