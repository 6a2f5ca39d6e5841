// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/DynLibsLoader.h"

#include "velmora/config/Configuration.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/DynlibObjectFactory.h"

#include <boost/tokenizer.hpp>

#include <exception>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(DynLibsLoader)

namespace Velmora::DynLibsLoader
{

namespace
{

constexpr const char* s_szLoadDynLibListParam = "keswardin.startup.loadDynLibList";

template <class Names>
bool loadAll(const Names& in_names)
{
    bool bAll = true;
    for (const std::string& strName : in_names)
        // The call comes first, so that libraries behind a failed one are opened too.
        bAll = loadDynLib(strName.c_str()) && bAll;
    return bAll;
}

} // namespace

bool loadDynLib(const char* in_szDynLibBasename)
{
    VELMORA_FILE_TRACE_SCOPE(DynLibsLoader::loadDynLib(const char*));
    VELMORA_FILE_LOG_DEBUG("Loading dynamic library " << in_szDynLibBasename);
    DynlibObjectFactoryNoT factory;
    return factory.openDynlib(in_szDynLibBasename);
}

bool loadDynLibs(const std::vector<std::string>& in_dynLibBasenames)
{
    VELMORA_FILE_TRACE_SCOPE(DynLibsLoader::loadDynLibs(const vector<string>&));
    return loadAll(in_dynLibBasenames);
}

bool loadDynLibs(const ROConfiguration& in_configuration)
{
    VELMORA_FILE_TRACE_SCOPE(DynLibsLoader::loadDynLibs(const ROConfiguration&));
    std::string strList;
    try
    {
        if (!in_configuration.getStringParameter(s_szLoadDynLibListParam, strList))
            return true;
        const boost::char_separator<char> separator(", ");
        return loadAll(boost::tokenizer<boost::char_separator<char>>(strList, separator));
    }
    catch (const std::exception& exception)
    {
        VELMORA_FILE_LOG_ERROR("Unexpected std::exception "
                               << exception.what() << " caught in loadDynLibs() with "
                               << s_szLoadDynLibListParam << ": \"" << strList << "\"");
        return false;
    }
}

} // namespace Velmora::DynLibsLoader
