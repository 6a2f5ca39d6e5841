#pragma once

#include <filesystem>
#include <string>

namespace Velmora::Test
{

/// An empty directory that is removed, with all that it then holds, at the end of its life.
class TemporaryDirectory
{
  public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return m_path; }

    /// The path of a file in it.
    [[nodiscard]] std::string file(const std::string& in_strName) const;

    /// What a file in it holds; the empty text for one that does not exist.
    [[nodiscard]] std::string read(const std::string& in_strName) const;

  private:
    std::filesystem::path m_path;
};

} // namespace Velmora::Test
