// SPDX-License-Identifier: BSD-2-Clause

#include "LibarchiveReader.h"

#include "BadArchive.h"

#include <cerrno>
#include <new>
#include <string>
#include <utility>

namespace
{

/// The number of bytes that libarchive may read before it returns something: the headers of a
/// member, which it keeps in memory.
constexpr std::size_t s_uiMostAtOnce = 4 * MemoryBudget::s_uiMiB;

constexpr const char* s_szNoArchive =
    "it is neither a tar archive, plain or compressed, nor a Debian package";

} // namespace

LibarchiveReader::LibarchiveReader(ByteSource& inout_source,
                                   const std::function<void(archive*)>& in_support,
                                   MemoryBudget* inout_pBudget)
    : m_source(inout_source), m_pBudget(inout_pBudget),
      m_pArchive(archive_read_new(), archive_read_free)
{
    if (m_pArchive == nullptr)
        throw std::bad_alloc();
    in_support(m_pArchive.get());
}

archive_entry* LibarchiveReader::nextMember()
{
    if (!std::exchange(m_bOpen, true))
        check(call([this]
                   { return archive_read_open(m_pArchive.get(), this, nullptr, &read, nullptr); }));
    archive_entry* pEntry = nullptr;
    const int iResult = call([&] { return archive_read_next_header(m_pArchive.get(), &pEntry); });
    check(iResult);
    return iResult == ARCHIVE_EOF ? nullptr : pEntry;
}

std::optional<LibarchiveReader::Block> LibarchiveReader::nextBlock()
{
    const void* pBytes = nullptr;
    std::size_t uiSize = 0;
    Block block;
    const int iResult = call(
        [&]
        { return archive_read_data_block(m_pArchive.get(), &pBytes, &uiSize, &block.iOffset); });
    check(iResult);
    if (iResult == ARCHIVE_EOF)
        return std::nullopt;
    block.bytes = {static_cast<const char*>(pBytes), uiSize};
    return block;
}

std::string_view LibarchiveReader::nextBytes()
{
    while (const std::optional<Block> block = nextBlock())
        if (!block->bytes.empty())
            return block->bytes;
    return {};
}

la_ssize_t LibarchiveReader::read(archive* inout_pArchive, void* inout_pReader,
                                  const void** out_ppBlock)
{
    auto& reader = *static_cast<LibarchiveReader*>(inout_pReader);
    try
    {
        const std::string_view block = reader.pull();
        *out_ppBlock = block.data();
        return static_cast<la_ssize_t>(block.size());
    }
    catch (const std::exception& error)
    {
        // Kept here because libarchive may replace the reason by one of its own.
        reader.m_pFailure = std::current_exception();
        archive_set_error(inout_pArchive, EIO, "%s", error.what());
        return ARCHIVE_FATAL;
    }
}

std::string_view LibarchiveReader::pull()
{
    const std::string_view block = m_source.next();
    // Counted since the last call of libarchive that returned something. Otherwise an archive
    // of endless headers, or of nothing at all, would fill the memory or never end.
    m_uiPulled += block.size();
    if (m_uiPulled > s_uiMostAtOnce + ByteSource::s_uiBlock)
        throw BadArchive("more than " + std::to_string(s_uiMostAtOnce / MemoryBudget::s_uiMiB) +
                         " MiB in a row hold headers or nothing" + BadArchive::s_szDamaged);
    if (m_pBudget != nullptr)
        m_pBudget->spend(block.size());
    return block;
}

void LibarchiveReader::check(int in_iResult) const
{
    if (in_iResult == ARCHIVE_OK || in_iResult == ARCHIVE_EOF || in_iResult == ARCHIVE_WARN)
        return;
    if (m_pFailure != nullptr)
        std::rethrow_exception(m_pFailure);
    if (archive_errno(m_pArchive.get()) == ENOMEM)
        throw std::bad_alloc();
    if (format() == 0 && filters() == 0)
        throw BadArchive(s_szNoArchive);
    const char* const szReason = archive_error_string(m_pArchive.get());
    throw BadArchive(
        (szReason == nullptr ? "libarchive gives no reason" : BadArchive::printable(szReason)) +
        BadArchive::s_szDamaged);
}
