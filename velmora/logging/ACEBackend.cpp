#include "velmora/logging/ACEBackend.h"

#include "velmora/logging/Log4cplusAccess.h"

#include <ace/Object_Manager.h>
#include <log4cplus/configurator.h>
#include <log4cplus/logger.h>

#include <atomic>

namespace Velmora
{

namespace
{

std::atomic<ACEBackend*> s_pBackend{nullptr};

} // namespace

ACEBackend::ACEBackend()
{
    // log4cplus starts four threads for appenders that append asynchronously. A child that forks
    // and exits would wait for them forever, and the library is to leave no thread to the program.
    log4cplus::initialize();
    log4cplus::shutdownThreadPool();

    ACE_Object_Manager::at_exit(this, nullptr, "ACEBackend");
    log4cplus::BasicConfigurator::doConfigure(log4cplus::Logger::getDefaultHierarchy());
}

ACEBackend::~ACEBackend() { s_pBackend.store(nullptr, std::memory_order_relaxed); }

ACEBackend* getACEBackend()
{
    static const bool s_bMade = (s_pBackend.store(new ACEBackend, std::memory_order_relaxed), true);
    static_cast<void>(s_bMade);
    return s_pBackend.load(std::memory_order_relaxed);
}

} // namespace Velmora
