// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/LoadProblems.h"

#include "velmora/application/GatedGuard.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"

#include <utility>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(GlobalConfig)

namespace Velmora
{

void LoadProblems::log(LoadProblems* in_pKeeper, const AceCleanupLogger& in_logger,
                       const char* in_szLogger, LogLevel in_level, const std::string& in_strText,
                       const char* in_szFile, int in_iLine, std::string_view in_unknownName)
{
    if (in_pKeeper != nullptr)
        in_pKeeper->add({in_szLogger, in_level, in_strText, std::string(in_unknownName)});
    if (in_logger.getChainedNumAppender() != 0)
        in_logger.forcedLog(in_level, in_strText, in_szFile, in_iLine);
}

void LoadProblems::add(Line in_line)
{
    const GatedGuard<GatedMutex> guard(m_mutex);
    if (!m_bKeeps)
        return;
    if (m_lines.size() == s_uiMostLines || m_uiBytes + in_line.strText.size() > s_uiMostBytes)
    {
        ++m_uiMore;
        return;
    }
    m_uiBytes += in_line.strText.size();
    m_lines.push_back(std::move(in_line));
}

void LoadProblems::keep()
{
    const GatedGuard<GatedMutex> guard(m_mutex);
    m_bKeeps = true;
}

void LoadProblems::stopKeeping()
{
    const GatedGuard<GatedMutex> guard(m_mutex);
    m_bKeeps = false;
}

bool LoadProblems::logAgain()
{
    std::vector<Line> lines;
    std::size_t uiMore = 0;
    {
        const GatedGuard<GatedMutex> guard(m_mutex);
        if (m_bKeeps)
            return false;
        lines.swap(m_lines);
        uiMore = std::exchange(m_uiMore, 0);
        m_uiBytes = 0;
    }
    // Without the lock, because appenders run.
    for (const Line& line : lines)
        VELMORA_LOG(Logger(line.szLogger), line.level, line.strText);
    if (uiMore != 0)
        VELMORA_FILE_LOG_WARN(uiMore << " more lines about the configuration are only in the log "
                                        "that was in effect while it was loaded");
    return true;
}

void LoadProblems::note(const std::string& in_strName, std::string in_strText)
{
    const GatedGuard<GatedMutex> guard(m_mutex);
    m_notes[in_strName] = std::move(in_strText);
}

std::string LoadProblems::noteOf(const std::string& in_strName) const
{
    const GatedGuard<GatedMutex> guard(m_mutex);
    const auto found = m_notes.find(in_strName);
    return found != m_notes.end() ? found->second : std::string();
}

void LoadProblems::forgetUnknown(std::string_view in_name)
{
    const GatedGuard<GatedMutex> guard(m_mutex);
    if (!m_bKeeps)
        std::erase_if(m_lines, [in_name](const Line& in_line)
                      { return !in_name.empty() && in_line.strUnknownName == in_name; });
}

} // namespace Velmora
