// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <boost/program_options/variables_map.hpp>

#include <string>
#include <vector>

namespace GatewayExample
{

/// Returns the sources of the configuration that a command line names.
inline std::vector<std::string> sourcesOf(const boost::program_options::variables_map& in_variables)
{
    if (in_variables.count("global-config") == 0)
        return {};
    return in_variables["global-config"].as<std::vector<std::string>>();
}

} // namespace GatewayExample
