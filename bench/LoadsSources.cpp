// SPDX-License-Identifier: BSD-2-Clause

// Loads sources into the configuration of the process, one after the other, and prints for each the
// nanoseconds that it took and the number of parameters afterwards. The first argument is a file
// with the parameters of the program, a line "name TYPE" each; the others are the sources.

#include "velmora/config/GlobalConfig.h"
#include "velmora/config/LoadSummary.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/ProgramParameter.h"
#include "velmora/logging/Logger.h"

#include <chrono>
#include <cstdio>
#include <deque>
#include <fstream>
#include <string>
#include <vector>

using namespace Velmora;

namespace
{

bool registerParameters(const char* in_szPath)
{
    std::deque<std::string> names;
    std::vector<ProgramParameter> parameters;
    std::ifstream file(in_szPath);
    std::string strType;
    for (std::string strName; file >> strName >> strType;)
        parameters.push_back({.szName = names.emplace_back(strName).c_str(),
                              .type = ParameterValue::parseTypeString(strType.c_str())});
    return file.eof() && ParameterInfoDB::registerParameters(parameters);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2 || !registerParameters(argv[1]))
        return 2;
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::ERROR_LOG_LEVEL);
    const TSHandle<GlobalConfig> hConfig = GlobalConfig::getInstance();
    for (int iSource = 2; iSource < argc; ++iSource)
    {
        const auto begin = std::chrono::steady_clock::now();
        const bool bLoaded = hConfig->load(std::vector<std::string>{argv[iSource]});
        const std::chrono::nanoseconds time = std::chrono::steady_clock::now() - begin;
        if (!bLoaded)
            return 1;
        std::printf("%lld %zu\n", static_cast<long long>(time.count()),
                    hConfig->getLoadSummary().m_uiParameters);
    }
    // Flushed here so that the numbers precede the lines that the library logs at its end.
    std::fflush(stdout);
}
