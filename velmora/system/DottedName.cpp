#include "velmora/system/DottedName.h"

#include <cstddef>
#include <cstring>

namespace Velmora
{

namespace
{

void setComponent(std::vector<std::string>& out_components, std::size_t in_uiIndex,
                  const char* in_pBegin, const char* in_pEnd)
{
    if (in_uiIndex == out_components.size())
        out_components.resize(in_uiIndex + 1);
    out_components[in_uiIndex].assign(in_pBegin, in_pEnd);
}

} // namespace

unsigned long dottedStringToVectorNoResize(const char* in_szName,
                                           std::vector<std::string>& out_components)
{
    const char* const pEnd = in_szName + std::strlen(in_szName);
    std::size_t uiNumComponents = 0;
    const char* pBegin = in_szName;
    while (const void* const pFound =
               std::memchr(pBegin, '.', static_cast<std::size_t>(pEnd - pBegin)))
    {
        const char* const pDot = static_cast<const char*>(pFound);
        setComponent(out_components, uiNumComponents++, pBegin, pDot);
        pBegin = pDot + 1;
    }
    if (pBegin != pEnd)
        setComponent(out_components, uiNumComponents++, pBegin, pEnd);
    return uiNumComponents;
}

void dottedStringToVector(const char* in_szName, std::vector<std::string>& out_components)
{
    out_components.resize(dottedStringToVectorNoResize(in_szName, out_components));
}

void vectorToDottedString(const std::vector<std::string>& in_components, std::string& out_strName)
{
    out_strName.clear();
    for (const std::string& component : in_components)
    {
        if (&component != &in_components.front())
            out_strName += '.';
        out_strName += component;
    }
}

} // namespace Velmora
