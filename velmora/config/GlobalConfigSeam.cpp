// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/GlobalConfigSeam.h"

#include <atomic>

namespace Velmora
{

namespace
{

constinit std::atomic<GlobalConfigSeam::DatabaseSource*> s_pDatabaseSource{nullptr};
constinit std::atomic<GlobalConfigSeam::CallLogging*> s_pCallLogging{nullptr};

} // namespace

void GlobalConfigSeam::setDatabaseSource(DatabaseSource* in_pSource)
{
    s_pDatabaseSource.store(in_pSource, std::memory_order_release);
}

GlobalConfigSeam::DatabaseSource* GlobalConfigSeam::getDatabaseSource()
{
    return s_pDatabaseSource.load(std::memory_order_acquire);
}

void GlobalConfigSeam::setCallLogging(CallLogging* in_pCallLogging)
{
    s_pCallLogging.store(in_pCallLogging, std::memory_order_release);
}

GlobalConfigSeam::CallLogging* GlobalConfigSeam::getCallLogging()
{
    return s_pCallLogging.load(std::memory_order_acquire);
}

} // namespace Velmora
