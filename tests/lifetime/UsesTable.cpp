// SPDX-License-Identifier: BSD-2-Clause

// Uses the table of known parameters in main, and in a static destructor after it has closed the
// ACE object manager itself. Prints the results to standard output.

#include "velmora/config/ParameterBounds.h"
#include "velmora/config/ParameterHashMap.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/ProgramParameter.h"
#include "velmora/logging/Logger.h"

#include <ace/Object_Manager.h>

#include <iostream>
#include <string>
#include <vector>

namespace
{

using namespace Velmora;

void printTable(const char* in_szWhen)
{
    const ParameterInfoDB& table = ParameterInfoDB::getInstance();
    ParameterInfo info;
    const bool bKnown = table.retrieve("keswardin.run.mode", info);
    std::vector<ParameterInfoWithName> infos;
    const bool bListed = table.retrieve(".", infos);
    ParameterHashMap configuration;
    configuration.setStringParameter("keswardin.sip.transport", "tcp");
    const bool bDeprecated = table.warnOnDeprecated(configuration);
    table.addDefaultsToConfig(configuration, false);
    std::string strClosest;
    const bool bValid = table.validateParamName("keswardin.run.mods", strClosest);
    ParameterValue value;
    value = 7;
    const bool bFits = table.validateParamValue("keswardin.traceShutdown", value);
    std::cout << in_szWhen << ": known " << bKnown << ", listed " << bListed << ' ' << infos.size()
              << ", deprecated " << bDeprecated << ", has defaults " << (configuration.size() > 1)
              << ", valid " << bValid << ", closest '" << strClosest << "', fits " << bFits
              << std::endl;
}

void printRegistration(const char* in_szWhen, const char* in_szName)
{
    const ProgramParameter parameters[] = {
        {.szName = in_szName, .type = ParameterValue::INT_TYPE, .szLowest = "1"}};
    const bool bRegistered = ParameterInfoDB::registerParameters(parameters);
    ParameterBounds bounds;
    std::cout << in_szWhen << ": registers " << bRegistered << ", has bounds "
              << ParameterInfoDB::retrieveBounds(in_szName, bounds) << std::endl;
}

struct InStatics
{
    InStatics() { printTable("static constructor"); }
    ~InStatics()
    {
        printTable("after the exit list");
        printTable("once more");
        printRegistration("after the exit list", "after.exit");
    }
} s_inStatics;

} // namespace

int main()
{
    Logger().setLogLevel(FATAL_LOG_LEVEL);
    printTable("main");
    printRegistration("main", "in.main");
    return ACE_Object_Manager::instance()->fini();
}
