// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "tests/support/HelperProcess.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace Velmora::Test
{

/// Runs `dynlib-opens` on the libraries in the directory of `in_strLibrary`, and expects it to
/// succeed. Returns its output without the empty lines that end some texts. For tests that have
/// this helper.
inline std::vector<std::string> linesOfOpeningProgram(const std::string& in_strProgram,
                                                      const std::string& in_strLibrary,
                                                      const std::vector<std::string>& in_arguments)
{
    const std::string strPath = std::filesystem::path(in_strLibrary).parent_path();
    const HelperResult result =
        runHelper(in_strProgram, in_arguments, {{"LD_LIBRARY_PATH", strPath}});
    EXPECT_EQ(0, result.iExitCode);
    EXPECT_EQ(0, result.iSignal);
    EXPECT_EQ("", result.strErrors);
    std::vector<std::string> lines = linesOf(result.strOutput);
    std::erase(lines, "");
    return lines;
}

} // namespace Velmora::Test
