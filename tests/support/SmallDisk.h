// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <functional>
#include <string>

namespace Velmora::Test
{

inline constexpr const char* s_szNoMount = "this process may not mount a file system";

/// Mounts a small file system in memory on a directory, for the lifetime of the object. Only the
/// constructing thread and the threads that it starts later see it.
///
/// Failure: nothing is mounted; `isMounted` returns false.
class SmallDisk
{
  public:
    explicit SmallDisk(const std::string& in_strPath,
                       const std::string& in_strOptions = "size=64k,mode=755");
    ~SmallDisk();
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    [[nodiscard]] bool isMounted() const { return m_bMounted; }
    [[nodiscard]] const std::string& path() const { return m_strPath; }

    /// Fill the remaining space, and free it again.
    void fill() const;
    void makeRoom() const;

    /// Remounts the disk read-only. Returns false if that fails.
    [[nodiscard]] bool makeReadOnly() const;

  private:
    [[nodiscard]] std::string ballast() const;

    std::string m_strPath;
    std::string m_strOptions;
    bool m_bMounted;
};

/// Runs `in_work` on a new thread that sees a small read-only disk on a directory. `in_fill` writes
/// the contents of the disk before it becomes read-only. Returns false, without running `in_work`,
/// if such a disk is not available.
bool doWithReadOnlyDisk(const std::string& in_strPath, const std::function<void()>& in_fill,
                        const std::function<void()>& in_work);

/// Does the same with a writable disk, mounted with the given options.
bool doWithDisk(const std::string& in_strPath, const std::string& in_strOptions,
                const std::function<void()>& in_fill, const std::function<void()>& in_work);

} // namespace Velmora::Test

/// Skips the test if a disk could not be mounted.
#define VELMORA_NEEDS_DISK(disk) \
    if (!(disk).isMounted())     \
    GTEST_SKIP() << Velmora::Test::s_szNoMount
