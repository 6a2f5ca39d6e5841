// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <iosfwd>
#include <string>

namespace Velmora
{

/// Something that a check of a configuration has found.
///
/// Thread-safety: as its members.
struct ConfigurationProblem
{
    enum class Severity
    {
        /// Nothing is wrong; an operator may want to know it.
        NOTE,
        /// The program starts, but probably not as the line intends.
        WARNING,
        /// The program does not start.
        ERROR
    };

    Severity severity = Severity::NOTE;
    /// The name of the rule, such as "octal".
    std::string strRule{};
    /// The file or the URL; empty for a parameter that no line gives a value.
    std::string strFile{};
    /// The number of the line, from 1 on; 0 for a file as a whole.
    unsigned long uiLine = 0;
    /// The name of the parameter, and its value as written. The name is empty if the problem is not
    /// about a parameter. Both come from the file and are not escaped.
    std::string strName{};
    std::string strValue{};
    /// What is wrong and what to write. If there is a name, the text continues a sentence that
    /// begins with name and value. Texts from outside in it are escaped (`EscapedText`).
    std::string strText{};

    /// Writes the problem as one line, as in
    ///
    ///     etc/gateway.cfg:12: warning: keswardin.sip.TimerT1 = 0500 is 320, because a number that
    ///     begins with 0 is octal; write 500 [octal]
    ///
    /// without the line break. "default" takes the place of a missing file. Texts from outside are
    /// escaped, and cut at 200 bytes.
    VELMORA_API std::ostream& write(std::ostream& out_stream) const;

    friend bool operator==(const ConfigurationProblem&, const ConfigurationProblem&) = default;
};

/// Returns "note", "warning" or "error".
VELMORA_API const char* getSeverityString(ConfigurationProblem::Severity in_severity);

/// Calls `write`.
VELMORA_API std::ostream& operator<<(std::ostream& out_stream,
                                     const ConfigurationProblem& in_problem);

} // namespace Velmora
