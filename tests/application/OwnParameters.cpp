// SPDX-License-Identifier: BSD-2-Clause

// A program of the family with its own parameters. A static of one of its source files registers
// some of them, main registers the others:
//
//   application-own-parameters [deed...] -- <command line>
//
//   plugin=FILE   opens a plug-in that registers a parameter, and closes it again
//   wrong         main registers rows that are refused
//   late          the program registers a parameter in run()
//   set=NAME=INT  the program sets a parameter in run()
//
// The program prints the results, and in run() its port and its level. It exits with 1 if it does
// not start.

#include "velmora/application/ApplicationImpl.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/ProgramParameter.h"
#include "velmora/config/RWGlobalConfig.h"

#include <dlfcn.h>

#include <cstring>
#include <iostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace
{

using namespace Velmora;

constexpr ProgramParameter s_monitorParameters[] = {
    {.szName = "monitor.port",
     .type = ParameterValue::INT_TYPE,
     .szDefault = "8090",
     .szLowest = "1",
     .szHighest = "65535",
     .szDescription = "The port on which the monitor serves."},
    {.szName = "monitor.realm", .type = ParameterValue::STRING_TYPE},
};

[[maybe_unused]] const bool s_bRegistered =
    ParameterInfoDB::registerParameters(s_monitorParameters);

constexpr ProgramParameter s_parameters[] = {
    {.szName = "program.level",
     .type = ParameterValue::INT_TYPE,
     .szDefault = "3",
     .szLowest = "0",
     .bRunTimeSettable = true},
    // The same row again, as when two modules of a program need the parameter.
    s_monitorParameters[0],
};

constexpr ProgramParameter s_wrongParameters[] = {
    {.szName = "keswardin.own", .type = ParameterValue::INT_TYPE},
    {.szName = "program.ratio", .type = ParameterValue::FLOAT_TYPE, .szDefault = "90"},
};

constexpr ProgramParameter s_lateParameters[] = {
    {.szName = "program.late", .type = ParameterValue::INT_TYPE}};

std::vector<std::string> s_deeds;

void registerMore(const char* in_szDeed, std::span<const ProgramParameter> in_parameters)
{
    const bool bRegistered = ParameterInfoDB::registerParameters(in_parameters);
    std::cout << in_szDeed << ": " << bRegistered << std::endl;
}

class Program : public ApplicationImpl
{
  public:
    Program() : ApplicationImpl(Logger("keswardin.test.Program"), "program") {}

    void run() override
    {
        const TSHandle<RWGlobalConfig> hConfig = RWGlobalConfig::getInstance();
        hConfig->declareRunTime();
        for (const std::string& strDeed : s_deeds)
        {
            if (strDeed == "late")
                registerMore("late", s_lateParameters);
            if (strDeed.starts_with("set="))
                set(*hConfig, strDeed.substr(4));
        }
        for (const char* const szName : {"monitor.port", "program.level"})
        {
            int iValue = -1;
            getConfig()->getIntParameter(szName, iValue);
            std::cout << szName << ": " << iValue << std::endl;
        }
    }

  private:
    static void set(RWGlobalConfig& inout_config, const std::string& in_strWhat)
    {
        const std::size_t uiEquals = in_strWhat.find('=');
        const std::string strName = in_strWhat.substr(0, uiEquals);
        const int iValue = std::stoi(in_strWhat.substr(uiEquals + 1));
        const bool bSet = inout_config.setIntParameter(strName.c_str(), iValue);
        std::cout << "set " << in_strWhat << ": " << bSet << std::endl;
    }
};

bool openAndClose(const char* in_szPlugin)
{
    void* const pPlugin = dlopen(in_szPlugin, RTLD_NOW | RTLD_LOCAL);
    return pPlugin != nullptr && dlclose(pPlugin) == 0 &&
           dlopen(in_szPlugin, RTLD_NOW | RTLD_NOLOAD) == nullptr;
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<char*> arguments{argv[0]};
    bool bAreDeeds = true;
    for (int iArgument = 1; iArgument < argc; ++iArgument)
    {
        if (!bAreDeeds)
            arguments.push_back(argv[iArgument]);
        else if (std::strcmp(argv[iArgument], "--") == 0)
            bAreDeeds = false;
        else
            s_deeds.emplace_back(argv[iArgument]);
    }
    const int iArguments = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    if (!s_bRegistered || !ParameterInfoDB::registerParameters(s_parameters))
        return 2;
    for (const std::string& strDeed : s_deeds)
    {
        if (strDeed.starts_with("plugin="))
            std::cout << "plug-in: " << openAndClose(strDeed.c_str() + 7) << std::endl;
        if (strDeed == "wrong")
            registerMore("wrong", s_wrongParameters);
    }
    Program program;
    if (!program.initialize(iArguments, arguments.data()))
        return 1;
    program.run();
    return 0;
}
