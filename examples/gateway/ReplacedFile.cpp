// SPDX-License-Identifier: BSD-2-Clause

#include "ReplacedFile.h"

#include "Descriptor.h"

#include "velmora/logging/FileScopeLogger.h"
#include "velmora/logging/WithoutThrowing.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

VELMORA_FILE_SCOPE_LOGGER("keswardin.gateway.ReplacedFile")

namespace GatewayExample
{

namespace
{

/// Returns the error number, or 0.
int writeAll(const std::string& in_strPath, const std::string& in_strContent)
{
    const Descriptor file(
        open(in_strPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0644));
    if (!file.isOpen())
        return errno;
    std::size_t uiWritten = 0;
    while (uiWritten < in_strContent.size())
    {
        const ssize_t iWritten = ::write(file.number(), in_strContent.data() + uiWritten,
                                         in_strContent.size() - uiWritten);
        if (iWritten < 0 && errno != EINTR)
            return errno;
        if (iWritten > 0)
            uiWritten += static_cast<std::size_t>(iWritten);
    }
    return 0;
}

} // namespace

ReplacedFile::ReplacedFile(const std::string& in_strPath)
    : m_strPath(in_strPath), m_thread([this] { write(); })
{
}

ReplacedFile::~ReplacedFile()
{
    {
        const std::lock_guard guard(m_mutex);
        m_bEnding = true;
    }
    m_changed.notify_one();
    m_thread.join();
}

void ReplacedFile::replace(std::string in_strContent)
{
    {
        const std::lock_guard guard(m_mutex);
        m_next = std::move(in_strContent);
    }
    m_changed.notify_one();
}

std::string ReplacedFile::failure() const
{
    const std::lock_guard guard(m_mutex);
    return m_strFailure;
}

std::string ReplacedFile::replaceNow(const std::string& in_strPath,
                                     const std::string& in_strContent)
{
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(in_strPath).parent_path(), ignored);
    const std::string strNew = in_strPath + ".new";
    int iError = writeAll(strNew, in_strContent);
    if (iError == 0 && rename(strNew.c_str(), in_strPath.c_str()) != 0)
        iError = errno;
    if (iError == 0)
        return {};
    unlink(strNew.c_str());
    return "cannot write " + in_strPath + ": " + std::strerror(iError);
}

void ReplacedFile::write()
{
    std::unique_lock guard(m_mutex);
    for (;;)
    {
        m_changed.wait(guard, [this] { return m_next || m_bEnding; });
        if (!m_next)
            return;
        const std::string strContent = std::move(*m_next);
        m_next.reset();
        guard.unlock();
        std::string strFailure;
        Velmora::withoutThrowing(liveFileScopeLogger(), "the metrics are not written",
                                 [&] { strFailure = replaceNow(m_strPath, strContent); });
        guard.lock();
        m_strFailure = std::move(strFailure);
    }
}

} // namespace GatewayExample
