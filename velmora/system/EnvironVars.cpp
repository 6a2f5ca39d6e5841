// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/EnvironVars.h"

#include <cstdlib>

namespace Velmora
{

namespace
{

constexpr std::string_view s_opening = "${";

/// Returns the variable's text; empty if there is none.
std::string_view valueOf(std::string_view in_strName)
{
    const char* const szValue =
        std::getenv(std::string(in_strName).c_str()); // NOLINT(concurrency-mt-unsafe)
    return szValue == nullptr ? std::string_view() : szValue;
}

} // namespace

bool substEnvironVars(std::string_view in_strText, std::string& out_strText)
{
    // The result is built apart from the output, which may be the text itself.
    std::string strResult;
    std::size_t uiDone = 0;
    bool bClosed = true;
    for (std::size_t uiTag = in_strText.find(s_opening); uiTag != std::string_view::npos;
         uiTag = in_strText.find(s_opening, uiDone))
    {
        const std::size_t uiName = uiTag + s_opening.size();
        const std::size_t uiClosing = in_strText.find('}', uiName);
        if (uiClosing == std::string_view::npos)
        {
            bClosed = false;
            break;
        }
        strResult += in_strText.substr(uiDone, uiTag - uiDone);
        uiDone = uiClosing + 1;
        const std::string_view value = valueOf(in_strText.substr(uiName, uiClosing - uiName));
        strResult += value.empty() ? in_strText.substr(uiTag, uiDone - uiTag) : value;
    }
    if (bClosed)
        strResult += in_strText.substr(uiDone);
    else
        strResult = in_strText;
    out_strText = std::move(strResult);
    return bClosed;
}

} // namespace Velmora
