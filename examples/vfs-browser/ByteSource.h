// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// A sequence of bytes, read block by block.
class ByteSource
{
  public:
    /// The largest block of the sources below.
    static constexpr std::size_t s_uiBlock = std::size_t{64} * 1024;

    ByteSource() = default;
    ByteSource(const ByteSource&) = delete;
    ByteSource& operator=(const ByteSource&) = delete;
    virtual ~ByteSource();

    /// Returns the next block, which is valid until the next call; an empty one at the end.
    /// Failure: throws `BadArchive`.
    [[nodiscard]] virtual std::string_view next() = 0;
};

/// A regular file of the operating system that the user names.
/// Failure: throws `BadArchive`, also for a path that is not a regular file.
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

/// Bytes in memory. Ownership: the caller owns them.
class TextSource : public ByteSource
{
  public:
    explicit TextSource(std::string_view in_text) : m_text(in_text) {}
    [[nodiscard]] std::string_view next() override;

  private:
    std::string_view m_text;
};
