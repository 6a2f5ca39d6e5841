// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/GlobalConfig.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/WithoutThrowing.h"
#include "velmora/system/URL.h"

#include <boost/program_options.hpp>

#include <exception>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(GlobalConfig)

namespace Velmora
{

GlobalConfig::~GlobalConfig() = default;

void GlobalConfig::getConfigOptionsFromCmdline(int in_argc, char** in_argv,
                                               std::vector<std::string>& out_values,
                                               const char* in_szOptionName)
{
    namespace po = boost::program_options;
    try
    {
        constexpr unsigned int uiLineWidth = 80;
        po::options_description description("Allowed options", uiLineWidth);
        description.add_options()(in_szOptionName, po::value<std::vector<std::string>>(&out_values),
                                  "");
        po::variables_map variables;
        po::store(po::parse_command_line(in_argc, in_argv, description), variables);
        // Only this writes the output: a command line that cannot be parsed leaves it unchanged.
        po::notify(variables);
    }
    catch (const std::exception& error)
    {
        withoutThrowing(::liveFileScopeLogger(), "failed to read the command line",
                        [&error] { VELMORA_FILE_LOG_DEBUG(URL::withoutSecrets(error.what())); });
    }
}

} // namespace Velmora
