// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/ACEBackend.h"

#include "velmora/logging/Log4cplusAccess.h"
#include "velmora/logging/Log4cplusBackend.h"
#include "velmora/logging/LoggingSeam.h"
#include "velmora/logging/OncePerProcess.h"

#include <ace/Log_Msg.h>
#include <ace/Object_Manager.h>
#include <log4cplus/configurator.h>
#include <log4cplus/logger.h>

#include <cstdlib>

namespace Velmora
{

namespace
{

OncePerProcess<ACEBackend>& backendOfProcess()
{
    static OncePerProcess<ACEBackend> s_place("ACEBackend");
    return s_place;
}

void takeOverLogOfACE(Log4cplusBackend& in_backend)
{
    ACE_Log_Msg* const pLog = ACE_Log_Msg::instance();
    if (pLog->open("keswardin", ACE_Log_Msg::STDERR, nullptr) == -1)
    {
        ACE_ERROR((LM_ERROR, ACE_TEXT("Failed to create ACE logger")));
        std::exit(1);
    }
    ACE_Log_Msg::msg_backend(&in_backend);
    pLog->set_flags(ACE_Log_Msg::CUSTOM);
    pLog->clr_flags(ACE_Log_Msg::STDERR);
}

} // namespace

ACEBackend::ACEBackend() : m_pLog4cplusBackend(std::make_unique<Log4cplusBackend>())
{
    // log4cplus starts four threads for appenders that append asynchronously. A child that forks
    // and exits would wait for them forever, and the library must not leave threads in the program.
    log4cplus::initialize();
    log4cplus::shutdownThreadPool();

    // Nothing is on the exit list before this, so the bridge is deleted last.
    ACE_Object_Manager::at_exit(this, nullptr, "ACEBackend");
    takeOverLogOfACE(*m_pLog4cplusBackend);
    log4cplus::BasicConfigurator::doConfigure(log4cplus::Logger::getDefaultHierarchy());
}

ACEBackend::~ACEBackend()
{
    // ACE may log after this, and must not call the deleted backend.
    ACE_Log_Msg::instance()->clr_flags(ACE_Log_Msg::CUSTOM);
    ACE_Log_Msg::msg_backend(nullptr);
    backendOfProcess().clear(this);
}

ACEBackend* getACEBackend()
{
    // Another copy of the library may have made it, and logging may have been configured since.
    static const bool s_bMade =
        backendOfProcess().get() != nullptr || backendOfProcess().fill(new ACEBackend) != nullptr;
    static_cast<void>(s_bMade);
    return backendOfProcess().get();
}

ACEBackend* LoggingSeam::makeBridge() { return getACEBackend(); }

} // namespace Velmora
