// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "tests/support/CapturedLog.h"

#include <string>
#include <vector>

namespace Velmora::Test
{

/// One failed assertion, parsed from its log line.
struct FailedAssertion
{
    std::string strCondition;
    /// The base name of the source file without its extension, such as "Parameter".
    std::string strSource;
    std::string strLogger;
    int level;

    bool operator==(const FailedAssertion&) const = default;
};

std::ostream& operator<<(std::ostream& out_stream, const FailedAssertion& in_assertion);

/// Returns the failed assertion that a test expects if the process continues, at level ERROR.
FailedAssertion failedAssertion(const std::string& in_strCondition, const std::string& in_strSource,
                                const std::string& in_strLogger);

/// Returns the failed assertions among the captured lines, in order. A line that begins like one
/// must have the form "Assertion failed (`condition`) file=`file` line=`line`" with the source
/// position of the event; any other form fails the test.
std::vector<FailedAssertion> failedAssertions(const CapturedLog& in_log);

} // namespace Velmora::Test
