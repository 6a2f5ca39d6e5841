// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <filesystem>
#include <string>

namespace Velmora::Test
{

/// Creates an empty directory. The destructor removes it with its contents.
class TemporaryDirectory
{
  public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return m_path; }

    /// Returns the path of a file in the directory.
    [[nodiscard]] std::string file(const std::string& in_strName) const;

    /// Returns the contents of a file in the directory, or an empty text if it does not exist.
    [[nodiscard]] std::string read(const std::string& in_strName) const;

    /// Creates or overwrites a file in the directory, with the directories above it. Returns its
    /// path.
    ///
    /// Failure: throws `std::system_error`.
    std::string write(const std::string& in_strName, const std::string& in_strText) const;

  private:
    std::filesystem::path m_path;
};

} // namespace Velmora::Test
