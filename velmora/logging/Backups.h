// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <string>
#include <utility>

namespace Velmora
{

/// Renames a log file that rolls over, and the backups of former rollovers before it. Backups are
/// numbered, the newest with the lowest number. Each may be compressed and then has the name with
/// ".gz". Files are only renamed, never copied.
///
/// A missing number is filled: backups above it keep their names. If no number is free, the oldest
/// backup is removed.
///
/// Thread-safety: none; the owner guards it.
class Backups
{
  public:
    /// The names "base", "base.1", "base.2" and so on, up to the number.
    static Backups fromBase(std::string in_strBase, unsigned int in_uiMost)
    {
        return {std::move(in_strBase), 0, in_uiMost};
    }
    /// The names "base.1", "base.2" and so on.
    static Backups fromOne(std::string in_strBase, unsigned int in_uiMost)
    {
        return {std::move(in_strBase), 1, in_uiMost};
    }

    /// Renames the file to the newest backup.
    /// Failure: returns false, with the system's error in `errno`. The file keeps its name, and
    /// `getProblem` describes the rename or removal that failed.
    [[nodiscard]] bool take(const std::string& in_strFile);

    /// Returns the name of the newest backup, without ".gz".
    [[nodiscard]] std::string getNewest() const { return nameOf(m_uiFirst); }

    [[nodiscard]] const std::string& getProblem() const { return m_strProblem; }

  private:
    Backups(std::string in_strBase, unsigned int in_uiFirst, unsigned int in_uiMost)
        : m_strBase(std::move(in_strBase)), m_uiFirst(in_uiFirst), m_uiLast(in_uiMost)
    {
    }

    [[nodiscard]] std::string nameOf(unsigned int in_uiNumber) const;
    [[nodiscard]] bool exists(unsigned int in_uiNumber) const;
    [[nodiscard]] unsigned int firstFree() const;
    [[nodiscard]] bool remove(const std::string& in_strPath);
    [[nodiscard]] bool rename(const std::string& in_strFrom, const std::string& in_strTo);
    [[nodiscard]] bool shift(unsigned int in_uiNumber);

    std::string m_strBase;
    unsigned int m_uiFirst;
    unsigned int m_uiLast;
    std::string m_strProblem;
};

/// Replaces a file by one with the name and ".gz", which has the same mode and time of change. The
/// new file gets its name when it is complete.
///
/// Thread-safety: may be called on any thread, for different files.
/// Failure: returns false, with the system's error in `errno`. The file is unchanged.
[[nodiscard]] bool compressFile(const std::string& in_strPath);

} // namespace Velmora
