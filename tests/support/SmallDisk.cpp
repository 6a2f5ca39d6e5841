// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/SmallDisk.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

namespace Velmora::Test
{

SmallDisk::SmallDisk(const std::string& in_strPath, const std::string& in_strOptions)
    : m_strPath(in_strPath), m_strOptions(in_strOptions),
      m_bMounted(unshare(CLONE_NEWNS) == 0 &&
                 mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                 mount("tmpfs", m_strPath.c_str(), "tmpfs", 0, m_strOptions.c_str()) == 0)
{
}

SmallDisk::~SmallDisk()
{
    if (m_bMounted)
        umount2(m_strPath.c_str(), MNT_DETACH);
}

std::string SmallDisk::ballast() const { return m_strPath + "/ballast"; }

void SmallDisk::fill() const
{
    const int iFile = ::open(ballast().c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    const std::string strPage(4096, 'x');
    while (::write(iFile, strPage.data(), strPage.size()) > 0)
        continue;
    ::close(iFile);
}

void SmallDisk::makeRoom() const { std::filesystem::remove(ballast()); }

bool SmallDisk::makeReadOnly() const
{
    return mount(nullptr, m_strPath.c_str(), nullptr, MS_REMOUNT | MS_RDONLY,
                 m_strOptions.c_str()) == 0;
}

namespace
{

/// Runs `in_work` on a new thread that sees a disk. Returns false if there is no disk or if
/// `in_work` returns false. A new thread, so that the calling thread keeps its mount namespace.
bool doOnThreadWithDisk(const std::string& in_strPath, const std::string& in_strOptions,
                        const std::function<bool(const SmallDisk&)>& in_work)
{
    bool bDone = false;
    std::thread(
        [&]
        {
            const SmallDisk disk(in_strPath, in_strOptions);
            bDone = disk.isMounted() && in_work(disk);
        })
        .join();
    return bDone;
}

} // namespace

bool doWithReadOnlyDisk(const std::string& in_strPath, const std::function<void()>& in_fill,
                        const std::function<void()>& in_work)
{
    return doOnThreadWithDisk(in_strPath, "size=64k,mode=755",
                              [&](const SmallDisk& in_disk)
                              {
                                  in_fill();
                                  if (!in_disk.makeReadOnly())
                                      return false;
                                  in_work();
                                  return true;
                              });
}

bool doWithDisk(const std::string& in_strPath, const std::string& in_strOptions,
                const std::function<void()>& in_fill, const std::function<void()>& in_work)
{
    return doOnThreadWithDisk(in_strPath, in_strOptions,
                              [&](const SmallDisk&)
                              {
                                  in_fill();
                                  in_work();
                                  return true;
                              });
}

} // namespace Velmora::Test
