// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "tests/support/Lines.h"

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::Test
{

/// The result of a process that a test started.
struct HelperResult
{
    /// The exit code; -1 if a signal ended the process.
    int iExitCode = -1;
    /// The signal that ended the process, 0 for none.
    int iSignal = 0;
    /// Whether the process was killed at its time limit.
    bool bTimedOut = false;
    std::string strOutput{};
    std::string strErrors{};
};

/// Runs a program to its end and captures its standard output and standard error. The program gets
/// this process's environment without the variables that begin with "VELMORA", then
/// `in_environment`. After `in_limit` the program is killed with its children.
HelperResult runHelper(const std::string& in_strProgram,
                       const std::vector<std::string>& in_arguments = {},
                       const std::vector<std::pair<std::string, std::string>>& in_environment = {},
                       std::chrono::seconds in_limit = std::chrono::seconds(60));

/// Returns the environment of a helper, as texts of the form NAME=value: this process's environment
/// without the variables that begin with "VELMORA", then `in_environment`.
std::vector<std::string>
environmentOfHelper(const std::vector<std::pair<std::string, std::string>>& in_environment);

/// Returns the argument of `exec`: pointers to the texts, which must not move, and a null pointer.
std::vector<char*> pointersTo(std::vector<std::string>& in_texts);

} // namespace Velmora::Test
