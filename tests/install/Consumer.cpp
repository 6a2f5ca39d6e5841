// A program of somebody who has the library installed: it logs a line, keeps a value and fails an
// assertion.

#include "velmora/application/Assertion.h"
#include "velmora/config/ParameterHashMap.h"
#include "velmora/logging/LogMacros.h"

VELMORA_FILE_SCOPE_LOGGER("consumer")

int main()
{
    Velmora::Logger().setLogLevel(Velmora::ERROR_LOG_LEVEL);
    Velmora::ParameterHashMap parameters;
    parameters.setStringParameter("name", "value");
    VELMORA_FILE_LOG_INFO("consumer has " << parameters);
    VELMORA_FILE_ASSERT_TEXT(false, "consumer asserts");
    return parameters.parameterDefined("name") ? 0 : 1;
}
