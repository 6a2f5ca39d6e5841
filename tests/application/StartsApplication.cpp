// SPDX-License-Identifier: BSD-2-Clause

// A program that derives from ApplicationImpl. Its arguments up to the first "--" change its
// behaviour. The arguments after each "--" are a command line; it is initialised with one after the
// other:
//
//   verbose            the default logging shows levels and names of loggers, from TRACE on
//   refuse-logger      configureLoggerDefault with a command line returns false
//   refuse-revert      configureLoggerDefault without a command line returns false
//   refuse-configure   configure returns false after the call of the base class
//   refuse-putenv      the system refuses variables whose name begins with "REFUSED"
//   refuse-detector    the leak detector cannot be configured; exits with 4 if that is impossible
//   abort-on-assert    a failed assertion ends the process
//   other-alarm        an alarm with the id of the program's own is registered before it
//   no-arguments       the command line is empty and lacks even the program's name
//   param=NAME, env=NAME, env-at-exit=NAME   prints a parameter, a variable
//   timeouts, directory, levels, alarm   prints them
//   handle-help        run() begins with processHelpParamInfoOptions
//
// It prints the result of each "initialize", and "run". It exits with 1 if the last "initialize"
// returned false.

#include "velmora/alarm/AlarmRegistry.h"
#include "velmora/alarm/SystemConfigurationErrorAlarm.h"
#include "velmora/application/ApplicationImpl.h"
#include "velmora/config/Parameter.h"
#include "velmora/config/RWGlobalConfig.h"
#include "velmora/memory/MemLeakDetector.h"

#include <log4cplus/layout.h>

#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace
{

using namespace Velmora;

std::vector<std::string> s_deeds;
bool s_bRefusesPutEnv = false;

bool does(std::string_view in_strDeed)
{
    for (const std::string& strDeed : s_deeds)
        if (strDeed == in_strDeed)
            return true;
    return false;
}

} // namespace

/// Replaces the function of the C library, which fails only if there is no memory.
extern "C" __attribute__((visibility("default"))) int putenv(char* in_szVariable) noexcept
{
    using Function = int (*)(char*);
    static const auto s_pReal = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "putenv"));
    if (s_bRefusesPutEnv && std::strncmp(in_szVariable, "REFUSED", 7) == 0)
    {
        errno = ENOMEM;
        return -1;
    }
    return s_pReal(in_szVariable);
}

namespace
{

/// Overwrites the code of the function with "return false".
void refuseDetector()
{
    constexpr int iCannotRefuse = 4;
    constexpr std::array<unsigned char, 3> returnFalse{0x31, 0xC0, 0xC3};
    auto* const pCode = reinterpret_cast<unsigned char*>(&MemLeakDetector::sConfigure);
    const auto uiPageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const std::uintptr_t uiBegin = reinterpret_cast<std::uintptr_t>(pCode) & ~(uiPageSize - 1);
    auto* const pBegin = reinterpret_cast<void*>(uiBegin);
    if (mprotect(pBegin, 2 * uiPageSize, PROT_READ | PROT_WRITE | PROT_EXEC) != 0)
        std::exit(iCannotRefuse);
    std::memcpy(pCode, returnFalse.data(), returnFalse.size());
}

void printVariable(const std::string& in_strName)
{
    const char* const szValue = std::getenv(in_strName.c_str());
    std::cout << in_strName << ": " << (szValue == nullptr ? "none" : szValue) << std::endl;
}

class Program : public ApplicationImpl
{
  public:
    Program() : ApplicationImpl(Logger("keswardin.test.Program"), "program") {}

    void run() override
    {
        if (does("handle-help"))
        {
            bool bHandled = false;
            processHelpParamInfoOptions(bHandled);
            std::cout << "handled: " << bHandled << std::endl;
        }
        std::cout << "run" << std::endl;
    }

    void printRequested() const
    {
        if (does("timeouts"))
        {
            printTimeout("exit time-out", getExitTimeout());
            printTimeout("kill time-out", getKillTimeout());
        }
        if (does("directory"))
            std::cout << "directory: " << std::filesystem::current_path().string() << std::endl;
        if (does("levels"))
            std::cout << "levels: " << log4cplus::Logger::getRoot().getLogLevel() << ' '
                      << Logger().getLogLevel() << std::endl;
        if (does("alarm"))
            std::cout
                << "alarm: "
                << AlarmRegistry::getInstance().getAlarm("system.configuration.error")->getState()
                << std::endl;
        for (const std::string& strDeed : s_deeds)
        {
            if (strDeed.starts_with("env="))
                printVariable(strDeed.substr(4));
            if (strDeed.starts_with("param="))
                printParameter(strDeed.substr(6));
        }
    }

  protected:
    bool configureLoggerDefault(int in_argc, char** in_argv) override
    {
        if (does("refuse-logger"))
            return false;
        if (!does("refuse-revert"))
            return ApplicationImpl::configureLoggerDefault(in_argc, in_argv);
        return ApplicationImpl::configureLoggerDefault();
    }

    bool configureLoggerDefault() override
    {
        if (does("refuse-revert") || !ApplicationImpl::configureLoggerDefault())
            return false;
        if (does("verbose"))
        {
            Logger().setLogLevel(TRACE_LOG_LEVEL);
            for (const log4cplus::SharedAppenderPtr& pAppender :
                 log4cplus::Logger::getRoot().getAllAppenders())
                pAppender->setLayout(std::make_unique<log4cplus::PatternLayout>("%p %c: %m%n"));
        }
        return true;
    }

    bool configure(const ROConfiguration& in_config) override
    {
        return ApplicationImpl::configure(in_config) && !does("refuse-configure");
    }

  private:
    static void printTimeout(const char* in_szName, const ACE_Time_Value& in_timeout)
    {
        std::cout << in_szName << ": ";
        if (in_timeout == ACE_Time_Value::max_time)
            std::cout << "none" << std::endl;
        else
            std::cout << in_timeout.sec() << " s" << std::endl;
    }

    void printParameter(const std::string& in_strName) const
    {
        ParameterValue value;
        getConfig()->getParameter(in_strName.c_str(), value);
        std::cout << in_strName << ": " << value << std::endl;
    }
};

/// Prints variables after the program object and all that it created have been destroyed.
struct PrintsAtExit
{
    ~PrintsAtExit()
    {
        for (const std::string& strName : m_names)
            printVariable(strName);
    }

    std::vector<std::string> m_names;
} s_printsAtExit;

void prepare()
{
    s_bRefusesPutEnv = does("refuse-putenv");
    if (does("refuse-detector"))
        refuseDetector();
    if (does("abort-on-assert"))
    {
        // ApplicationImpl would make the process leave a core.
        prctl(PR_SET_DUMPABLE, 0);
        RWGlobalConfig::getInstance()->setBoolParameter("keswardin.infra.abortOnAssert", true);
    }
    if (does("other-alarm"))
        AlarmRegistry::getInstance().addAlarm(new SystemConfigurationErrorAlarm, false);
    for (const std::string& strDeed : s_deeds)
        if (strDeed.starts_with("env-at-exit="))
            s_printsAtExit.m_names.push_back(strDeed.substr(12));
}

/// Returns the arguments after each "--", each with the program's name in front, and stores the
/// arguments before the first "--" as deeds.
std::vector<std::vector<char*>> takeCommandLines(int in_argc, char** in_argv)
{
    std::vector<std::vector<char*>> lines;
    for (int iArgument = 1; iArgument < in_argc; ++iArgument)
    {
        if (std::strcmp(in_argv[iArgument], "--") == 0)
            lines.push_back({in_argv[0]});
        else if (lines.empty())
            s_deeds.emplace_back(in_argv[iArgument]);
        else
            lines.back().push_back(in_argv[iArgument]);
    }
    return lines;
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<std::vector<char*>> lines = takeCommandLines(argc, argv);
    // Unbuffered, so that no output is lost at an abort.
    std::cout << std::unitbuf;
    prepare();
    Program program;
    bool bInitialized = false;
    for (std::vector<char*>& line : lines)
    {
        const int iArguments = does("no-arguments") ? 0 : static_cast<int>(line.size());
        line.push_back(nullptr);
        bInitialized = program.initialize(iArguments, line.data());
        std::cout << "initialize: " << bInitialized << std::endl;
        program.printRequested();
    }
    if (!bInitialized)
        return 1;
    program.run();
    return 0;
}
