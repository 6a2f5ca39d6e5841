#pragma once

#include <functional>
#include <string>

namespace Velmora::Test
{

inline constexpr const char* s_szNoMount = "this process may not mount a file system";

/// A small file system in memory on a directory, until the object goes. The thread that makes it
/// and those that it starts afterwards see it. Failure: nothing is mounted, see `isMounted`.
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

    /// Takes what is left of it, and gives that back.
    void fill() const;
    void makeRoom() const;

    /// Gives false when it remains as it is.
    [[nodiscard]] bool makeReadOnly() const;

  private:
    [[nodiscard]] std::string ballast() const;

    std::string m_strPath;
    std::string m_strOptions;
    bool m_bMounted;
};

/// Does work on a thread of its own that sees a small disk on a directory. `in_fill` puts into it
/// what is there before it becomes read-only. Gives false, with the work not done, where that is
/// not to be had.
bool doWithReadOnlyDisk(const std::string& in_strPath, const std::function<void()>& in_fill,
                        const std::function<void()>& in_work);

/// The same with a disk that can be written to, mounted with other options.
bool doWithDisk(const std::string& in_strPath, const std::string& in_strOptions,
                const std::function<void()>& in_fill, const std::function<void()>& in_work);

} // namespace Velmora::Test

/// Skips the test where a disk could not be mounted.
#define VELMORA_NEEDS_DISK(disk) \
    if (!(disk).isMounted())     \
    GTEST_SKIP() << Velmora::Test::s_szNoMount
