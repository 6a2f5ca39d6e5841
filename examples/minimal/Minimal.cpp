#include "velmora/config/ParameterHashMap.h"
#include "velmora/logging/LogMacros.h"

VELMORA_FILE_SCOPE_LOGGER("keswardin.minimal")

int main(int argc, char** argv)
{
    Velmora::ParameterHashMap parameters;
    for (int iArgument = 1; iArgument < argc; ++iArgument)
    {
        Velmora::Parameter parameter;
        if (parameter.initFromText(argv[iArgument], Velmora::ParameterValue::UNDEF_TYPE) ==
            Velmora::INIT_OK)
            parameters.setParameter(parameter.getName().c_str(), parameter.getValue());
        else
            VELMORA_FILE_LOG_ERROR("not a parameter : \"" << argv[iArgument] << "\"");
    }
    int iPort = 5060;
    parameters.getIntParameter("port", iPort);
    VELMORA_FILE_LOG_INFO("listening on port " << iPort);
}
