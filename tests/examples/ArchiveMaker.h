// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <archive.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace Velmora::Test
{

/// Creates an archive in memory, member by member, with libarchive.
class ArchiveMaker
{
  public:
    explicit ArchiveMaker(int in_iFormat = ARCHIVE_FORMAT_TAR_GNUTAR,
                          int in_iFilter = ARCHIVE_FILTER_NONE);

    ArchiveMaker& directory(const std::string& in_strName);
    ArchiveMaker& file(const std::string& in_strName, std::string_view in_content = "");
    ArchiveMaker& link(const std::string& in_strName, const std::string& in_strTarget);
    ArchiveMaker& hardLink(const std::string& in_strName, const std::string& in_strTarget);
    ArchiveMaker& fifo(const std::string& in_strName);

    /// Ends the archive and returns its bytes.
    [[nodiscard]] std::string bytes();

  private:
    void add(const std::string& in_strName, unsigned int in_uiType, std::string_view in_content,
             const std::string& in_strTarget, bool in_bHardLink);

    std::string m_strBytes;
    std::unique_ptr<archive, int (*)(archive*)> m_pArchive;
};

/// Returns bytes compressed by libarchive.
[[nodiscard]] std::string compressed(std::string_view in_bytes, int in_iFilter);

/// Returns the header of a member of a tar archive, with unchecked values: a name of up to 100
/// bytes, a size, and the type, '0' for a file.
[[nodiscard]] std::string tarHeader(std::string_view in_name, unsigned long long in_uiSize,
                                    char in_cType = '0');

/// Returns bytes padded with zeros to a multiple of 512.
[[nodiscard]] std::string tarBlocks(std::string in_strBytes);

} // namespace Velmora::Test
