// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/AppendersInUse.h"

#include "velmora/logging/FileAppender.h"
#include "velmora/logging/Log4cplusAccess.h"

#include <log4cplus/fileappender.h>
#include <log4cplus/helpers/appenderattachableimpl.h>
#include <log4cplus/syslogappender.h>

#include <algorithm>
#include <string_view>

namespace Velmora
{

namespace
{

/// Returns whether the property is the file of the appender, or of one nested in it.
bool isFile(std::string_view in_strName)
{
    return in_strName == "File" || in_strName.ends_with(".File");
}

/// Returns whether the appender leaves what is in its file, and can write to it beside another one.
bool sharesItsFile(const std::string& in_strClass,
                   const log4cplus::helpers::Properties& in_properties)
{
    const bool bOurs = in_strClass == FileAppender::s_szTypeName;
    if (!bOurs && in_strClass != "log4cplus::FileAppender")
        return false;
    bool bAppends = bOurs;
    in_properties.getBool(bAppends, "Append");
    return bAppends;
}

} // namespace

AppendersInUse::FileIdentity::FileIdentity(const std::string& in_strPath)
    : m_strPath(in_strPath), m_bExists(stat(in_strPath.c_str(), &m_status) == 0)
{
}

bool AppendersInUse::FileIdentity::operator==(const FileIdentity& in_other) const
{
    return m_strPath == in_other.m_strPath ||
           (m_bExists && in_other.m_bExists && m_status.st_dev == in_other.m_status.st_dev &&
            m_status.st_ino == in_other.m_status.st_ino);
}

void AppendersInUse::add(const log4cplus::SharedAppenderPtr& in_pAppender)
{
    if (const auto* const pFile =
            dynamic_cast<const log4cplus::FileAppenderBase*>(in_pAppender.get()))
        m_files.emplace_back(Log4cplusAccess::FileAppenderMembers::fileOf(*pFile));
    if (const auto* const pFile = dynamic_cast<const FileAppender*>(in_pAppender.get()))
        m_files.emplace_back(pFile->getPath());
    m_bTimeBased = m_bTimeBased || dynamic_cast<log4cplus::TimeBasedRollingFileAppender*>(
                                       in_pAppender.get()) != nullptr;
    m_bSyslog =
        m_bSyslog || dynamic_cast<log4cplus::SysLogAppender*>(in_pAppender.get()) != nullptr;
    if (auto* const pNested = dynamic_cast<log4cplus::spi::AppenderAttachable*>(in_pAppender.get()))
        for (const log4cplus::SharedAppenderPtr& pAppender : pNested->getAllAppenders())
            add(pAppender);
}

bool AppendersInUse::isInTheWayOf(const std::string& in_strClass,
                                  const log4cplus::helpers::Properties& in_properties) const
{
    if (in_strClass == "log4cplus::SysLogAppender")
        // A process has one identity in the system's log.
        return m_bSyslog && in_properties.getProperty("host").empty();
    if (in_strClass == "log4cplus::TimeBasedRollingFileAppender" && m_bTimeBased)
        return true;
    if (sharesItsFile(in_strClass, in_properties))
        return false;
    const std::vector<std::string> names = in_properties.propertyNames();
    return std::any_of(names.begin(), names.end(),
                       [&](const std::string& in_strName) {
                           return isFile(in_strName) &&
                                  has(FileIdentity(in_properties.getProperty(in_strName)));
                       });
}

bool AppendersInUse::has(const FileIdentity& in_file) const
{
    return std::find(m_files.begin(), m_files.end(), in_file) != m_files.end();
}

} // namespace Velmora
