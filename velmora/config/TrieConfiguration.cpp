// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/TrieConfiguration.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"

#include <string_view>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(TrieConfiguration)

namespace Velmora
{

TrieConfiguration::TrieConfiguration() = default;
TrieConfiguration::TrieConfiguration(const TrieConfiguration&) = default;
TrieConfiguration& TrieConfiguration::operator=(const TrieConfiguration&) = default;
TrieConfiguration::~TrieConfiguration() = default;

void TrieConfiguration::getParameter(const char* in_szParamName, ParameterValue& out_value) const
{
    VELMORA_FILE_ASSERT_TEXT(in_szParamName != nullptr, "in_szParamName != 0");
    if (in_szParamName == nullptr)
        return;
    const std::string_view strName(in_szParamName);
    const Trie* const pNode = fastFind(strName.begin(), strName.end());
    out_value = pNode != nullptr ? pNode->data() : ParameterValue();
}

bool TrieConfiguration::setParameter(const char* in_szParamName, const ParameterValue& in_value)
{
    VELMORA_FILE_ASSERT_TEXT(in_szParamName != nullptr, "in_szParamName != 0");
    if (in_szParamName == nullptr)
        return false;
    const std::string_view strName(in_szParamName);
    fastInsert(strName.begin(), strName.end(), in_value).first->data() = in_value;
    return true;
}

} // namespace Velmora
