// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ConfigurationLine.h"

namespace Velmora
{

// A tag matches the expression "([^$]*)(\\$\\{)([^${}]*)(\\})". A match can begin only after a "$"
// or at the beginning, so one pass over the line finds the same tags as a search with the
// expression.
bool ConfigurationLine::findTag(std::string_view in_line, Tag& out_matches)
{
    std::size_t uiText = 0;
    for (std::size_t uiDollar = in_line.find('$'); uiDollar != std::string_view::npos;
         uiDollar = in_line.find('$', uiText))
    {
        if (in_line.substr(uiDollar + 1, 1) == "{")
        {
            const std::size_t uiName = uiDollar + 2;
            const std::size_t uiNameEnd = in_line.find_first_of("${}", uiName);
            if (uiNameEnd != std::string_view::npos && in_line[uiNameEnd] == '}')
            {
                out_matches.text = in_line.substr(uiText, uiDollar - uiText);
                out_matches.tag = in_line.substr(uiDollar, uiNameEnd + 1 - uiDollar);
                out_matches.name = in_line.substr(uiName, uiNameEnd - uiName);
                return true;
            }
        }
        uiText = uiDollar + 1;
    }
    out_matches = {in_line.substr(uiText), {}, {}};
    return false;
}

} // namespace Velmora
