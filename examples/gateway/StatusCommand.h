// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <boost/program_options/variables_map.hpp>

#include <ostream>

namespace GatewayExample
{

/// The option `--status`: asks the running gateway how it is.
namespace StatusCommand
{

/// Writes the answer, as lines for people or with `--json` as an object. The gateway is found at
/// `--status-socket`, or at the socket that the configuration names.
///
/// Failure: throws `std::runtime_error` with what to do if there is no answer.
void run(const boost::program_options::variables_map& in_variables, std::ostream& out_stream);

} // namespace StatusCommand

} // namespace GatewayExample
