// SPDX-License-Identifier: BSD-2-Clause

// Opens two copies of the library, checks what they share, uses them, forks and ends:
// copiesoflibrary <file or module with it> <the same> <directory for files of calls>
// An empty name means the copy that the program itself is linked with.

#include "tests/support/ForkedChild.h"
#include "tests/support/NoLeakCheckInChild.h"
#include "velmora/alarm/AlarmRegistryImpl.h"
#include "velmora/application/BuildInfo.h"
#include "velmora/application/SingletonRegistry.h"
#include "velmora/logging/ACEBackend.h"
#include "velmora/logging/CallDataRegistry.h"

#include <ace/Cleanup.h>
#include <ace/Log_Msg.h>
#include <ace/Object_Manager.h>
#include <dlfcn.h>
#include <log4cplus/logger.h>

#include <cstdlib>
#include <iostream>
#include <string>

/// AddressSanitizer calls this. By default it would report each variable that the copies share.
extern "C" [[gnu::visibility("default")]] const char* __asan_default_options()
{
    return "detect_odr_violation=1";
}

namespace
{

class Copy
{
  public:
    explicit Copy(const std::string& in_strFile)
        : m_pHandle(
              dlopen(in_strFile.empty() ? nullptr : in_strFile.c_str(), RTLD_NOW | RTLD_LOCAL))
    {
        if (m_pHandle == nullptr)
        {
            std::cerr << dlerror() << std::endl;
            std::exit(3);
        }
    }

    /// Returns the result of a function without arguments.
    template <class T>
    [[nodiscard]] const void* get(const char* in_szFunction) const
    {
        auto* const pFunction = reinterpret_cast<T* (*)()>(addressOf(in_szFunction));
        return pFunction == nullptr ? nullptr : pFunction();
    }

    /// Uses the library through the module, if the copy came with a module.
    void use(const char* in_szDirectory, const char* in_szCallId) const
    {
        if (auto* const pFunction = reinterpret_cast<void (*)(const char*, const char*)>(
                dlsym(m_pHandle, "useLibrary")))
            pFunction(in_szDirectory, in_szCallId);
    }

    /// Logs the registered parameters, if the copy came with a module.
    void logParameters() const
    {
        if (auto* const pFunction = reinterpret_cast<void (*)()>(addressOf("logParameters")))
            pFunction();
    }

    [[nodiscard]] void* addressOf(const char* in_szFunction) const
    {
        return dlsym(m_pHandle, in_szFunction);
    }

  private:
    void* m_pHandle;
};

constexpr const char* s_szBuildInfo = "_ZN7Velmora9BuildInfo11getInstanceEv";
constexpr const char* s_szRegistry = "_ZN7Velmora17SingletonRegistry11getInstanceEv";
constexpr const char* s_szCalls = "_ZN7Velmora16CallDataRegistry11getInstanceEv";
constexpr const char* s_szAlarms = "_ZN7Velmora17AlarmRegistryImpl11getInstanceEv";
constexpr const char* s_szBridge = "_ZN7Velmora13getACEBackendEv";

template <class T>
void printSharing(const char* in_szWhat, const Copy& in_first, const Copy& in_second,
                  const char* in_szFunction)
{
    const void* const pFirst = in_first.get<T>(in_szFunction);
    std::cout << in_szWhat << ": one "
              << (pFirst != nullptr && pFirst == in_second.get<T>(in_szFunction)) << std::endl;
}

struct InStatics
{
    ~InStatics() { std::cout << "end: static destructor" << std::endl; }
} s_inStatics;

struct OnExitList : ACE_Cleanup
{
    ~OnExitList() override { std::cout << "end: exit list" << std::endl; }
};

/// Returns whether memory that is released to one copy is reused by that copy only.
bool hasMemoryOfItsOwn(const Copy& in_first, const Copy& in_second)
{
    using Allocate = void* (*)(std::size_t, const char*);
    using Deallocate = void (*)(void*, std::size_t, const char*);
    constexpr std::size_t uiSize = 40;
    constexpr const char* szAllocate = "_ZN7Velmora18StaticMemAllocator8allocateEmPKc";
    constexpr const char* szDeallocate = "_ZN7Velmora18StaticMemAllocator10deallocateEPvmPKc";
    const auto allocate = [](const Copy& in_copy)
    { return reinterpret_cast<Allocate>(in_copy.addressOf(szAllocate))(uiSize, "test"); };
    const auto deallocate = [](const Copy& in_copy, void* in_pMemory)
    { reinterpret_cast<Deallocate>(in_copy.addressOf(szDeallocate))(in_pMemory, uiSize, "test"); };
    void* const pOfFirst = allocate(in_first);
    deallocate(in_first, pOfFirst);
    void* const pOfSecond = allocate(in_second);
    void* const pOfFirstAgain = allocate(in_first);
    deallocate(in_first, pOfFirstAgain);
    deallocate(in_second, pOfSecond);
    return pOfSecond != pOfFirst && pOfFirstAgain == pOfFirst;
}

int exitCodeOfChildThatExits()
{
    return Velmora::Test::exitCodeOfChild(
        []
        {
            std::cout.setstate(std::ios::failbit);
            std::exit(0);
        });
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4)
        return 2;
    const Copy first(argv[1]);
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    root.setLogLevel(log4cplus::WARN_LOG_LEVEL);
    const void* const pBackend = ACE_Log_Msg::msg_backend();
    const Copy second(argv[2]);
    std::cout << "copies of the code: two "
              << (first.addressOf(s_szBuildInfo) != second.addressOf(s_szBuildInfo)) << std::endl;
    printSharing<Velmora::BuildInfo>("build information", first, second, s_szBuildInfo);
    printSharing<Velmora::SingletonRegistry>("registry of singletons", first, second, s_szRegistry);
    printSharing<Velmora::CallDataRegistry>("registry of calls", first, second, s_szCalls);
    printSharing<Velmora::AlarmRegistryImpl>("registry of alarms", first, second, s_szAlarms);
    printSharing<Velmora::ACEBackend>("bridge of ACE's log", first, second, s_szBridge);
    std::cout << "log: as it was " << (root.getLogLevel() == log4cplus::WARN_LOG_LEVEL)
              << ", ACE's " << (ACE_Log_Msg::msg_backend() == pBackend) << std::endl;
    std::cout << "memory: its own " << hasMemoryOfItsOwn(first, second) << std::endl;
    first.use(argv[3], "first");
    second.use(argv[3], "second");
    ACE_Object_Manager::at_exit(new OnExitList);
    const int iCode = exitCodeOfChildThatExits();
    std::cout << "child: status " << iCode << std::endl;
    first.logParameters();
    second.logParameters();
    return 0;
}
