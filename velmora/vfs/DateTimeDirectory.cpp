// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/DateTimeDirectory.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"

#include <algorithm>
#include <cstddef>
#include <ctime>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(DateTimeDirectory)

namespace Velmora
{

namespace
{

constexpr std::size_t s_uiMinLength = 256;

/// Writes the name to the beginning of a text. Returns its length, or 0 if the text is too short.
std::size_t formNameIn(std::string& out_strText)
{
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    localtime_r(&now, &local);
    return std::strftime(out_strText.data(), out_strText.size(), "%Y/%m%B/%d/%H", &local);
}

} // namespace

void DateTimeDirectory::formName(std::string& out_strName)
{
    // The length depends on the locale's name of the month. The text starts at 256 characters, or
    // at the caller's capacity if that is larger, and is doubled up to four times.
    constexpr unsigned int uiMaxTries = 5;
    out_strName.resize(std::max(s_uiMinLength, out_strName.capacity()));
    std::size_t uiLength = formNameIn(out_strName);
    for (unsigned int uiNumTries = 1; uiLength == 0; ++uiNumTries)
    {
        VELMORA_FILE_ASSERT(uiNumTries < uiMaxTries);
        if (uiNumTries == uiMaxTries)
            break;
        out_strName.resize(out_strName.size() * 2);
        uiLength = formNameIn(out_strName);
    }
    out_strName.resize(uiLength);
}

} // namespace Velmora
