// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/StackTrace.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"

#include <execinfo.h>
#include <pthread.h>

#include <cstdio>
#include <cstdlib>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(StackTrace)

namespace Velmora
{

namespace
{

constexpr const char* s_szNoSymbols = "Failed to get backtrace symbols";

LogLevel levelOfLines(LogLevel in_logLevel)
{
    switch (in_logLevel)
    {
    case DEBUG_LOG_LEVEL:
    case INFO_LOG_LEVEL:
    case WARN_LOG_LEVEL:
    case FATAL_LOG_LEVEL:
        return in_logLevel;
    default:
        return ERROR_LOG_LEVEL;
    }
}

} // namespace

StackTrace::StackTrace()
    : m_iFrames(backtrace(m_addresses.data(), static_cast<int>(m_addresses.size())))
{
    m_pSymbols = backtrace_symbols(m_addresses.data(), m_iFrames);
}

// The array and its texts are one block of memory from malloc.
StackTrace::~StackTrace() { std::free(m_pSymbols); }

void StackTrace::print() const
{
    if (m_pSymbols == nullptr)
    {
        std::fprintf(stderr, "%s\n", s_szNoSymbols);
        return;
    }
    const pthread_t thread = pthread_self();
    for (int iFrame = 0; iFrame < m_iFrames; ++iFrame)
        std::fprintf(stderr, "[%lu] %s\n", thread, m_pSymbols[iFrame]);
}

void StackTrace::log(LogLevel in_logLevel) const
{
    if (m_pSymbols == nullptr)
    {
        VELMORA_FILE_LOG_ERROR(s_szNoSymbols);
        return;
    }
    const LogLevel logLevel = levelOfLines(in_logLevel);
    for (int iFrame = 0; iFrame < m_iFrames; ++iFrame)
        VELMORA_FILE_LOG(logLevel, "[" << pthread_self() << "] " << m_pSymbols[iFrame]);
}

} // namespace Velmora
