// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <sys/stat.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace CallFileTool
{

/// A directory that is open, and the path that it was reached by. Its items are reached by their
/// names from here, so that no part of the path can be exchanged for a link.
///
/// Failure: an operation that opens something returns a directory that is not open, with the reason
/// in `errno`.
class OpenDirectory
{
  public:
    /// Opens a directory; the path may be a link, or have links.
    static OpenDirectory at(const std::string& in_strPath);
    ~OpenDirectory();
    OpenDirectory(OpenDirectory&& inout_other) noexcept;
    OpenDirectory(const OpenDirectory&) = delete;
    OpenDirectory& operator=(const OpenDirectory&) = delete;

    [[nodiscard]] bool isOpen() const { return m_iDescriptor >= 0; }
    [[nodiscard]] const std::string& path() const { return m_strPath; }
    [[nodiscard]] std::string pathOf(const std::string& in_strName) const;

    /// Opens a directory in this one. Does not follow a link.
    [[nodiscard]] OpenDirectory open(const std::string& in_strName) const;

    /// Calls a function with the directory that names with "/" between them lead to; with this one
    /// if there are none. Does nothing if it cannot be opened.
    void withNested(const std::string& in_strNames,
                    const std::function<void(const OpenDirectory&)>& in_function) const;

    /// Returns the status of an item, of a link itself; no value if there is none.
    [[nodiscard]] std::optional<struct stat> statusOf(const std::string& in_strName) const;

    /// Returns the names of all items but "." and "..". Sets `errno` to 0 or to the reason why they
    /// could not be read to the end.
    [[nodiscard]] std::vector<std::string> names() const;

  private:
    OpenDirectory(int in_iDescriptor, std::string in_strPath);

    int m_iDescriptor;
    std::string m_strPath;
};

} // namespace CallFileTool
