#pragma once

#include "velmora/Export.h"

#include <string>

namespace Velmora
{

/// Names directories by the time. Logs on "keswardin.infra.DateTimeDirectory".
///
/// Thread-safety: may be used on any thread.
class VELMORA_API DateTimeDirectory
{
  public:
    DateTimeDirectory() = delete;

    /// The relative path of the directory of this hour, in local time: "2026/03March/07/09". The
    /// name of the month is that of the current locale.
    ///
    /// Failure: an assertion fails, and the name is empty, when it is longer than four thousand
    /// characters.
    static void formName(std::string& out_strName);
};

} // namespace Velmora
