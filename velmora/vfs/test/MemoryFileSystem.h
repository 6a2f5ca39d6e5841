// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/Handle.h"
#include "velmora/vfs/VirtualFileSystem.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Velmora::Test
{

/// A file system in memory that records each operation and fails as a test wants.
class MemoryFileSystem : public VirtualFileSystem
{
  public:
    /// Returns the result of an operation in place of its work, or nothing to let it proceed; may
    /// throw. Its argument is the operation as it is recorded, such as "write 100".
    using Fault = std::function<std::optional<long>(const std::string&)>;

    ~MemoryFileSystem() override { ++s_iDestroyed; }

    FileHandle open(const char* in_szPath, int in_iFlags) override
    {
        return open(in_szPath, in_iFlags, 0);
    }

    FileHandle open(const char* in_szPath, int in_iFlags, unsigned int in_uiMode) override;

    DirectoryHandle opendir(const char*) override { return nullptr; }
    bool exists(const char* in_szPath) override { return m_contents.contains(in_szPath); }

    /// Returns the recorded operations that begin with a text, in order.
    [[nodiscard]] std::vector<std::string> noted(const std::string& in_strBeginning) const
    {
        std::vector<std::string> found;
        for (const std::string& strOperation : m_operations)
            if (strOperation.starts_with(in_strBeginning))
                found.push_back(strOperation);
        return found;
    }

    std::map<std::string, std::string> m_contents;
    std::vector<std::string> m_operations;
    Fault m_fault;

    /// The largest number of bytes that one read or write transfers.
    unsigned long m_uiMostAtOnce = std::numeric_limits<unsigned long>::max();

    int m_iOpenFiles = 0;
    static inline int s_iDestroyed = 0;

  private:
    class MemoryFile;

    std::optional<long> note(const std::string& in_strOperation)
    {
        m_operations.push_back(in_strOperation);
        return m_fault ? m_fault(in_strOperation) : std::nullopt;
    }
};

class MemoryFileSystem::MemoryFile : public VirtualFileSystem::File
{
  public:
    MemoryFile(MemoryFileSystem& inout_fileSystem, std::string& inout_strContent, bool in_bAppends)
        : m_fileSystem(inout_fileSystem), m_strContent(inout_strContent), m_bAppends(in_bAppends)
    {
        ++m_fileSystem.m_iOpenFiles;
    }

    ~MemoryFile() override
    {
        if (m_bOpen)
            --m_fileSystem.m_iOpenFiles;
    }

    [[nodiscard]] const char* getPath() const override { return "memory"; }
    [[nodiscard]] bool isFile() const override { return true; }
    [[nodiscard]] bool isDirectory() const override { return false; }
    int open(const char*, int) override { return -1; }
    int open(const char*, int, unsigned int) override { return -1; }

    int close() override
    {
        if (!m_bOpen)
            return -1;
        m_bOpen = false;
        --m_fileSystem.m_iOpenFiles;
        return static_cast<int>(m_fileSystem.note("close").value_or(0));
    }

    long write(const void* in_pData, unsigned long in_uiCount) override
    {
        if (const auto result = m_fileSystem.note("write " + std::to_string(in_uiCount)))
            return *result;
        const unsigned long uiCount = std::min(in_uiCount, m_fileSystem.m_uiMostAtOnce);
        if (m_bAppends)
            m_uiPosition = m_strContent.size();
        m_strContent.resize(std::max(m_strContent.size(), m_uiPosition + uiCount));
        m_strContent.replace(m_uiPosition, uiCount, static_cast<const char*>(in_pData), uiCount);
        m_uiPosition += uiCount;
        return static_cast<long>(uiCount);
    }

    long read(void* out_pData, unsigned long in_uiCount) override
    {
        if (const auto result = m_fileSystem.note("read " + std::to_string(in_uiCount)))
            return *result;
        if (m_uiPosition >= m_strContent.size())
            return 0;
        const unsigned long uiCount =
            m_strContent.copy(static_cast<char*>(out_pData),
                              std::min(in_uiCount, m_fileSystem.m_uiMostAtOnce), m_uiPosition);
        m_uiPosition += uiCount;
        return static_cast<long>(uiCount);
    }

    long lseek(long in_iOffset, int in_iWhence) override
    {
        if (const auto result = m_fileSystem.note("lseek " + std::to_string(in_iOffset) + ' ' +
                                                  std::to_string(in_iWhence)))
            return *result;
        const unsigned long uiFrom = in_iWhence == SEEK_SET   ? 0
                                     : in_iWhence == SEEK_CUR ? m_uiPosition
                                                              : m_strContent.size();
        const long iPosition = static_cast<long>(uiFrom) + in_iOffset;
        if (iPosition < 0)
        {
            errno = EINVAL;
            return -1;
        }
        m_uiPosition = static_cast<unsigned long>(iPosition);
        return iPosition;
    }

  private:
    MemoryFileSystem& m_fileSystem;
    std::string& m_strContent;
    bool m_bAppends;
    bool m_bOpen = true;
    unsigned long m_uiPosition = 0;
};

inline VirtualFileSystem::FileHandle MemoryFileSystem::open(const char* in_szPath, int in_iFlags,
                                                            unsigned int in_uiMode)
{
    if (note("open " + std::string(in_szPath) + ' ' + std::to_string(in_iFlags) + ' ' +
             std::to_string(in_uiMode)))
        return nullptr;
    if ((in_iFlags & O_CREAT) != 0)
        m_contents.try_emplace(in_szPath);
    const auto itContent = m_contents.find(in_szPath);
    if (itContent == m_contents.end())
    {
        errno = ENOENT;
        return nullptr;
    }
    if ((in_iFlags & O_TRUNC) != 0)
        itContent->second.clear();
    return FileHandle(new MemoryFile(*this, itContent->second, (in_iFlags & O_APPEND) != 0));
}

/// Returns a fault that makes all operations that begin with a text return a result and set
/// `errno`.
inline MemoryFileSystem::Fault faultOf(const std::string& in_strBeginning, long in_iResult,
                                       int in_iError)
{
    return [=](const std::string& in_strOperation) -> std::optional<long>
    {
        if (!in_strOperation.starts_with(in_strBeginning))
            return std::nullopt;
        errno = in_iError;
        return in_iResult;
    };
}

/// A file system with a file "file", and the handle by which streams share it.
class MemoryFiles
{
  public:
    explicit MemoryFiles(const std::string& in_strContent = "0123456789")
        : m_pFileSystem(new MemoryFileSystem), m_hFileSystem(m_pFileSystem)
    {
        m_pFileSystem->m_contents["file"] = in_strContent;
    }

    [[nodiscard]] const TSHandle<VirtualFileSystem>& handle() const { return m_hFileSystem; }
    MemoryFileSystem* operator->() const { return m_pFileSystem; }

    /// Returns the content of "file".
    [[nodiscard]] std::string& content() const { return m_pFileSystem->m_contents["file"]; }

  private:
    MemoryFileSystem* m_pFileSystem;
    TSHandle<VirtualFileSystem> m_hFileSystem;
};

} // namespace Velmora::Test
