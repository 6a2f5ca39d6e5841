#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::Test
{

/// How a process that a test started came to its end.
struct HelperResult
{
    /// The exit code; -1 when a signal ended the process.
    int iExitCode = -1;
    /// The signal that ended the process, 0 for none.
    int iSignal = 0;
    /// It had to be killed at its time limit.
    bool bTimedOut = false;
    std::string strOutput{};
    std::string strErrors{};
};

/// Runs a program to its end and takes what it writes on standard output and standard error. It
/// gets this process's environment without any variable that begins with "VELMORA", then
/// `environment`. A program that has not ended after `limit` is killed with its children.
HelperResult runHelper(const std::string& in_strProgram,
                       const std::vector<std::string>& in_arguments = {},
                       const std::vector<std::pair<std::string, std::string>>& in_environment = {},
                       std::chrono::seconds in_limit = std::chrono::seconds(60));

/// The environment that a helper gets, as texts of the form NAME=value: this process's without any
/// variable that begins with "VELMORA", then `in_environment`.
std::vector<std::string>
environmentOfHelper(const std::vector<std::pair<std::string, std::string>>& in_environment);

/// What `exec` takes: pointers to the texts, which stay where they are, and a null pointer.
std::vector<char*> pointersTo(std::vector<std::string>& in_texts);

/// The lines of what a process wrote.
std::vector<std::string> linesOf(const std::string& in_strText);

} // namespace Velmora::Test
