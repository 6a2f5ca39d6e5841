// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "tests/support/CapturedLog.h"
#include "tests/support/TemporaryDirectory.h"
#include "velmora/vfs/File.h"
#include "velmora/vfs/test/FileLines.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <system_error>
#include <vector>

namespace Velmora::Test
{

/// Has a function called just before a name is opened, deleted as a file or as a directory, or gets
/// a mode in this process. None is called after null.
void beforeCalls(
    std::function<void(const std::string& in_strCall, const std::string& in_strName)> in_before);

/// Makes calls that set a mode report success without setting it.
void setModesStay(bool in_bStay);

inline LogLine unlinkFailed(const std::string& in_strPath)
{
    return debugLine(s_szLogger, "File::deleteFileDir : unlink failed on " + in_strPath);
}
inline LogLine notThere(const std::string& in_strPath)
{
    return warnLine(s_szLogger,
                    "File::deleteFileDir : failed to stat " + in_strPath + ". Skipping.");
}
inline LogLine mayNotWrite(const std::string& in_strPath)
{
    return errorLine(s_szLogger, "File::deleteFileDir : no write permission on " + in_strPath);
}
inline LogLine willSetMode(const std::string& in_strPath)
{
    return debugLine(s_szLogger, "File::deleteFileDir : no write permission on " + in_strPath);
}
inline LogLine cannotSetMode(const std::string& in_strPath)
{
    return errorLine(s_szLogger,
                     "File::deleteFileDir : failed to acquire write permission on " + in_strPath);
}
inline LogLine unknownError(const std::string& in_strPath)
{
    return errorLine(s_szLogger, "File::deleteFileDir : " + in_strPath + " unknown error");
}
inline LogLine isDirectory(const std::string& in_strPath)
{
    return debugLine(s_szLogger, "File::deleteFileDir : " + in_strPath + " is a directory");
}
inline LogLine cannotOpen(const std::string& in_strPath)
{
    return errorLine(s_szLogger, "File::deleteFileDir : failed to open directory " + in_strPath);
}
inline LogLine cannotRemove(const std::string& in_strPath)
{
    return errorLine(s_szLogger, "File::deleteFileDir : failed to rmdir " + in_strPath);
}
inline LogLine isGone(const std::string& in_strPath) { return infoLine(s_szLogger, in_strPath); }

/// Runs in an empty directory that other users may enter.
class FileDeletion : public testing::Test
{
  protected:
    FileDeletion()
    {
        std::filesystem::permissions(m_directory.path(), std::filesystem::perms(0755));
        std::filesystem::current_path(m_directory.path());
        umask(022);
    }
    ~FileDeletion() override
    {
        beforeCalls(nullptr);
        makeDirectoriesWritable(".");
        std::filesystem::current_path("/");
    }

    /// Makes all directories writable, so that the remains of a test can be deleted by any user.
    static void makeDirectoriesWritable(const std::filesystem::path& in_path)
    {
        std::error_code error;
        std::filesystem::permissions(in_path, std::filesystem::perms::owner_all,
                                     std::filesystem::perm_options::add, error);
        for (const std::filesystem::directory_entry& entry :
             std::filesystem::directory_iterator(in_path, error))
            if (entry.symlink_status(error).type() == std::filesystem::file_type::directory)
                makeDirectoriesWritable(entry.path());
    }

    [[nodiscard]] std::string path(const std::string& in_strName) const
    {
        return m_directory.file(in_strName);
    }

    /// Expects that these are the last two lines.
    void expectLast(const LogLine& in_line, const LogLine& in_reason) const
    {
        const std::vector<LogLine> lines = m_log.lines();
        ASSERT_GE(lines.size(), 2U);
        EXPECT_EQ(in_line, lines[lines.size() - 2]);
        EXPECT_EQ(in_reason, lines.back());
    }

    CapturedLog m_log;

  private:
    TemporaryDirectory m_directory;
};

/// Makes a file and its directories.
inline void makeFile(const std::filesystem::path& in_path)
{
    if (in_path.has_parent_path())
        std::filesystem::create_directories(in_path.parent_path());
    EXPECT_TRUE(std::ofstream(in_path) << "text") << in_path;
}

inline void setMode(const std::string& in_strPath, unsigned int in_uiMode)
{
    EXPECT_EQ(0, chmod(in_strPath.c_str(), in_uiMode)) << in_strPath;
}

inline unsigned int modeOf(const std::string& in_strPath)
{
    struct stat status = {};
    EXPECT_EQ(0, lstat(in_strPath.c_str(), &status)) << in_strPath;
    return status.st_mode & ALLPERMS;
}

/// Returns whether the path exists; a dangling link exists.
inline bool isThere(const std::string& in_strPath)
{
    return std::filesystem::symlink_status(in_strPath).type() !=
           std::filesystem::file_type::not_found;
}

struct Flags
{
    bool bForce = false;
    bool bVerbose = false;
    bool bRecursive = false;
};

inline bool remove(const std::string& in_strPath, const Flags& in_flags)
{
    return File::deleteFileDir(in_strPath.c_str(), in_flags.bForce, in_flags.bVerbose,
                               in_flags.bRecursive);
}

inline constexpr Flags s_plainly{};
inline constexpr Flags s_withForce{.bForce = true};
inline constexpr Flags s_recursively{.bRecursive = true};
inline constexpr Flags s_recursivelyWithForce{.bForce = true, .bRecursive = true};

} // namespace Velmora::Test
