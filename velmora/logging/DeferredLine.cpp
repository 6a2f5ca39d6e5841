// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/DeferredLine.h"

#include "velmora/application/ProcessGatePass.h"
#include "velmora/logging/AppenderChain.h"
#include "velmora/logging/Log4cplusAccess.h"
#include "velmora/logging/LoggingIdEvent.h"
#include "velmora/logging/LoggingSeam.h"
#include "velmora/logging/PerThreadPool.h"

#include <typeinfo>
#include <utility>

namespace Velmora
{

namespace
{

using log4cplus::spi::InternalLoggingEvent;

log4cplus::spi::LoggerImpl& implOf(const log4cplus::Logger& in_logger)
{
    return Log4cplusAccess::HandleMembers::implOf(in_logger);
}

} // namespace

void DeferredLine::append(const log4cplus::Logger& in_logger, const InternalLoggingEvent& in_event)
{
    const ProcessGate::InlinePass pass;
    if (!pass.isHolding()) [[likely]]
        return AppenderChain::callAppenders(implOf(in_logger), in_event);
    PerThreadPool<DeferredLine>::Lease line;
    Log4cplusAccess::HandleMembers::assign(in_logger, line->m_logger);
    line->keep(in_event);
    // From here on, `run` gives the line back to the pool.
    ProcessGate::whenFree(*line.release());
}

void DeferredLine::append(log4cplus::Appender& inout_appender, const InternalLoggingEvent& in_event)
{
    const ProcessGate::InlinePass pass;
    if (!pass.isHolding()) [[likely]]
        return AppenderChain::append(inout_appender, in_event);
    PerThreadPool<DeferredLine>::Lease line;
    line->keep(in_event);
    // Set last: if `keep` throws, the pool must not keep a reference on the appender.
    line->m_pAppender = log4cplus::SharedAppenderPtr(&inout_appender);
    ProcessGate::whenFree(*line.release());
}

void DeferredLine::keep(const InternalLoggingEvent& in_event)
{
    if (typeid(in_event) == typeid(ReusableEvent)) [[likely]]
        m_pKept = static_cast<const ReusableEvent&>(in_event).keep();
    else if (const auto* const pWithIds = dynamic_cast<const LoggingIdEvent*>(&in_event))
        // `clone` would lose the identifiers, from which a call file takes the call id out.
        m_pCopy = std::make_unique<LoggingIdEvent>(*pWithIds);
    else
        m_pCopy = in_event.clone();
}

void DeferredLine::run() noexcept
{
    const InternalLoggingEvent& event =
        m_pKept != nullptr ? static_cast<const InternalLoggingEvent&>(*m_pKept) : *m_pCopy;
    try
    {
        if (m_pAppender)
            AppenderChain::append(*m_pAppender, event);
        else
            AppenderChain::callAppenders(implOf(m_logger), event);
    }
    catch (...)
    {
        LoggingSeam::logFailureOfLine(m_pAppender ? "keswardin" : m_logger.getName().c_str());
    }
    // If the call has ended while its line waited, this closes the call's file.
    m_pAppender = log4cplus::SharedAppenderPtr();
    if (m_pKept != nullptr)
        std::exchange(m_pKept, nullptr)->letGo();
    m_pCopy.reset();
    PerThreadPool<DeferredLine>::giveBack(this);
}

} // namespace Velmora
