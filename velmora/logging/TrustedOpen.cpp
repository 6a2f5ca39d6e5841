// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/TrustedOpen.h"

#include <linux/magic.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <utility>

namespace Velmora
{

namespace
{

/// As many as the kernel follows.
constexpr int s_iMostLinks = 40;

constexpr mode_t s_uiModeOfDirectories = 0755;

/// A walk along a path, from one directory to the next.
class Walk
{
  public:
    Walk(const std::string& in_strPath, int in_iFlags, mode_t in_uiMode, bool in_bMakesDirectories)
        : m_iFlags(in_iFlags | O_CLOEXEC), m_uiMode(in_uiMode),
          m_bMakesDirectories(in_bMakesDirectories), m_strRest(in_strPath)
    {
    }

    TrustedOpen run()
    {
        m_bEnded = !begin();
        while (!m_bEnded)
            step();
        return std::move(m_result);
    }

  private:
    /// Ends the walk with the result of a system call that has opened the file.
    void end(int in_iDescriptor)
    {
        m_result.iError = in_iDescriptor < 0 ? errno : 0;
        m_result.descriptor = OwnedDescriptor(in_iDescriptor);
        m_bEnded = true;
    }
    void fail(int in_iError)
    {
        errno = in_iError;
        end(-1);
    }

    /// Moves to the directory in which the rest of the path begins. Returns false if the walk has
    /// ended.
    bool begin()
    {
        if (m_strRest.empty())
        {
            fail(ENOENT);
            return false;
        }
        const bool bAbsolute = m_strRest.front() == '/';
        if (bAbsolute || !m_directory.isOpen())
            return enter(::open(bAbsolute ? "/" : ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
        return true;
    }

    bool enter(int in_iDirectory)
    {
        if (in_iDirectory < 0)
        {
            end(in_iDirectory);
            return false;
        }
        m_directory = OwnedDescriptor(in_iDirectory);
        return true;
    }

    /// Takes the next component off the rest of the path. A path that ends in "/" ends in ".".
    std::string takeComponent()
    {
        m_strRest.erase(0, m_strRest.find_first_not_of('/'));
        const std::size_t uiSlash = m_strRest.find('/');
        std::string strName = m_strRest.substr(0, uiSlash);
        m_strRest.erase(0, uiSlash);
        return strName.empty() ? "." : strName;
    }

    void step()
    {
        const std::string strName = takeComponent();
        const bool bLast = m_strRest.empty();
        if (bLast)
        {
            const int iFile =
                ::openat(m_directory.number(), strName.c_str(), m_iFlags | O_NOFOLLOW, m_uiMode);
            // EEXIST comes from O_EXCL, and a link exists.
            if (iFile >= 0 || (errno != ELOOP && errno != EEXIST))
                return end(iFile);
        }
        const int iError = errno;
        OwnedDescriptor item = openItem(strName);
        if (!item.isOpen() && errno == ENOENT && !bLast && m_bMakesDirectories &&
            (::mkdirat(m_directory.number(), strName.c_str(), s_uiModeOfDirectories) == 0 ||
             errno == EEXIST))
            item = openItem(strName);
        struct stat status = {};
        if (!item.isOpen() || ::fstat(item.number(), &status) != 0)
            return end(-1);
        if (S_ISLNK(status.st_mode))
            follow(item, strName, status.st_uid);
        else if (bLast)
            fail(iError);
        else
            m_directory = std::move(item);
    }

    [[nodiscard]] OwnedDescriptor openItem(const std::string& in_strName) const
    {
        return OwnedDescriptor(
            ::openat(m_directory.number(), in_strName.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    }

    void follow(const OwnedDescriptor& in_link, const std::string& in_strName, uid_t in_uiOwner)
    {
        if (++m_iLinks > s_iMostLinks)
            return fail(ELOOP);
        if (in_uiOwner != 0 && in_uiOwner != ::geteuid())
        {
            m_result.strLink = pathOf(in_strName);
            m_result.uiOwner = in_uiOwner;
            return fail(ELOOP);
        }
        struct statfs system = {};
        if (::fstatfs(in_link.number(), &system) == 0 && system.f_type == PROC_SUPER_MAGIC)
            // The text of such a link is no path, so the kernel follows it.
            followByKernel(in_strName);
        else
            followText(in_link);
    }

    void followByKernel(const std::string& in_strName)
    {
        if (m_strRest.empty())
            end(::openat(m_directory.number(), in_strName.c_str(), m_iFlags, m_uiMode));
        else if (!enter(::openat(m_directory.number(), in_strName.c_str(),
                                 O_PATH | O_DIRECTORY | O_CLOEXEC)))
            m_bEnded = true;
    }

    void followText(const OwnedDescriptor& in_link)
    {
        std::string strTarget(PATH_MAX, '\0');
        const ssize_t iLength =
            ::readlinkat(in_link.number(), "", strTarget.data(), strTarget.size());
        if (iLength < 0)
            return end(-1);
        strTarget.resize(static_cast<std::size_t>(iLength));
        m_strRest.insert(0, strTarget);
        m_bEnded = !begin();
    }

    /// Returns the path of an item of the directory.
    [[nodiscard]] std::string pathOf(const std::string& in_strName) const
    {
        const std::string strDescriptor = "/proc/self/fd/" + std::to_string(m_directory.number());
        std::string strPath(PATH_MAX, '\0');
        const ssize_t iLength = ::readlink(strDescriptor.c_str(), strPath.data(), strPath.size());
        strPath.resize(iLength > 0 ? static_cast<std::size_t>(iLength) : 0);
        if (!strPath.ends_with('/'))
            strPath += '/';
        return strPath + in_strName;
    }

    int m_iFlags;
    mode_t m_uiMode;
    bool m_bMakesDirectories;
    /// The path below the directory.
    std::string m_strRest;
    OwnedDescriptor m_directory;
    int m_iLinks = 0;
    bool m_bEnded = false;
    TrustedOpen m_result;
};

} // namespace

TrustedOpen openTrusted(const std::string& in_strPath, int in_iFlags, mode_t in_uiMode,
                        bool in_bMakesDirectories)
{
    return Walk(in_strPath, in_iFlags, in_uiMode, in_bMakesDirectories).run();
}

} // namespace Velmora
