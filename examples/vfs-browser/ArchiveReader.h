#pragma once

#include "ArchiveTree.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// An archive that cannot be read. Its text says which one, at which member, why, and what to do.
class BadArchive : public std::runtime_error
{
  public:
    using std::runtime_error::runtime_error;
};

/// Bytes in their order, block by block.
class ByteSource
{
  public:
    ByteSource() = default;
    ByteSource(const ByteSource&) = delete;
    ByteSource& operator=(const ByteSource&) = delete;
    virtual ~ByteSource();

    /// The next block, valid until the one after it; an empty one at the end.
    /// Failure: throws `BadArchive`.
    [[nodiscard]] virtual std::string_view next() = 0;
};

/// A regular file of the operating system, which the user names.
/// Failure: throws `BadArchive`, also for a path that leads to something else.
class FileSource : public ByteSource
{
  public:
    explicit FileSource(const std::string& in_strPath);
    ~FileSource() override;
    [[nodiscard]] std::string_view next() override;

  private:
    int m_iDescriptor;
    std::string m_strBlock;
};

/// Bytes in memory, which belong to the caller.
class TextSource : public ByteSource
{
  public:
    explicit TextSource(std::string_view in_text) : m_text(in_text) {}
    [[nodiscard]] std::string_view next() override;

  private:
    std::string_view m_text;
};

/// What is read of an archive.
struct ArchiveContents
{
    ArchiveTree tree;
    /// What was left out and why: the first ten members, and how many others.
    std::vector<std::string> remarks;
};

/// Reads a tar archive, plain or compressed (compress, gzip, bzip2, xz, lzma, lzip, lz4, zstd), or
/// the files of a Debian package, which is an archive of the form ar with a member data.tar*. The
/// forms are known by their bytes, not by names. No other program is started, and nothing is
/// written.
///
/// What can be opened as neither a file nor a directory (devices, FIFOs, sockets) is left out, and
/// so is what `ArchiveTree` leaves out. Of a name with a zero byte in it, what stands before that
/// counts. Names are UTF-8 in normal form C where they stand in pax headers, and else bytes as they
/// are.
///
/// `in_uiLimit` bounds the memory, and so the time, in bytes: all bytes that are unpacked, holes in
/// sparse files, and 256 bytes with the name for each file, directory or link count against it. The
/// headers of one member may take 4 MiB. The window of the decompressor comes on top: one of xz,
/// lzma or lzip reserves what the archive says, up to 4 GiB, and uses as much of it as is unpacked;
/// zstd refuses an archive that says more than 128 MiB.
///
/// Failure: throws `BadArchive`, whose text begins with "cannot read the archive " and the name.
/// Thread-safety: any number of threads may read, each from its own source.
void readArchive(const std::string& in_strName, ByteSource& inout_source, std::size_t in_uiLimit,
                 ArchiveContents& out_contents);
