// SPDX-License-Identifier: BSD-2-Clause

#include "DecompressedSource.h"

#include "BadArchive.h"

namespace
{

void support(archive* inout_pArchive)
{
    archive_read_support_format_empty(inout_pArchive);
    archive_read_support_format_raw(inout_pArchive);
    // Without the filters for which libarchive starts other programs.
    archive_read_support_filter_bzip2(inout_pArchive);
    archive_read_support_filter_compress(inout_pArchive);
    archive_read_support_filter_gzip(inout_pArchive);
    archive_read_support_filter_lz4(inout_pArchive);
    archive_read_support_filter_lzip(inout_pArchive);
    archive_read_support_filter_lzma(inout_pArchive);
    archive_read_support_filter_xz(inout_pArchive);
    archive_read_support_filter_zstd(inout_pArchive);
}

} // namespace

DecompressedSource::DecompressedSource(ByteSource& inout_source)
    : m_reader(inout_source, support, nullptr)
{
}

std::string_view DecompressedSource::next()
{
    if (!m_bOpen)
        open();
    if (!m_bMember)
        return {};
    const std::string_view bytes = m_reader.nextBytes();
    m_bMember = !bytes.empty();
    return bytes;
}

void DecompressedSource::open()
{
    m_bOpen = true;
    m_bMember = m_reader.nextMember() != nullptr;
    if (m_reader.filters() > 1)
        throw BadArchive("it is compressed more than once; decompress it first");
}
