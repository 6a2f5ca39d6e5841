// SPDX-License-Identifier: BSD-2-Clause

// Prints the name of each entry of the exit list when the entry runs:
// printsexitlist return|thread
//
// It replaces the function of the ACE object manager that registers an entry. So it prints the
// entries of all libraries, in the order in which the list runs them.

#include "velmora/application/AceCleanupNoT.h"
#include "velmora/application/RegistrationSingleton.h"
#include "velmora/application/Singleton.h"
#include "velmora/logging/LogMacros.h"

#include <ace/Object_Manager.h>

#include <cxxabi.h>
#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

namespace
{

struct Entry
{
    std::string strName;
    ACE_CLEANUP_FUNC pHook;
    void* pParam;
};

std::string demangled(const char* in_szName)
{
    char* const szDemangled = abi::__cxa_demangle(in_szName, nullptr, nullptr, nullptr);
    std::string strName = szDemangled == nullptr ? in_szName : szDemangled;
    std::free(szDemangled);
    return strName;
}

void runEntry(void* in_pObject, void* in_pEntry)
{
    auto* const pEntry = static_cast<Entry*>(in_pEntry);
    const std::string strLine = pEntry->strName + '\n';
    if (write(STDOUT_FILENO, strLine.data(), strLine.size()) < 0)
        _exit(3);
    pEntry->pHook(in_pObject, pEntry->pParam);
    delete pEntry;
}

} // namespace

int ACE_Object_Manager::at_exit_i(void* object, ACE_CLEANUP_FUNC cleanup_hook, void* param,
                                  const char* name)
{
    using Function = int (*)(ACE_Object_Manager*, void*, ACE_CLEANUP_FUNC, void*, const char*);
    static const auto s_pReal = reinterpret_cast<Function>(
        dlsym(RTLD_NEXT, "_ZN18ACE_Object_Manager9at_exit_iEPvPFvS0_S0_ES0_PKc"));
    if (s_pReal == nullptr)
        _exit(4);
    auto* const pEntry =
        new Entry{demangled(name == nullptr ? "unnamed" : name), cleanup_hook, param};
    const int iResult = s_pReal(this, object, &runEntry, pEntry, name);
    if (iResult != 0)
        delete pEntry;
    return iResult;
}

VELMORA_FILE_SCOPE_LOGGER("keswardin.test.PrintsExitList")

namespace
{

struct Service
{
};

class Helper : public Velmora::AceCleanupNoT
{
};

} // namespace

int main(int argc, char** argv)
{
    Velmora::Logger().setLogLevel(Velmora::WARN_LOG_LEVEL);
    Velmora::registerSingleton("Service::Singleton", new Service);
    new Helper;
    if (argc == 2 && std::strcmp(argv[1], "thread") == 0)
        std::thread([] { std::exit(0); }).join();
    return 0;
}
