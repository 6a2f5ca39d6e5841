// SPDX-License-Identifier: BSD-2-Clause

// Executes its arguments in order and prints the result of each:
//
//   load=NAME        DynLibsLoader::loadDynLib
//   vector=NAME,...  DynLibsLoader::loadDynLibs of a vector
//   list=TEXT        DynLibsLoader::loadDynLibs of a configuration with this list
//   open=NAME        opens a library with a factory that lives until "drop"
//   drop             deletes the factory
//   call=FUNCTION    calls a function of an opened library
//   keep=FUNCTION    finds a function of an opened library for "at-exit"
//   at-exit          calls the kept function in an entry of the exit list
//   at-exit-load=NAME  does the same as "load" in an entry of the exit list
//
// It also prints each library that the run-time linker opens or closes.

#include "velmora/config/ParameterHashMap.h"
#include "velmora/system/DynLibsLoader.h"
#include "velmora/system/DynlibObjectFactory.h"

#include "tests/support/LogToOutput.h"

#include <ace/Object_Manager.h>

#include <dlfcn.h>

#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace
{

using namespace Velmora;

using Function = int (*)();

/// The test libraries that the run-time linker has opened, by their handles.
std::map<void*, std::string>& openedLibraries()
{
    static auto& s_opened = *new std::map<void*, std::string>;
    return s_opened;
}

std::string flagsOf(int in_iMode)
{
    std::string strFlags;
    for (const auto& [iFlag, szName] : {std::pair{RTLD_LAZY, " LAZY"},
                                        {RTLD_NOW, " NOW"},
                                        {RTLD_GLOBAL, " GLOBAL"},
                                        {RTLD_NODELETE, " NODELETE"}})
        if ((in_iMode & iFlag) != 0)
            strFlags += szName;
    return strFlags;
}

template <class F>
F real(const char* in_szName)
{
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, in_szName));
}

} // namespace

extern "C" __attribute__((visibility("default"))) void* dlopen(const char* in_szFile, int in_iMode)
{
    static const auto s_pReal = real<void* (*)(const char*, int)>("dlopen");
    void* const pHandle = s_pReal(in_szFile, in_iMode);
    const std::string strFile = in_szFile == nullptr ? "" : in_szFile;
    if (pHandle != nullptr && strFile.find("dynlib-") != std::string::npos)
    {
        openedLibraries()[pHandle] = strFile;
        std::cout << "opened " << strFile << flagsOf(in_iMode) << std::endl;
    }
    return pHandle;
}

extern "C" __attribute__((visibility("default"))) int dlclose(void* in_pHandle)
{
    static const auto s_pReal = real<int (*)(void*)>("dlclose");
    if (openedLibraries().contains(in_pHandle))
        std::cout << "closed " << openedLibraries()[in_pHandle] << std::endl;
    return s_pReal(in_pHandle);
}

namespace
{

std::unique_ptr<DynlibObjectFactoryNoT> s_pFactory;

bool open(const std::string& in_strName)
{
    if (s_pFactory == nullptr)
        s_pFactory = std::make_unique<DynlibObjectFactoryNoT>();
    return s_pFactory->openDynlib(in_strName.c_str());
}

bool loadVector(const std::string& in_strNames)
{
    std::vector<std::string> names;
    std::istringstream text(in_strNames);
    for (std::string strName; std::getline(text, strName, ',');)
        names.push_back(strName);
    return DynLibsLoader::loadDynLibs(names);
}

bool loadList(const std::string& in_strList)
{
    ParameterHashMap configuration;
    configuration.setStringParameter("keswardin.startup.loadDynLibList", in_strList.c_str());
    return DynLibsLoader::loadDynLibs(configuration);
}

Function s_pKept = nullptr;

Function find(const std::string& in_strFunction)
{
    return reinterpret_cast<Function>(dlsym(RTLD_DEFAULT, in_strFunction.c_str()));
}

/// Does the same, without making the run-time linker record that the program depends on the
/// library.
Function findInHandles(const std::string& in_strFunction)
{
    for (const auto& [pHandle, strFile] : openedLibraries())
        if (void* const pFunction = dlsym(pHandle, in_strFunction.c_str()))
            return reinterpret_cast<Function>(pFunction);
    return nullptr;
}

/// Returns the result of the function; -1 if no opened library has it.
int call(const std::string& in_strFunction)
{
    const Function pFunction = find(in_strFunction);
    return pFunction == nullptr ? -1 : pFunction();
}

class AtExit : public ACE_Cleanup
{
  public:
    explicit AtExit(std::function<void()> in_deed) : m_deed(std::move(in_deed)) {}
    ~AtExit() override { m_deed(); }

  private:
    std::function<void()> m_deed;
};

int doAtExit(const std::function<void()>& in_deed)
{
    return ACE_Object_Manager::at_exit(new AtExit(in_deed));
}

void printResult(const std::string& in_strWhat, int in_iResult)
{
    std::cout << in_strWhat << ": " << in_iResult << std::endl;
}

using Deed = std::function<int(const std::string&)>;

const std::map<std::string, Deed> s_deeds{
    {"load",
     [](const std::string& in_strText) { return DynLibsLoader::loadDynLib(in_strText.c_str()); }},
    {"vector", &loadVector},
    {"list", &loadList},
    {"open", &open},
    {"drop",
     [](const std::string&)
     {
         s_pFactory.reset();
         return 0;
     }},
    {"call", &call},
    {"keep",
     [](const std::string& in_strText)
     {
         s_pKept = findInHandles(in_strText);
         return s_pKept != nullptr;
     }},
    {"at-exit",
     [](const std::string&) { return doAtExit([] { printResult("at exit", s_pKept()); }); }},
    {"at-exit-load",
     [](const std::string& in_strText)
     {
         return doAtExit(
             [in_strText]
             { printResult("at exit", DynLibsLoader::loadDynLib(in_strText.c_str())); });
     }},
};

} // namespace

int main(int argc, char** argv)
{
    Test::logToOutput(
        {"keswardin.infra.DynLibsLoader", "keswardin.infra.DynlibObjectFactory", "keswardin.test"});
    for (int iArgument = 1; iArgument < argc; ++iArgument)
    {
        const std::string strArgument = argv[iArgument];
        const std::size_t uiEnd = strArgument.find('=');
        const std::string strText = uiEnd == std::string::npos ? "" : strArgument.substr(uiEnd + 1);
        printResult(strArgument, s_deeds.at(strArgument.substr(0, uiEnd))(strText));
    }
    return 0;
}
