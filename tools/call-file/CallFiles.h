// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/logging/CallFileName.h"

#include <sys/stat.h>

#include <cstdint>
#include <ctime>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace CallFileTool
{

class OpenDirectory;

/// A file of a call.
struct CallFile
{
    std::string strCallId;
    /// Begins with the directory of the calls, as it was given.
    std::string strPath;
    std::timespec changed;
    std::uint64_t uiSize;
    /// The file of an earlier call with the same id, which was renamed when the later call began
    /// (`KeepEarlier`). Its name is followed by a time, as in "x.log.2026-11-23T081500Z", and by a
    /// hyphen and a number if there was such a file already.
    bool bEarlier;
    /// The name ends in ".gz".
    bool bCompressed;
};

/// The files of calls below a directory: in it, or in the directories of
/// `keswardin.infra.CallLogger.dateTimeDirectory`. A file whose name ends in ".gz" counts as one
/// that an operator has compressed.
///
/// Symbolic links below the directory are not followed, and only regular files count: whatever is
/// found is in the directory.
///
/// Failure: calls `in_warn` with a text for each directory that cannot be read, and continues.
class CallFiles
{
  public:
    using Warn = std::function<void(const std::string& in_strText)>;
    using Accept = std::function<bool(std::string_view in_strCallId)>;

    /// The prefix and suffix are those of the configuration of the calls.
    CallFiles(const std::string& in_strDirectory, const std::string& in_strPrefix,
              const std::string& in_strSuffix, Warn in_warn);

    /// Returns the files of one call, the newest first. Looks at the names that they can have: one
    /// in the directory, and one in each directory of an hour. Reads no directory that has files of
    /// calls, unless earlier files are requested: then the directories that the names are in.
    [[nodiscard]] std::vector<CallFile> find(const std::string& in_strCallId,
                                             bool in_bEarlier) const;

    /// Returns the files of all calls whose id is accepted, earlier ones too, the newest first.
    /// Reads all directories.
    [[nodiscard]] std::vector<CallFile> search(const Accept& in_accept) const;

    /// Returns false if the directory cannot be opened, with the reason in `errno`.
    [[nodiscard]] bool exist() const;

  private:
    void findIn(const OpenDirectory& in_directory, const std::string& in_strCallId,
                bool in_bEarlier, std::vector<CallFile>& out_files) const;
    void findAt(const OpenDirectory& in_directory, const std::string& in_strName,
                const std::string& in_strCallId, std::vector<CallFile>& out_files) const;
    void forEachHour(const OpenDirectory& in_directory,
                     const std::function<void(const OpenDirectory&)>& in_function) const;
    void searchIn(const OpenDirectory& in_directory, const Accept& in_accept,
                  std::vector<CallFile>& out_files) const;
    void add(const OpenDirectory& in_directory, const std::string& in_strName,
             const struct stat& in_status, const Accept& in_accept,
             std::vector<CallFile>& out_files) const;

    /// The names of earlier files with this end.
    [[nodiscard]] Velmora::CallFileName namesWith(std::string_view in_earlierEnd) const;

    std::string m_strDirectory;
    std::string m_strPrefix;
    std::string m_strSuffix;
    Velmora::CallFileName m_names;
    Warn m_warn;
};

} // namespace CallFileTool
