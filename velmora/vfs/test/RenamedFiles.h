// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "tests/support/CapturedLog.h"
#include "tests/support/TemporaryDirectory.h"
#include "velmora/vfs/File.h"
#include "velmora/vfs/test/FileLines.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace Velmora::Test
{

/// Sets the time that `time` returns in this process.
void setTime(std::time_t in_now);

/// Returns the new names of the files that were renamed since `forgetNewNames`, in order.
std::vector<std::string> newNames();
void forgetNewNames();

inline const LogLine s_notThere =
    debugLine(s_szLogger, "The file or directory you want to rename doesn't exist.");
inline const LogLine s_noWorkingDirectory = errorLine(s_szLogger, "Be sure you have set pwd!!!");
inline const LogLine s_noBase =
    errorLine(s_szLogger, "The base of the target directory doesn't exist.");
inline const LogLine s_createsTarget = debugLine(s_szLogger, "Creating target directory.");
inline const LogLine s_gathersOfDirectory =
    debugLine(s_szLogger, "Gathering directory informations");
inline const LogLine s_gathersOfFile = debugLine(s_szLogger, "Gathering file informations");
inline const LogLine s_renames = debugLine(s_szLogger, "Renaming file or directory.");

/// 2026-03-07 09:05:42 in UTC.
inline constexpr std::time_t s_moment = 1772874342;
inline constexpr const char* s_szStamp = ".2026_3_7_9_5_42";

/// Runs in an empty directory that other users may enter, at a fixed time.
class FileRenaming : public testing::Test
{
  protected:
    FileRenaming()
    {
        std::filesystem::permissions(m_directory.path(), std::filesystem::perms(0755));
        std::filesystem::current_path(m_directory.path());
        umask(022);
        setTimeZone("UTC0");
        setTime(s_moment);
        forgetNewNames();
    }
    ~FileRenaming() override { std::filesystem::current_path("/"); }

    static void setTimeZone(const char* in_szZone)
    {
        setenv("TZ", in_szZone, 1);
        tzset();
    }

    [[nodiscard]] std::string path(const std::string& in_strName) const
    {
        return m_directory.file(in_strName);
    }

    CapturedLog m_log;

  private:
    TemporaryDirectory m_directory;
};

/// Makes a file and its directories. Its content is its path.
inline void makeFile(const std::filesystem::path& in_path)
{
    if (in_path.has_parent_path())
        std::filesystem::create_directories(in_path.parent_path());
    EXPECT_TRUE(std::ofstream(in_path) << in_path.string()) << in_path;
}

/// Sets the modification time of a file or a directory, in seconds after the first one.
inline void setAge(const std::string& in_strPath, int in_iSeconds)
{
    const timespec when{1000000000 + in_iSeconds, 0};
    const std::array<timespec, 2> times{when, when};
    EXPECT_EQ(0, utimensat(AT_FDCWD, in_strPath.c_str(), times.data(), 0)) << in_strPath;
}

/// Makes an old copy with a modification time in seconds after the first one.
inline void makeCopy(const std::string& in_strPath, int in_iSeconds)
{
    makeFile(in_strPath);
    setAge(in_strPath, in_iSeconds);
}

/// Returns the name of an old copy of "report.log".
inline std::string copyOf(int in_iNumber)
{
    return "report.2025_1_1_0_0_" + std::to_string(in_iNumber) + ".log";
}

/// Makes copies of "report.log" with numbers from 1 on, each a second newer than the one before.
inline void makeCopies(int in_iNumber, const std::string& in_strDirectory = "")
{
    for (int i = 1; i <= in_iNumber; ++i)
        makeCopy(in_strDirectory + copyOf(i), i);
}

/// Returns the names in a directory.
inline std::vector<std::string> namesIn(const std::string& in_strPath)
{
    std::vector<std::string> names;
    for (const std::filesystem::directory_entry& entry :
         std::filesystem::directory_iterator(in_strPath))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

inline int rotate(const std::string& in_strPath, unsigned int in_uiMaxKept = 0)
{
    return File::renameWithTimestamp(in_strPath.c_str(), in_uiMaxKept, nullptr);
}

inline int rotateTo(const std::string& in_strTarget, unsigned int in_uiMaxKept = 0)
{
    return File::renameWithTimestamp("report.log", in_uiMaxKept, in_strTarget.c_str());
}

inline const std::string s_strNew = std::string("report") + s_szStamp + ".log";

} // namespace Velmora::Test
