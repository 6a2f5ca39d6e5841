// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "tests/support/CapturedLog.h"

#include <initializer_list>
#include <string>

namespace Velmora::Test
{

inline constexpr const char* s_szPythonLogger = "keswardin.python.EmbeddedInterpreter";

/// Returns the text that the library logs for an exception of Python.
inline std::string exceptionText(const std::string& in_strText)
{
    return "Embedded Python Interpreter Exception :\n" + in_strText;
}

/// Returns the line that the library logs for an exception of Python.
inline LogLine exceptionLine(const std::string& in_strText)
{
    return errorLine(s_szPythonLogger, exceptionText(in_strText));
}

/// Returns the line that the library logs for an exception of a script, with its traceback. A frame
/// is a text such as "line 2, in <module>".
inline LogLine exceptionLine(std::initializer_list<const char*> in_frames,
                             const std::string& in_strException)
{
    std::string strText = "Traceback (most recent call last):\n";
    for (const char* const szFrame : in_frames)
        strText += std::string("  File \"<string>\", ") + szFrame + '\n';
    return exceptionLine(strText + in_strException);
}

} // namespace Velmora::Test
