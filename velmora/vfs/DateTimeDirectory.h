// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <string>

namespace Velmora
{

/// Names directories by the time. Logs to "keswardin.infra.DateTimeDirectory".
///
/// Thread-safety: may be called on any thread.
class VELMORA_API DateTimeDirectory
{
  public:
    DateTimeDirectory() = delete;

    /// Stores the relative path of the directory for the current hour, in local time:
    /// "2026/03March/07/09". The month's name is in the current locale's language.
    ///
    /// Failure: an assertion fails, and the name is empty, if the name is longer than about four
    /// thousand characters.
    static void formName(std::string& out_strName);
};

} // namespace Velmora
