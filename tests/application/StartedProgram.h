// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "tests/support/HelperProcess.h"

#include <string>
#include <utility>
#include <vector>

namespace Velmora::Test
{

using Texts = std::vector<std::string>;

/// The logging section for tests with a configuration.
inline const std::string s_strLogging =
    "log4cplus.rootLogger=INFO, OUT\n"
    "log4cplus.logger.keswardin.infra.crash=ERROR\n"
    "log4cplus.appender.OUT=log4cplus::ConsoleAppender\n"
    "log4cplus.appender.OUT.layout=log4cplus::PatternLayout\n"
    "log4cplus.appender.OUT.layout.ConversionPattern=configured %p %c: %m%n\n";

/// Runs a program with the given deeds and command line.
inline HelperResult
startProgram(const std::string& in_strProgram, const Texts& in_deeds, const Texts& in_arguments,
             const std::vector<std::pair<std::string, std::string>>& in_environment = {})
{
    Texts arguments = in_deeds;
    arguments.emplace_back("--");
    arguments.insert(arguments.end(), in_arguments.begin(), in_arguments.end());
    return runHelper(in_strProgram, arguments, in_environment);
}

/// Returns the lines of the output, without a warning that the program logs on a machine where the
/// user may not raise the limit of core files.
inline Texts outputLines(const HelperResult& in_result)
{
    Texts lines = linesOf(in_result.strOutput);
    std::erase_if(lines, [](const std::string& in_strLine)
                  { return in_strLine.find("setrlimit failed") != std::string::npos; });
    return lines;
}

} // namespace Velmora::Test
