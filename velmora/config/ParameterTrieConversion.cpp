// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterTrie.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/DottedName.h"
#include "velmora/system/EnvironVars.h"
#include "velmora/system/WholeText.h"

#include <log4cplus/helpers/property.h>

#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(ParameterTrie)

namespace Velmora
{

namespace
{

std::string textOf(const ParameterValue& in_value)
{
    return wholeText([&in_value](std::ostream& out_stream) { out_stream << in_value; });
}

} // namespace

std::ostream& ParameterTrie::write(std::ostream& out_stream) const
{
    return writeImpl(out_stream, '\n');
}

std::ostream& ParameterTrie::write(std::ostream& out_stream, char in_cSeparator) const
{
    return writeImpl(out_stream, in_cSeparator);
}

std::ostream& ParameterTrie::writeImpl(std::ostream& out_stream, char in_cSeparator) const
{
    bool bFirst = true;
    std::string strName;
    for (const_iterator iter = begin(); iter.node() != nullptr; ++iter)
    {
        if (!iter.data().defined())
            continue;
        if (!bFirst)
            out_stream << in_cSeparator;
        bFirst = false;
        vectorToDottedString(iter.key(), strName);
        out_stream << strName << '=' << iter.data();
    }
    return out_stream;
}

void ParameterTrie::convertTo(log4cplus::helpers::Properties& out_properties) const
{
    std::string strName;
    for (const_iterator iter = begin(); iter.node() != nullptr; ++iter)
    {
        if (!iter.data().defined())
            continue;
        vectorToDottedString(iter.key(), strName);
        out_properties.setProperty(strName, textOf(iter.data()));
    }
}

bool ParameterTrie::substituteEnvVarsInValues()
{
    std::string strChanged;
    for (iterator iter = begin(); iter.node() != nullptr; ++iter)
    {
        if (iter.data().getType() != ParameterValue::STRING_TYPE)
            continue;
        const std::string_view text = static_cast<const char*>(iter.data());
        if (!substEnvironVars(text, strChanged))
        {
            VELMORA_FILE_LOG_ERROR("failed to substitute environment variables in " << text);
            return false;
        }
        if (strChanged != text)
            iter.data() = strChanged.c_str();
    }
    return true;
}

bool ParameterTrie::substituteEnvVarsInKeys()
{
    ParameterTrie changed;
    for (const_iterator iter = std::as_const(*this).begin(); iter.node() != nullptr; ++iter)
    {
        if (!iter.data().defined())
            continue;
        std::vector<std::string> keySequence = iter.key();
        for (std::string& component : keySequence)
            if (!substEnvironVars(component, component))
            {
                VELMORA_FILE_LOG_ERROR("failed to substitute environment variables in "
                                       << component);
                return false;
            }
        changed.insert(keySequence.begin(), keySequence.end(), iter.data()).first.data() =
            iter.data();
    }
    *this = changed;
    return true;
}

} // namespace Velmora
