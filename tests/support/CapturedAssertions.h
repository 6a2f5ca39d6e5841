#pragma once

#include "tests/support/CapturedLog.h"

#include <string>
#include <vector>

namespace Velmora::Test
{

/// One failed assertion, as its line in the log tells it.
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

/// A failed assertion that went on, as a test expects it.
FailedAssertion failedAssertion(const std::string& in_strCondition, const std::string& in_strSource,
                                const std::string& in_strLogger);

/// The failed assertions among the captured lines, in order. A line that begins like one but has
/// not its whole form, "Assertion failed (`condition`) file=`file` line=`line`" with the place that
/// the event itself has, is a failure of the test.
std::vector<FailedAssertion> failedAssertions(const CapturedLog& in_log);

} // namespace Velmora::Test
