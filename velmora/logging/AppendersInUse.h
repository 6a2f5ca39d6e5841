// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <log4cplus/appender.h>
#include <log4cplus/helpers/property.h>

#include <sys/stat.h>

#include <string>
#include <vector>

namespace Velmora
{

/// The resources that current appenders do not share with others: files, the rollover by time and
/// the identity of the process in the system's log. An appender that needs one of them must not be
/// made while the current one exists.
///
/// Thread-safety: none; belongs to one thread.
class AppendersInUse
{
  public:
    /// Adds the resources of an appender, and of those nested in it.
    void add(const log4cplus::SharedAppenderPtr& in_pAppender);

    /// Returns whether an appender of that class, with these properties, must not be made while the
    /// current appenders exist.
    [[nodiscard]] bool isInTheWayOf(const std::string& in_strClass,
                                    const log4cplus::helpers::Properties& in_properties) const;

  private:
    /// Identifies a file by its path or, if it exists, by its device and inode.
    class FileIdentity
    {
      public:
        explicit FileIdentity(const std::string& in_strPath);

        bool operator==(const FileIdentity& in_other) const;

      private:
        std::string m_strPath;
        struct stat m_status = {};
        bool m_bExists;
    };

    [[nodiscard]] bool has(const FileIdentity& in_file) const;

    std::vector<FileIdentity> m_files;
    bool m_bTimeBased = false;
    bool m_bSyslog = false;
};

} // namespace Velmora
