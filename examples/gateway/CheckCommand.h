// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <boost/program_options/variables_map.hpp>

#include <ostream>

namespace GatewayExample
{

/// The option `--check`: reads the configuration as a start would, and lists what is wrong with it.
/// Opens no socket and writes no file.
namespace CheckCommand
{

/// Writes a line for each problem and a verdict, or with `--json` an object with both. Returns
/// whether the gateway starts with the configuration.
[[nodiscard]] bool run(const boost::program_options::variables_map& in_variables,
                       std::ostream& out_stream);

} // namespace CheckCommand

} // namespace GatewayExample
