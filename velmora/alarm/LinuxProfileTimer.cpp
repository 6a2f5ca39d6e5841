// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/alarm/LinuxProfileTimer.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(ProfileTimer)

namespace Velmora
{

namespace
{

constexpr const char* s_szFile = "/proc/stat";
/// The blank distinguishes the line of all processors from those of single ones ("cpu0").
constexpr const char* s_szLine = "cpu ";
/// Holds the first line, which is that of all processors.
constexpr std::size_t s_uiBufferSize = 1024;
constexpr double s_dAllIdle = 100.0;

/// Reads the file from its start. Returns the number of bytes, or -1 with `errno` set. An empty
/// file returns 0 with `errno` set to ENODATA.
ssize_t readFromStart(int in_iFile, char* out_pBuffer, std::size_t in_uiSize)
{
    if (lseek(in_iFile, 0, SEEK_SET) == -1)
        return -1;
    const ssize_t iRead = read(in_iFile, out_pBuffer, in_uiSize);
    if (iRead == 0)
        errno = ENODATA;
    return iRead;
}

/// Returns the increase of a counter, 0 if it has decreased.
std::uint64_t difference(std::uint64_t in_uiNow, std::uint64_t in_uiBefore)
{
    return in_uiNow > in_uiBefore ? in_uiNow - in_uiBefore : 0;
}

} // namespace

LinuxProfileTimer::LinuxProfileTimer() = default;

LinuxProfileTimer::~LinuxProfileTimer()
{
    if (m_iFile >= 0)
        close(m_iFile);
}

bool LinuxProfileTimer::readCpuStats(std::uint64_t& out_uiUser, std::uint64_t& out_uiNice,
                                     std::uint64_t& out_uiSystem, std::uint64_t& out_uiIdle,
                                     std::uint64_t& out_uiIowait, std::uint64_t& out_uiIrq,
                                     std::uint64_t& out_uiSoftirq, std::uint64_t& out_uiSteal)
{
    if (m_iFile < 0)
        m_iFile = open(s_szFile, O_RDONLY | O_CLOEXEC);
    if (m_iFile < 0)
    {
        const int iError = errno;
        VELMORA_FILE_LOG_ERROR("Failed to open CPU statistics file " << s_szFile << ": "
                                                                     << std::strerror(iError));
        return false;
    }
    char buffer[s_uiBufferSize];
    const ssize_t iRead = readFromStart(m_iFile, buffer, sizeof buffer - 1);
    if (iRead < 1)
    {
        const int iError = errno;
        VELMORA_FILE_LOG_ERROR("Failed to read CPU statistics file " << s_szFile << ": "
                                                                     << std::strerror(iError));
        return false;
    }
    buffer[iRead] = '\0';
    const char* pRest = std::strstr(buffer, s_szLine);
    if (pRest == nullptr)
    {
        VELMORA_FILE_LOG_ERROR("wrong format for Linux proc cpu statistics: missing cpu string");
        return false;
    }
    pRest += std::strlen(s_szLine);
    // In the order of the columns in /proc/stat.
    const std::array<std::uint64_t*, 8> counters{&out_uiUser,    &out_uiNice,   &out_uiSystem,
                                                 &out_uiIdle,    &out_uiIowait, &out_uiIrq,
                                                 &out_uiSoftirq, &out_uiSteal};
    std::size_t uiFound = 0;
    for (std::uint64_t* const pCounter : counters)
    {
        char* pEnd = nullptr;
        *pCounter = std::strtoull(pRest, &pEnd, 10);
        if (pEnd == pRest)
            break;
        pRest = pEnd;
        ++uiFound;
    }
    if (uiFound == counters.size())
        return true;
    VELMORA_FILE_LOG_ERROR("wrong format for Linux proc cpu statistics: expected "
                           << counters.size() << " elements, just found " << uiFound);
    return false;
}

bool LinuxProfileTimer::getSystemIdleTime(double& out_dPercent)
{
    Counters now;
    if (!readCpuStats(now.uiUser, now.uiNice, now.uiSystem, now.uiIdle, now.uiIowait, now.uiIrq,
                      now.uiSoftirq, now.uiSteal))
    {
        VELMORA_FILE_LOG_ERROR("Failed to retrieve Linux CPU statistics");
        return false;
    }
    if (!m_bHasBaseline)
    {
        m_last = now;
        m_bHasBaseline = true;
        m_dLastPercent = s_dAllIdle;
        out_dPercent = m_dLastPercent;
        return true;
    }
    const std::uint64_t uiIdle = difference(now.uiIdle, m_last.uiIdle);
    const std::uint64_t uiTotal =
        difference(now.uiUser, m_last.uiUser) + difference(now.uiNice, m_last.uiNice) +
        difference(now.uiSystem, m_last.uiSystem) + difference(now.uiIrq, m_last.uiIrq) +
        difference(now.uiSoftirq, m_last.uiSoftirq) + difference(now.uiIowait, m_last.uiIowait) +
        difference(now.uiSteal, m_last.uiSteal) + uiIdle;
    if (uiTotal != 0)
    {
        // Half the divisor is added, so that the division rounds to the nearest percent.
        const std::uint64_t uiPercent = (uiIdle * 100 + uiTotal / 2) / uiTotal;
        m_dLastPercent = static_cast<double>(uiPercent);
    }
    // If no tick has passed, this changes nothing, except that it follows counters that have
    // decreased.
    m_last = now;
    out_dPercent = m_dLastPercent;
    return true;
}

} // namespace Velmora
