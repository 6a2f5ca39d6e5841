// SPDX-License-Identifier: BSD-2-Clause

#include "FileSystemWalk.h"

#include <fcntl.h>

#include <cerrno>
#include <string_view>
#include <vector>

namespace
{

constexpr std::size_t s_uiBlock = std::size_t{64} * 1024;

constexpr std::uint64_t s_uiChecksumOfNothing = 14695981039346656037U;

std::uint64_t addToChecksum(std::uint64_t in_uiChecksum, std::string_view in_bytes)
{
    constexpr std::uint64_t uiPrime = 1099511628211U;
    for (const char c : in_bytes)
        in_uiChecksum = (in_uiChecksum ^ static_cast<unsigned char>(c)) * uiPrime;
    return in_uiChecksum;
}

} // namespace

FileSystemWalk::Seen FileSystemWalk::readFile(const std::string& in_strPath,
                                              std::size_t in_uiDepth) const
{
    Seen seen{in_strPath, false, in_uiDepth};
    if (m_contents == Contents::LEFT)
        return seen;
    seen.uiChecksum = s_uiChecksumOfNothing;
    const auto hFile = m_fileSystem.open(in_strPath.c_str(), O_RDONLY | O_NONBLOCK);
    std::string strBlock(s_uiBlock, '\0');
    long iRead = hFile.isNull() ? -1 : 0;
    while (iRead >= 0 && (iRead = hFile->read(strBlock.data(), strBlock.size())) > 0)
    {
        seen.uiSize += static_cast<std::uint64_t>(iRead);
        seen.uiChecksum = addToChecksum(
            seen.uiChecksum, std::string_view(strBlock).substr(0, static_cast<std::size_t>(iRead)));
    }
    if (iRead < 0)
        seen.iError = errno;
    return seen;
}

bool FileSystemWalk::run(const std::string& in_strPath, const Visitor& in_visitor) const
{
    // The open directories from the start to the current one. A stack instead of recursion, as the
    // depth depends on the archive.
    std::vector<Velmora::VirtualFileSystem::DirectoryHandle> directories;
    const auto enter = [&](const std::string& in_strDirectory)
    {
        Seen seen{in_strDirectory, true, directories.size()};
        if (const auto hDirectory = m_fileSystem.opendir(in_strDirectory.c_str()))
            directories.push_back(hDirectory);
        else
            seen.iError = errno;
        return in_visitor(seen);
    };
    bool bGoesOn = enter(in_strPath);
    while (bGoesOn && !directories.empty())
    {
        Velmora::VirtualFileSystem::EntryHandle hEntry = directories.back()->read();
        if (hEntry.isNull())
        {
            directories.pop_back();
            continue;
        }
        const std::string strPath = hEntry->getPath();
        const bool bDirectory = hEntry->isDirectory();
        // Closed before it is opened again by its path, so that each level takes one descriptor.
        hEntry = nullptr;
        bGoesOn = bDirectory ? enter(strPath) : in_visitor(readFile(strPath, directories.size()));
    }
    return bGoesOn;
}
