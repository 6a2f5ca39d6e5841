// SPDX-License-Identifier: BSD-2-Clause

// Loads the sources that the arguments name, and writes whether that succeeded and all parameters.
// The log goes to standard output, too. With "--debug" as the first argument, all its lines do.

#include "tests/support/LogToOutput.h"
#include "velmora/config/RWGlobalConfig.h"

#include <iostream>
#include <string>
#include <string_view>
#include <vector>

int main(int argc, char** argv)
{
    std::vector<std::string> sources(argv + 1, argv + argc);
    if (!sources.empty() && sources.front() == "--debug")
    {
        Velmora::Test::logToOutput({"keswardin"});
        sources.erase(sources.begin());
    }
    else
        Velmora::Test::logToOutput({});
    const bool bLoaded = Velmora::RWGlobalConfig::getInstance()->load(sources);
    std::cout << "loaded: " << (bLoaded ? "true" : "false") << '\n'
              << *Velmora::RWGlobalConfig::getInstance() << std::flush;
    return 0;
}
