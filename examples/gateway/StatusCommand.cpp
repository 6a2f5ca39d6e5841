// SPDX-License-Identifier: BSD-2-Clause

#include "StatusCommand.h"

#include "CommandLineSources.h"
#include "OwnParameters.h"
#include "StatusReport.h"
#include "StatusSocket.h"

#include "velmora/config/Configuration.h"
#include "velmora/config/ConfigurationCheck.h"

#include <stdexcept>
#include <string>

namespace GatewayExample
{

namespace
{

std::string socketOf(const boost::program_options::variables_map& in_variables)
{
    if (in_variables.count("status-socket") != 0)
        return in_variables["status-socket"].as<std::string>();
    const Velmora::ConfigurationCheck configuration(sourcesOf(in_variables));
    std::string strSocket;
    if (!configuration.configuration().getStringParameter(OwnParameters::s_szStatusSocket,
                                                          strSocket))
        throw std::runtime_error(
            std::string("no status : the configuration does not set ") +
            OwnParameters::s_szStatusSocket +
            " ; name its files by --global-config, as the running gateway does, or the socket by "
            "--status-socket");
    return strSocket;
}

} // namespace

void StatusCommand::run(const boost::program_options::variables_map& in_variables,
                        std::ostream& out_stream)
{
    const std::string strReport = StatusSocket::ask(socketOf(in_variables));
    const std::string strText = statusText(strReport);
    out_stream << (in_variables["json"].as<bool>() ? strReport : strText);
}

} // namespace GatewayExample
