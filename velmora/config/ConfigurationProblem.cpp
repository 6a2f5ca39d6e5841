// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ConfigurationProblem.h"

#include "velmora/config/ConfigurationAdvice.h"

#include <ostream>

namespace Velmora
{

using ConfigurationAdvice::shown;

const char* getSeverityString(ConfigurationProblem::Severity in_severity)
{
    switch (in_severity)
    {
    case ConfigurationProblem::Severity::NOTE:
        return "note";
    case ConfigurationProblem::Severity::WARNING:
        return "warning";
    case ConfigurationProblem::Severity::ERROR:
        break;
    }
    return "error";
}

std::ostream& ConfigurationProblem::write(std::ostream& out_stream) const
{
    out_stream << (strFile.empty() ? "default" : shown(strFile));
    if (uiLine != 0)
        out_stream << ':' << uiLine;
    out_stream << ": " << getSeverityString(severity) << ": ";
    if (!strName.empty())
    {
        out_stream << shown(strName);
        if (!strValue.empty())
            out_stream << " = " << shown(strValue);
        out_stream << ' ';
    }
    return out_stream << strText << " [" << strRule << ']';
}

std::ostream& operator<<(std::ostream& out_stream, const ConfigurationProblem& in_problem)
{
    return in_problem.write(out_stream);
}

} // namespace Velmora
