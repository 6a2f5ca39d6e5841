// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "tests/support/CapturedLog.h"

#include <cstring>
#include <string>

namespace Velmora::Test
{

inline constexpr const char* s_szLogger = "keswardin.infra.File";

/// Returns the line that gives the reason, which follows the line of the failure.
inline LogLine reason(const std::string& in_strWhat, int in_iError)
{
    return errorLine(s_szLogger, "cannot " + in_strWhat + ": " + std::strerror(in_iError));
}

/// Returns the line about a path that cannot be examined.
inline LogLine unseen(const std::string& in_strPath, int in_iError)
{
    return errorLine(s_szLogger, "cannot look at " + in_strPath + ": " + std::strerror(in_iError) +
                                     "; it is left as it is");
}

} // namespace Velmora::Test
