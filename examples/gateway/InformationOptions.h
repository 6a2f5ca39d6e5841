// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <boost/program_options/options_description.hpp>
#include <boost/program_options/variables_map.hpp>

#include <ostream>
#include <string>
#include <vector>

namespace GatewayExample
{

/// The options that only ask about the program: `--help`, `--product-name`, `--version`,
/// `--build-info` and `--get-param-info`. They need no configuration.
namespace InformationOptions
{

/// Returns the options of a command line.
///
/// Failure: throws `boost::program_options::error`, whose text is for the operator.
[[nodiscard]] boost::program_options::variables_map
parse(const boost::program_options::options_description& in_options, int in_argc, char** in_argv);

/// Returns whether the command line asks about the program.
[[nodiscard]] bool isAsked(const boost::program_options::variables_map& in_variables);

/// Writes the answers to all that the command line asks. `--get-param-info` without an expression
/// lists the parameters that this program reads, else all parameters of the family whose names the
/// expressions match; `--json` makes it an array of objects.
///
/// Failure: throws `boost::program_options::error` for an expression that is invalid or that no
/// parameter matches.
void answer(const boost::program_options::variables_map& in_variables,
            const boost::program_options::options_description& in_options,
            const std::string& in_strProductName, std::ostream& out_stream);

} // namespace InformationOptions

} // namespace GatewayExample
