// SPDX-License-Identifier: BSD-2-Clause

// A program that uses the installed library: it logs a line, stores a parameter, fails an assertion
// and matches a regular expression.

#include "velmora/application/Assertion.h"
#include "velmora/config/ParameterHashMap.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/system/BoostRegex.h"

#include <string>

VELMORA_FILE_SCOPE_LOGGER("consumer")

int main()
{
    Velmora::Logger().setLogLevel(Velmora::ERROR_LOG_LEVEL);
    Velmora::ParameterHashMap parameters;
    parameters.setStringParameter("name", "value");
    VELMORA_FILE_LOG_INFO("consumer has " << parameters);
    VELMORA_FILE_ASSERT_TEXT(false, "consumer asserts");

    const std::string strText = "name=value";
    boost::smatch results;
    const bool bFound =
        Velmora::BoostRegex::regex_search(strText, results, Velmora::BoostRegex("=(\\w+)"));
    return bFound && results[1] == "value" && parameters.parameterDefined("name") ? 0 : 1;
}
