// SPDX-License-Identifier: BSD-2-Clause

// Gets the configuration of the process in main, and in a static destructor after it has closed the
// ACE object manager itself. Prints the results to standard output.

#include "velmora/application/AssertionSeam.h"
#include "velmora/config/GlobalConfig.h"
#include "velmora/config/RWGlobalConfig.h"
#include "velmora/logging/Logger.h"

#include <ace/Object_Manager.h>

#include <iostream>

namespace
{

using namespace Velmora;

void printConfiguration(const char* in_szWhen)
{
    std::cout << in_szWhen << ": for readers " << !GlobalConfig::getInstance().isNull()
              << ", for writers " << !RWGlobalConfig::getInstance().isNull() << ", for assertions "
              << (AssertionSeam::getBoolParameters() != nullptr) << std::endl;
}

struct InStatics
{
    InStatics() { printConfiguration("static constructor"); }
    ~InStatics() { printConfiguration("after the exit list"); }
} s_inStatics;

} // namespace

int main()
{
    Logger().setLogLevel(FATAL_LOG_LEVEL);
    printConfiguration("main");
    return ACE_Object_Manager::instance()->fini();
}
