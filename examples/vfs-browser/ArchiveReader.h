// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "ArchiveTree.h"
#include "BadArchive.h"
#include "ByteSource.h"

#include <cstddef>
#include <string>
#include <vector>

/// The contents of an archive.
struct ArchiveContents
{
    ArchiveTree tree;
    /// The members that were left out and why: the first ten of them, then the number of the
    /// others.
    std::vector<std::string> remarks;
};

/// Reads a tar archive, plain or compressed (compress, gzip, bzip2, xz, lzma, lzip, lz4, zstd), or
/// the files of a Debian package, which is an ar archive with a member data.tar*. The format is
/// recognised by the bytes, not by the name. No other program is started, and nothing is written.
///
/// Members that can be opened as neither a file nor a directory (devices, FIFOs, sockets) are left
/// out, as are those that `ArchiveTree` rejects. A name ends at its first zero byte. Names from
/// pax headers are UTF-8 in normalization form C; others are kept byte by byte.
///
/// `in_uiLimit` bounds the memory, and so the time, in bytes. All unpacked bytes, the holes in
/// sparse files, and 256 bytes plus the name for each file, directory or link count against it. The
/// headers of one member may take 4 MiB. The window of the decompressor comes on top: that of xz,
/// lzma and lzip has the size that the archive states, up to 4 GiB of reserved memory, of which
/// only as much is used as is unpacked; zstd rejects an archive that states more than 128 MiB.
///
/// Failure: throws `BadArchive`, whose text begins with "cannot read the archive " and the name.
/// Thread-safety: any number of threads may read, each from its own source.
void readArchive(const std::string& in_strName, ByteSource& inout_source, std::size_t in_uiLimit,
                 ArchiveContents& out_contents);
