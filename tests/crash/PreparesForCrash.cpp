// SPDX-License-Identifier: BSD-2-Clause

// Performs its arguments one after the other, and prints the result of each to standard output:
//
//   bool=NAME=true|false  sets a parameter of the configuration
//   string=NAME=TEXT      sets a parameter of the configuration
//   cd=DIRECTORY          changes the working directory by itself
//   leave                 removes the working directory
//   limit=BYTES           sets the soft limit of core files, which may be raised again
//   lower=BYTES           lowers the hard limit, too, and prints whether that is final
//   refuse                makes each later call that sets a limit fail; exits with 4 if impossible
//   configure             calls configureCrashHandling
//   configure-default     calls configureDefaultCrashHandling
//   print                 prints the working directory and the limits of core files
//   handlers              prints the signals of a crash that have a handler
//   abort-on-assert       makes a failed assertion end the process
//   dump                  calls dumpCore
//   unlimited             raises the soft limit of core files to the hard limit by itself
//   abort                 calls Velmora::abort
//   kill=SIGNAL           sends itself a signal

#include "velmora/application/AssertionSeam.h"
#include "velmora/application/CoreDump.h"
#include "velmora/application/Crash.h"
#include "velmora/application/Debug.h"
#include "velmora/config/ParameterHashMap.h"
#include "velmora/system/test/SyscallFilter.h"

#include "tests/support/LogToOutput.h"

#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <utility>

namespace
{

using namespace Velmora;

class AlwaysAbort : public AssertionSeam::BoolParameters
{
  public:
    bool getBoolParameter(const char*, bool& out_bValue) override
    {
        out_bValue = true;
        return true;
    }
    bool setBoolParameter(const char*, bool) override { return false; }
};

constexpr int s_iCannotRefuse = 4;

ParameterHashMap s_configuration;
AlwaysAbort s_alwaysAbort;

void printResult(const char* in_szDeed, bool in_bResult)
{
    std::cout << in_szDeed << ": " << in_bResult << std::endl;
}

rlimit coreLimits()
{
    rlimit limits{};
    if (getrlimit(RLIMIT_CORE, &limits) != 0)
        std::exit(3);
    return limits;
}

void setLimit(rlim_t in_limit)
{
    const rlimit limits{in_limit, coreLimits().rlim_max};
    if (setrlimit(RLIMIT_CORE, &limits) != 0)
        std::exit(3);
}

void lowerBoth(rlim_t in_limit)
{
    const rlimit lowered{in_limit, in_limit};
    const rlimit raised{in_limit, RLIM_INFINITY};
    if (setrlimit(RLIMIT_CORE, &lowered) != 0)
        std::exit(3);
    printResult("lowered for good", setrlimit(RLIMIT_CORE, &raised) != 0);
    if (setrlimit(RLIMIT_CORE, &lowered) != 0)
        std::exit(3);
}

void refuseLimits()
{
    // A read of a limit is the same call with a null third argument.
    const bool bRefused =
        Test::makeCallsFail({{SYS_prlimit64, EPERM, 2, 0xFFFFFFFF}, {SYS_setrlimit, EPERM}});
    if (!bRefused)
        std::exit(s_iCannotRefuse);
}

void printLimit(const char* in_szName, rlim_t in_limit)
{
    std::cout << in_szName << (in_limit == RLIM_INFINITY ? "unlimited" : std::to_string(in_limit))
              << std::endl;
}

void printState()
{
    std::error_code error;
    std::cout << "directory: " << std::filesystem::current_path(error).string() << std::endl;
    const rlimit limits = coreLimits();
    printLimit("soft limit: ", limits.rlim_cur);
    printLimit("hard limit: ", limits.rlim_max);
}

void printHandlers()
{
    std::cout << "handlers:";
    for (const int iSignal : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGQUIT, SIGSEGV, SIGSYS, SIGTRAP})
    {
        struct sigaction action = {};
        if (sigaction(iSignal, nullptr, &action) != 0)
            std::exit(3);
        if (action.sa_handler != SIG_DFL)
            std::cout << ' ' << iSignal;
    }
    std::cout << std::endl;
}

/// Splits at the first '='.
std::pair<std::string, std::string> splitPair(const std::string& in_strText)
{
    const std::size_t uiEnd = in_strText.find('=');
    if (uiEnd == std::string::npos)
        return {in_strText, ""};
    return {in_strText.substr(0, uiEnd), in_strText.substr(uiEnd + 1)};
}

void setParameter(const std::string& in_strNameAndValue, bool in_bIsBool)
{
    const auto [strName, strValue] = splitPair(in_strNameAndValue);
    if (in_bIsBool)
        s_configuration.setBoolParameter(strName.c_str(), strValue == "true");
    else
        s_configuration.setStringParameter(strName.c_str(), strValue.c_str());
}

using Deed = std::function<void(const std::string&)>;

const std::map<std::string, Deed> s_deeds{
    {"bool", [](const std::string& in_strText) { setParameter(in_strText, true); }},
    {"string", [](const std::string& in_strText) { setParameter(in_strText, false); }},
    {"cd", [](const std::string& in_strText) { std::filesystem::current_path(in_strText); }},
    {"leave", [](const std::string&) { std::filesystem::remove(std::filesystem::current_path()); }},
    {"limit", [](const std::string& in_strText) { setLimit(std::stoul(in_strText)); }},
    {"lower", [](const std::string& in_strText) { lowerBoth(std::stoul(in_strText)); }},
    {"refuse", [](const std::string&) { refuseLimits(); }},
    {"configure",
     [](const std::string&) { printResult("configure", configureCrashHandling(s_configuration)); }},
    {"configure-default",
     [](const std::string&) { printResult("configure-default", configureDefaultCrashHandling()); }},
    {"print", [](const std::string&) { printState(); }},
    {"handlers", [](const std::string&) { printHandlers(); }},
    {"abort-on-assert",
     [](const std::string&) { AssertionSeam::setBoolParameters(&s_alwaysAbort); }},
    {"dump", [](const std::string&) { printResult("dump", dumpCore("core.dump")); }},
    {"unlimited", [](const std::string&) { setLimit(coreLimits().rlim_max); }},
    {"abort", [](const std::string&) { Velmora::abort(); }},
    {"kill", [](const std::string& in_strText) { raise(std::stoi(in_strText)); }},
};

} // namespace

int main(int argc, char** argv)
{
    Test::logToOutput({"keswardin.infra.crash", "keswardin.infra.CoreDump"});
    for (int iArgument = 1; iArgument < argc; ++iArgument)
    {
        const auto [strName, strText] = splitPair(argv[iArgument]);
        s_deeds.at(strName)(strText);
    }
    return 0;
}
