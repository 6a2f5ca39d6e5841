// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace GatewayExample
{

/// A file whose content is replaced as a whole: a reader sees the old content or the new one. A
/// thread of its own writes it, so that a slow disk holds up no one.
///
/// Thread-safety: all operations may be called from any thread.
class ReplacedFile
{
  public:
    explicit ReplacedFile(const std::string& in_strPath);
    /// Writes the last content that `replace` was given.
    ~ReplacedFile();
    ReplacedFile(const ReplacedFile&) = delete;
    ReplacedFile& operator=(const ReplacedFile&) = delete;

    /// Lets the thread replace the content. If it still writes an older one, it omits what came
    /// between.
    void replace(std::string in_strContent);

    /// Returns why the last attempt failed, with the path; empty if it succeeded, or if there was
    /// none.
    [[nodiscard]] std::string failure() const;

    /// Replaces the content on the calling thread. Makes the directory if it is missing. Returns
    /// why it failed, with the path; empty after a success.
    [[nodiscard]] static std::string replaceNow(const std::string& in_strPath,
                                                const std::string& in_strContent);

  private:
    void write();

    const std::string m_strPath;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    // Guarded by the mutex. No foreign code runs under it.
    std::optional<std::string> m_next;
    std::string m_strFailure;
    bool m_bEnding = false;
    std::thread m_thread;
};

} // namespace GatewayExample
