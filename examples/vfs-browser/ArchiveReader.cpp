// SPDX-License-Identifier: BSD-2-Clause

#include "ArchiveReader.h"

#include "DecompressedSource.h"
#include "LibarchiveReader.h"
#include "MemoryBudget.h"

#include <locale.h> // NOLINT(modernize-deprecated-headers): for what POSIX adds.

#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <string_view>

namespace
{

constexpr std::size_t s_uiMostRemarks = 10;

/// The bytes of a reader's current member.
class MemberSource : public ByteSource
{
  public:
    explicit MemberSource(LibarchiveReader& inout_reader) : m_reader(inout_reader) {}

    [[nodiscard]] std::string_view next() override { return m_reader.nextBytes(); }

  private:
    LibarchiveReader& m_reader;
};

void supportTar(archive* inout_pArchive) { archive_read_support_format_tar(inout_pArchive); }

void supportTarAndAr(archive* inout_pArchive)
{
    supportTar(inout_pArchive);
    archive_read_support_format_ar(inout_pArchive);
}

bool isAr(const LibarchiveReader& in_reader)
{
    return (in_reader.format() & ARCHIVE_FORMAT_BASE_MASK) == ARCHIVE_FORMAT_AR;
}

/// Sets the thread's locale to UTF-8 while it exists. libarchive converts names in UTF-8 to the
/// thread's locale, so they then stay as they are.
class Utf8Names
{
  public:
    Utf8Names() : m_locale(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)), m_former(nullptr)
    {
        if (m_locale != nullptr)
            m_former = uselocale(m_locale);
    }
    ~Utf8Names()
    {
        if (m_locale == nullptr)
            return;
        uselocale(m_former);
        freelocale(m_locale);
    }
    Utf8Names(const Utf8Names&) = delete;
    Utf8Names& operator=(const Utf8Names&) = delete;

  private:
    locale_t m_locale;
    locale_t m_former;
};

/// Returns a text of libarchive, empty for null.
std::string_view textOf(const char* in_szText) { return in_szText == nullptr ? "" : in_szText; }

/// Reads the members of an archive one by one.
class MembersReader
{
  public:
    MembersReader(MemoryBudget& inout_budget, ArchiveContents& out_contents)
        : m_budget(inout_budget), m_contents(out_contents)
    {
    }

    void read(ByteSource& inout_source)
    {
        DecompressedSource decompressed(inout_source);
        LibarchiveReader reader(decompressed, supportTarAndAr, &m_budget);
        archive_entry* const pEntry = reader.nextMember();
        if (isAr(reader))
            readPackage(reader, pEntry);
        else
            readTar(reader, pEntry);
        if (m_uiLeftOut > s_uiMostRemarks)
            m_contents.remarks.push_back(std::to_string(m_uiLeftOut - s_uiMostRemarks) +
                                         " more members are left out");
    }

    /// Returns the place in the archive for a message; empty before the first member.
    [[nodiscard]] std::string place() const
    {
        return m_uiMember == 0 ? "" : (m_bBehind ? " behind " : " at ") + member();
    }

  private:
    void readPackage(LibarchiveReader& inout_reader, archive_entry* in_pEntry)
    {
        while (in_pEntry != nullptr &&
               !textOf(archive_entry_pathname(in_pEntry)).starts_with("data.tar"))
        {
            skip(inout_reader);
            in_pEntry = inout_reader.nextMember();
        }
        if (in_pEntry == nullptr)
            throw BadArchive("it is an ar archive without data.tar, and so no Debian package");
        MemberSource data(inout_reader);
        DecompressedSource decompressed(data);
        LibarchiveReader reader(decompressed, supportTar, &m_budget);
        readTar(reader, reader.nextMember());
    }

    void readTar(LibarchiveReader& inout_reader, archive_entry* in_pEntry)
    {
        for (; in_pEntry != nullptr; in_pEntry = inout_reader.nextMember())
        {
            ++m_uiMember;
            m_bBehind = false;
            m_strMember = textOf(archive_entry_pathname(in_pEntry));
            const std::size_t uiBefore = m_contents.tree.getNodeBytes();
            if (const char* const szReason = add(inout_reader, *in_pEntry))
                leaveOut(szReason);
            m_budget.spend(m_contents.tree.getNodeBytes() - uiBefore);
            skip(inout_reader);
            m_bBehind = true;
        }
    }

    /// Adds a member to the tree. Returns null, or the reason why it is left out.
    const char* add(LibarchiveReader& inout_reader, archive_entry& inout_entry)
    {
        ArchiveTree& tree = m_contents.tree;
        if (const char* const szTarget = archive_entry_hardlink(&inout_entry))
            return tree.addHardLink(m_strMember, szTarget);
        switch (archive_entry_filetype(&inout_entry))
        {
        case AE_IFDIR:
            return tree.addDirectory(m_strMember);
        case AE_IFLNK:
            return tree.addLink(m_strMember, textOf(archive_entry_symlink(&inout_entry)));
        case AE_IFREG:
            return tree.addFile(m_strMember, content(inout_reader, inout_entry));
        default:
            return "it is a device, a FIFO or a socket";
        }
    }

    ArchiveTree::Content content(LibarchiveReader& inout_reader, archive_entry& inout_entry)
    {
        const std::int64_t iSize = archive_entry_size(&inout_entry);
        if (iSize < 0)
            throw BadArchive(std::string("its size is below 0") + BadArchive::s_szDamaged);
        const auto uiSize = static_cast<std::uint64_t>(iSize);
        // The size comes from the archive's header and is checked before memory is reserved for it.
        m_budget.require(uiSize);
        auto pContent = std::make_shared<std::string>();
        pContent->reserve(uiSize);
        std::size_t uiRead = 0;
        while (const std::optional<LibarchiveReader::Block> block = inout_reader.nextBlock())
        {
            uiRead += block->bytes.size();
            put(*block, uiSize, *pContent);
        }
        // The bytes that were read are spent already; the rest are holes.
        m_budget.spend(uiSize - uiRead);
        pContent->resize(uiSize);
        return pContent;
    }

    static void put(const LibarchiveReader::Block& in_block, std::uint64_t in_uiSize,
                    std::string& inout_strContent)
    {
        if (in_block.bytes.empty())
            return;
        const auto uiOffset = static_cast<std::uint64_t>(in_block.iOffset);
        if (uiOffset < inout_strContent.size() || uiOffset > in_uiSize ||
            in_block.bytes.size() > in_uiSize - uiOffset)
            throw BadArchive(std::string("its contents do not fit its size") +
                             BadArchive::s_szDamaged);
        inout_strContent.resize(uiOffset);
        inout_strContent += in_block.bytes;
    }

    static void skip(LibarchiveReader& inout_reader)
    {
        while (inout_reader.nextBlock())
            ;
    }

    [[nodiscard]] std::string member() const
    {
        return "member " + std::to_string(m_uiMember) + " \"" + BadArchive::printable(m_strMember) +
               '"';
    }

    void leaveOut(const char* in_szReason)
    {
        if (++m_uiLeftOut <= s_uiMostRemarks)
            m_contents.remarks.push_back(member() + " is left out: " + in_szReason);
    }

    MemoryBudget& m_budget;
    ArchiveContents& m_contents;
    std::size_t m_uiMember = 0;
    bool m_bBehind = false;
    std::size_t m_uiLeftOut = 0;
    std::string m_strMember;
};

} // namespace

void readArchive(const std::string& in_strName, ByteSource& inout_source, std::size_t in_uiLimit,
                 ArchiveContents& out_contents)
{
    const Utf8Names names;
    MemoryBudget budget(in_uiLimit);
    MembersReader reader(budget, out_contents);
    const auto failure = [&](const std::string& in_strReason)
    {
        return BadArchive("cannot read the archive " + BadArchive::printable(in_strName) +
                          reader.place() + ": " + in_strReason);
    };
    try
    {
        reader.read(inout_source);
    }
    catch (const std::bad_alloc&)
    {
        throw failure("no memory is left; allow less or give the program more");
    }
    catch (const BadArchive& error)
    {
        throw failure(error.what());
    }
}
