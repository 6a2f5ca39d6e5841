// SPDX-License-Identifier: BSD-2-Clause

#include "InformationOptions.h"

#include "ParameterListing.h"

#include "velmora/application/BuildInfo.h"

#include <boost/program_options/errors.hpp>
#include <boost/program_options/parsers.hpp>

#include <stdexcept>

namespace po = boost::program_options;

namespace GatewayExample
{

namespace
{

constexpr const char* s_szParamInfo = "get-param-info";
/// What `--get-param-info` has without an expression. No name of a parameter matches it.
constexpr const char* s_szOwnParameters = "=";

/// Boost.Program_options has no option whose value is a separate word that may be missing.
std::vector<std::string> withOwnParameters(int in_argc, char** in_argv)
{
    std::vector<std::string> arguments;
    for (int i = 1; i < in_argc; ++i)
    {
        arguments.emplace_back(in_argv[i]);
        const bool bLast = i + 1 == in_argc || in_argv[i + 1][0] == '-';
        if (bLast && arguments.back() == std::string("--") + s_szParamInfo)
            arguments.emplace_back(s_szOwnParameters);
    }
    return arguments;
}

void add(const std::string& in_strRegex, ParameterListing& inout_listing)
try
{
    if (!inout_listing.add(in_strRegex))
        throw po::error("no parameter has a name that matches '" + in_strRegex + "'");
}
catch (const std::runtime_error& error)
{
    throw po::error("the expression '" + in_strRegex + "' is wrong: " + error.what());
}

void writeParameters(const po::variables_map& in_variables, std::ostream& out_stream)
{
    ParameterListing listing;
    for (const std::string& strRegex : in_variables[s_szParamInfo].as<std::vector<std::string>>())
        if (strRegex == s_szOwnParameters)
            listing.addOwn();
        else
            add(strRegex, listing);
    if (in_variables["json"].as<bool>())
        listing.writeJson(out_stream);
    else
        listing.writeText(out_stream);
}

} // namespace

po::variables_map InformationOptions::parse(const po::options_description& in_options, int in_argc,
                                            char** in_argv)
{
    po::variables_map variables;
    const po::positional_options_description noOthers;
    po::store(po::command_line_parser(withOwnParameters(in_argc, in_argv))
                  .options(in_options)
                  .positional(noOthers)
                  .run(),
              variables);
    return variables;
}

bool InformationOptions::isAsked(const po::variables_map& in_variables)
{
    for (const char* const szSwitch : {"help", "product-name", "version", "build-info"})
        if (in_variables[szSwitch].as<bool>())
            return true;
    return in_variables.count(s_szParamInfo) != 0;
}

void InformationOptions::answer(const po::variables_map& in_variables,
                                const po::options_description& in_options,
                                const std::string& in_strProductName, std::ostream& out_stream)
{
    if (in_variables["help"].as<bool>())
        out_stream << "Usage : gateway [options]\n" << in_options;
    if (in_variables["product-name"].as<bool>())
        out_stream << "Product name : " << in_strProductName << '\n';
    if (in_variables["version"].as<bool>())
        out_stream << "Product version : " << GATEWAY_VERSION << '\n';
    if (in_variables["build-info"].as<bool>())
        Velmora::BuildInfo::getInstance()->write(out_stream << "Build Info :\n") << '\n';
    if (in_variables.count(s_szParamInfo) != 0)
        writeParameters(in_variables, out_stream);
}

} // namespace GatewayExample
