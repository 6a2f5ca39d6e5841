// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/DottedRevision.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"

#include <locale>
#include <sstream>
#include <string>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(DottedRevision)

namespace Velmora
{

bool DottedRevision::initFrom(const char* in_szText)
{
    m_components.clear();
    std::istringstream stream(in_szText);
    // In another locale a dot may separate thousands.
    stream.imbue(std::locale::classic());
    const bool bRead = readComponents(stream);
    if (!bRead)
        m_components.clear();
    return bRead;
}

bool DottedRevision::readComponents(std::istream& in_stream)
{
    for (unsigned long ulComponent = 0; in_stream >> ulComponent;)
    {
        m_components.push_back(ulComponent);
        char separator = '\0';
        if (!(in_stream >> separator))
        {
            VELMORA_FILE_ASSERT_TEXT(in_stream.eof(), "iss.eof()");
            return true;
        }
        if (separator != '.')
            return false;
    }
    return false;
}

std::ostream& DottedRevision::write(std::ostream& out_stream) const
{
    std::string strText;
    for (const unsigned long ulComponent : m_components)
    {
        if (!strText.empty())
            strText += '.';
        strText += std::to_string(ulComponent);
    }
    return out_stream << strText;
}

} // namespace Velmora
