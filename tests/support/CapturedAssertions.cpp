// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/CapturedAssertions.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <ostream>

namespace Velmora::Test
{

std::ostream& operator<<(std::ostream& out_stream, const FailedAssertion& in_assertion)
{
    return out_stream << "(" << in_assertion.strCondition << ") in " << in_assertion.strSource
                      << " on " << in_assertion.strLogger << " at " << in_assertion.level;
}

FailedAssertion failedAssertion(const std::string& in_strCondition, const std::string& in_strSource,
                                const std::string& in_strLogger)
{
    return {in_strCondition, in_strSource, in_strLogger, ERROR_LOG_LEVEL};
}

std::vector<FailedAssertion> failedAssertions(const CapturedLog& in_log)
{
    static const std::string s_strBegin = "Assertion failed (";

    std::vector<FailedAssertion> result;
    for (const LogLine& line : in_log.lines())
    {
        if (line.strText.rfind(s_strBegin, 0) != 0)
            continue;
        const std::string strEnd = ") file=" + line.strFile + " line=" + std::to_string(line.iLine);
        const std::size_t uiLength = line.strText.size();
        if (uiLength < s_strBegin.size() + strEnd.size() ||
            line.strText.compare(uiLength - strEnd.size(), strEnd.size(), strEnd) != 0)
        {
            ADD_FAILURE() << "malformed assertion line " << line;
            continue;
        }
        result.push_back(
            {line.strText.substr(s_strBegin.size(), uiLength - s_strBegin.size() - strEnd.size()),
             std::filesystem::path(line.strFile).stem().string(), line.strLogger, line.level});
    }
    return result;
}

} // namespace Velmora::Test
