// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/RegistrationSingleton.h"

#include "velmora/application/Assertion.h"
#include "velmora/application/GatedGuard.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"

#include <ace/Object_Manager.h>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(RegistrationSingleton)

namespace Velmora
{

namespace
{

/// The hash table has buckets for this number of objects from the start.
constexpr std::size_t s_uiExpectedObjects = 100;

} // namespace

GatedMutex& RegistrationSingleton::s_mutex = *new GatedMutex;
RegistrationSingleton::ObjectHash& RegistrationSingleton::s_objectHash =
    *new ObjectHash(s_uiExpectedObjects);
std::string& RegistrationSingleton::s_strScratchName = *new std::string;

bool RegistrationSingleton::registerInstance(const char* in_szName, TSHandle<Object> in_hObject)
{
    VELMORA_FILE_TRACE_SCOPE(RegistrationSingleton::registerInstance);
    VELMORA_FILE_ASSERT_TEXT(in_szName != nullptr, "in_szName != 0");
    if (in_szName == nullptr)
        return false;
    const GatedGuard<GatedMutex> guard(s_mutex);
    VELMORA_FILE_LOG_DEBUG("Registring object named " << in_szName);
    s_strScratchName = in_szName;
    s_objectHash.emplace(s_strScratchName, std::move(in_hObject));
    return true;
}

bool RegistrationSingleton::deregister(const char* in_szName)
{
    VELMORA_FILE_TRACE_SCOPE(RegistrationSingleton::deregister);
    VELMORA_FILE_ASSERT_TEXT(in_szName != nullptr, "in_szName != 0");
    if (in_szName == nullptr)
        return false;
    // Destroyed after the mutex is unlocked, as the destructor of an object may use the pool.
    std::vector<ObjectHash::node_type> removed;
    const GatedGuard<GatedMutex> guard(s_mutex);
    VELMORA_FILE_LOG_DEBUG("Deregistring object named " << in_szName);
    s_strScratchName = in_szName;
    auto iter = s_objectHash.find(s_strScratchName);
    while (iter != s_objectHash.end() && iter->first == s_strScratchName)
        removed.push_back(s_objectHash.extract(iter++));
    VELMORA_FILE_ASSERT((iter = s_objectHash.find(s_strScratchName)) == s_objectHash.end());
    return iter == s_objectHash.end();
}

std::vector<TSHandle<Object>> RegistrationSingleton::getInstances(const char* in_szName)
{
    VELMORA_FILE_TRACE_SCOPE(RegistrationSingleton::getInstances);
    std::vector<TSHandle<Object>> result;
    VELMORA_FILE_ASSERT_TEXT(in_szName != nullptr, "in_szName != 0");
    if (in_szName == nullptr)
        return result;
    const GatedGuard<GatedMutex> guard(s_mutex);
    VELMORA_FILE_LOG_DEBUG("Getting object named " << in_szName);
    s_strScratchName = in_szName;
    const auto [begin, end] = s_objectHash.equal_range(s_strScratchName);
    for (auto iter = begin; iter != end; ++iter)
        result.push_back(iter->second);
    if (result.empty())
        VELMORA_FILE_LOG_DEBUG("Can't find object with name "
                               << in_szName << ", table size =  " << s_objectHash.size());
    return result;
}

void RegistrationSingleton::cleanUpAtExit()
{
    // The exit list identifies an entry by an address, which no other code may use. The pool itself
    // may not exist yet.
    static char s_cEntry;
    ACE_Object_Manager::at_exit(&s_cEntry, &cleanup, nullptr, "RegistrationSingleton");
}

void RegistrationSingleton::cleanup(void*, void*)
{
    // Destroyed after the mutex is unlocked, as the destructor of an object may use the pool.
    ObjectHash removed;
    const GatedGuard<GatedMutex> guard(s_mutex);
    removed.swap(s_objectHash);
}

} // namespace Velmora
