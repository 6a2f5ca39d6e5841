// SPDX-License-Identifier: BSD-2-Clause

// Reads the input as an archive, as the example browser does. A refusal must give a reason in one
// line. An archive that is read can be walked, and each walk sees the same.

#include "fuzz/Require.h"

#include "examples/vfs-browser/ArchiveFileSystem.h"
#include "examples/vfs-browser/FileSystemWalk.h"

#include <fcntl.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

using Velmora::Fuzz::require;

namespace
{

constexpr std::size_t s_uiLimit = std::size_t{1024} * 1024;

/// Bounds a walk, which links can make endless.
constexpr std::size_t s_uiMostEntries = 500;

using Seen = FileSystemWalk::Seen;

std::vector<Seen> walk(ArchiveFileSystem& inout_archive)
{
    std::vector<Seen> entries;
    const auto add = [&](const Seen& in_seen)
    {
        entries.push_back(in_seen);
        return entries.size() < s_uiMostEntries;
    };
    static_cast<void>(FileSystemWalk(inout_archive, FileSystemWalk::Contents::READ).run("/", add));
    return entries;
}

void checkEntry(ArchiveFileSystem& inout_archive, const Seen& in_seen)
{
    const char* const szPath = in_seen.strPath.c_str();
    require(in_seen.iError == 0, "an entry cannot be opened", in_seen.strPath);
    require(in_seen.strPath.starts_with('/'), "a path does not begin at the root", in_seen.strPath);
    require(inout_archive.exists(szPath), "an entry does not exist", in_seen.strPath);
    require(inout_archive.opendir(szPath).isNull() != in_seen.bDirectory,
            "an entry is something else by its path", in_seen.strPath);
    require(in_seen.uiSize <= s_uiLimit, "a file is larger than the limit", in_seen.strPath);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_pData, std::size_t in_uiSize)
{
    const std::string_view bytes(reinterpret_cast<const char*>(in_pData), in_uiSize);
    TextSource source(bytes);
    try
    {
        ArchiveFileSystem archive("fuzz", source, s_uiLimit);
        const std::vector<Seen> entries = walk(archive);
        require(walk(archive) == entries, "two walks see something else", "");
        for (const Seen& seen : entries)
            checkEntry(archive, seen);
        // An arbitrary path, which may be the name of a member.
        constexpr std::size_t uiName = 100;
        const std::string strPath(bytes.substr(0, uiName));
        require(archive.exists(strPath.c_str()) ==
                    (!archive.opendir(strPath.c_str()).isNull() ||
                     !archive.open(strPath.c_str(), O_RDONLY).isNull()),
                "what exists cannot be opened", strPath);
    }
    catch (const BadArchive& error)
    {
        const std::string strReason = error.what();
        require(strReason.starts_with("cannot read the archive fuzz"), "no archive is named",
                strReason);
        require(std::none_of(strReason.begin(), strReason.end(),
                             [](unsigned char in_uc) { return in_uc < ' '; }),
                "a reason has control characters", strReason);
    }
    return 0;
}
