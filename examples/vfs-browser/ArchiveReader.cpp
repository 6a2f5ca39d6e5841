// SPDX-License-Identifier: BSD-2-Clause

#include "ArchiveReader.h"

#include <archive.h>
#include <archive_entry.h>

#include <fcntl.h>
#include <locale.h> // NOLINT(modernize-deprecated-headers): for what POSIX adds.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <exception>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

namespace
{

constexpr std::size_t s_uiMiB = std::size_t{1024} * 1024;
constexpr std::size_t s_uiBlock = std::size_t{64} * 1024;

/// The number of bytes that libarchive may read before it returns something: the headers of a
/// member, which it keeps in memory.
constexpr std::size_t s_uiMostAtOnce = 4 * s_uiMiB;

constexpr std::size_t s_uiMostRemarks = 10;

constexpr const char* s_szDamaged = "; it is damaged or incomplete, get it again";
constexpr const char* s_szNoArchive =
    "it is neither a tar archive, plain or compressed, nor a Debian package";

/// Returns a text as one line that a terminal can show: control characters become "\x" and two
/// digits.
std::string printable(std::string_view in_text)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    constexpr unsigned char ucFirstPrintable = ' ';
    constexpr unsigned char ucDelete = 0x7F;
    std::string strResult;
    for (const char c : in_text)
    {
        const auto uc = static_cast<unsigned char>(c);
        if (uc >= ucFirstPrintable && uc != ucDelete)
            strResult += c;
        else
            strResult += {'\\', 'x', digits[uc / digits.size()], digits[uc % digits.size()]};
    }
    return strResult;
}

/// Counts down the memory that an archive may still take.
class Budget
{
  public:
    explicit Budget(std::size_t in_uiLimit) : m_uiLimit(in_uiLimit), m_uiLeft(in_uiLimit) {}

    /// Throws `BadArchive` if fewer bytes are left.
    void require(std::uint64_t in_uiBytes) const
    {
        if (in_uiBytes > m_uiLeft)
            throw BadArchive("it takes more than the limit of " +
                             std::to_string(m_uiLimit / s_uiMiB) +
                             " MiB in memory; allow more, if it can be trusted");
    }

    void spend(std::uint64_t in_uiBytes)
    {
        require(in_uiBytes);
        m_uiLeft -= in_uiBytes;
    }

  private:
    std::size_t m_uiLimit;
    std::size_t m_uiLeft;
};

struct Block
{
    std::string_view bytes;
    /// The offset in the member. A gap before it is filled with zeros.
    std::int64_t iOffset = 0;
};

/// Reads a source by libarchive.
class Reader
{
  public:
    /// `in_support` enables libarchive's formats and filters. If there is a budget, each byte that
    /// libarchive reads is spent from it.
    Reader(ByteSource& inout_source, const std::function<void(archive*)>& in_support,
           Budget* inout_pBudget)
        : m_source(inout_source), m_pBudget(inout_pBudget),
          m_pArchive(archive_read_new(), archive_read_free)
    {
        if (m_pArchive == nullptr)
            throw std::bad_alloc();
        in_support(m_pArchive.get());
    }

    /// Returns the next member; null at the end.
    archive_entry* nextMember()
    {
        if (!std::exchange(m_bOpen, true))
            check(call(
                [this]
                { return archive_read_open(m_pArchive.get(), this, nullptr, &read, nullptr); }));
        archive_entry* pEntry = nullptr;
        const int iResult =
            call([&] { return archive_read_next_header(m_pArchive.get(), &pEntry); });
        check(iResult);
        return iResult == ARCHIVE_EOF ? nullptr : pEntry;
    }

    /// Returns the next block of the member; none at its end.
    std::optional<Block> nextBlock()
    {
        const void* pBytes = nullptr;
        std::size_t uiSize = 0;
        Block block;
        const int iResult = call(
            [&] {
                return archive_read_data_block(m_pArchive.get(), &pBytes, &uiSize, &block.iOffset);
            });
        check(iResult);
        if (iResult == ARCHIVE_EOF)
            return std::nullopt;
        block.bytes = {static_cast<const char*>(pBytes), uiSize};
        return block;
    }

    [[nodiscard]] int format() const { return archive_format(m_pArchive.get()); }

    /// Returns the number of compressions.
    [[nodiscard]] int filters() const { return archive_filter_count(m_pArchive.get()) - 1; }

  private:
    static la_ssize_t read(archive* inout_pArchive, void* inout_pReader, const void** out_ppBlock)
    {
        auto& reader = *static_cast<Reader*>(inout_pReader);
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

    std::string_view pull()
    {
        const std::string_view block = m_source.next();
        // Counted since the last call of libarchive that returned something. Otherwise an archive
        // of endless headers, or of nothing at all, would fill the memory or never end.
        m_uiPulled += block.size();
        if (m_uiPulled > s_uiMostAtOnce + s_uiBlock)
            throw BadArchive("more than " + std::to_string(s_uiMostAtOnce / s_uiMiB) +
                             " MiB in a row hold headers or nothing" + s_szDamaged);
        if (m_pBudget != nullptr)
            m_pBudget->spend(block.size());
        return block;
    }

    template <class Step>
    int call(const Step& in_step)
    {
        m_uiPulled = 0;
        return in_step();
    }

    void check(int in_iResult) const
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
            (szReason == nullptr ? "libarchive gives no reason" : printable(szReason)) +
            s_szDamaged);
    }

    ByteSource& m_source;
    Budget* m_pBudget;
    std::unique_ptr<archive, int (*)(archive*)> m_pArchive;
    bool m_bOpen = false;
    std::size_t m_uiPulled = 0;
    std::exception_ptr m_pFailure;
};

/// The decompressed bytes of a source.
class Decompressed : public ByteSource
{
  public:
    explicit Decompressed(ByteSource& inout_source) : m_reader(inout_source, support, nullptr) {}

    [[nodiscard]] std::string_view next() override
    {
        if (!m_bOpen)
            open();
        while (m_bMember)
        {
            const std::optional<Block> block = m_reader.nextBlock();
            m_bMember = block.has_value();
            if (block && !block->bytes.empty())
                return block->bytes;
        }
        return {};
    }

  private:
    static void support(archive* inout_pArchive)
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

    void open()
    {
        m_bOpen = true;
        m_bMember = m_reader.nextMember() != nullptr;
        if (m_reader.filters() > 1)
            throw BadArchive("it is compressed more than once; decompress it first");
    }

    Reader m_reader;
    bool m_bOpen = false;
    bool m_bMember = false;
};

/// The bytes of a reader's current member.
class MemberSource : public ByteSource
{
  public:
    explicit MemberSource(Reader& inout_reader) : m_reader(inout_reader) {}

    [[nodiscard]] std::string_view next() override
    {
        while (const std::optional<Block> block = m_reader.nextBlock())
            if (!block->bytes.empty())
                return block->bytes;
        return {};
    }

  private:
    Reader& m_reader;
};

void supportTar(archive* inout_pArchive) { archive_read_support_format_tar(inout_pArchive); }

void supportTarAndAr(archive* inout_pArchive)
{
    supportTar(inout_pArchive);
    archive_read_support_format_ar(inout_pArchive);
}

bool isAr(const Reader& in_reader)
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
    MembersReader(Budget& inout_budget, ArchiveContents& out_contents)
        : m_budget(inout_budget), m_contents(out_contents)
    {
    }

    void read(ByteSource& inout_source)
    {
        Decompressed decompressed(inout_source);
        Reader reader(decompressed, supportTarAndAr, &m_budget);
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
    void readPackage(Reader& inout_reader, archive_entry* in_pEntry)
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
        Decompressed decompressed(data);
        Reader reader(decompressed, supportTar, &m_budget);
        readTar(reader, reader.nextMember());
    }

    void readTar(Reader& inout_reader, archive_entry* in_pEntry)
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
    const char* add(Reader& inout_reader, archive_entry& inout_entry)
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

    ArchiveTree::Content content(Reader& inout_reader, archive_entry& inout_entry)
    {
        const std::int64_t iSize = archive_entry_size(&inout_entry);
        if (iSize < 0)
            throw BadArchive(std::string("its size is below 0") + s_szDamaged);
        const auto uiSize = static_cast<std::uint64_t>(iSize);
        // The size comes from the archive's header and is checked before memory is reserved for it.
        m_budget.require(uiSize);
        auto pContent = std::make_shared<std::string>();
        pContent->reserve(uiSize);
        std::size_t uiRead = 0;
        while (const std::optional<Block> block = inout_reader.nextBlock())
        {
            uiRead += block->bytes.size();
            put(*block, uiSize, *pContent);
        }
        // The bytes that were read are spent already; the rest are holes.
        m_budget.spend(uiSize - uiRead);
        pContent->resize(uiSize);
        return pContent;
    }

    static void put(const Block& in_block, std::uint64_t in_uiSize, std::string& inout_strContent)
    {
        if (in_block.bytes.empty())
            return;
        const auto uiOffset = static_cast<std::uint64_t>(in_block.iOffset);
        if (uiOffset < inout_strContent.size() || uiOffset > in_uiSize ||
            in_block.bytes.size() > in_uiSize - uiOffset)
            throw BadArchive(std::string("its contents do not fit its size") + s_szDamaged);
        inout_strContent.resize(uiOffset);
        inout_strContent += in_block.bytes;
    }

    static void skip(Reader& inout_reader)
    {
        while (inout_reader.nextBlock())
            ;
    }

    [[nodiscard]] std::string member() const
    {
        return "member " + std::to_string(m_uiMember) + " \"" + printable(m_strMember) + '"';
    }

    void leaveOut(const char* in_szReason)
    {
        if (++m_uiLeftOut <= s_uiMostRemarks)
            m_contents.remarks.push_back(member() + " is left out: " + in_szReason);
    }

    Budget& m_budget;
    ArchiveContents& m_contents;
    std::size_t m_uiMember = 0;
    bool m_bBehind = false;
    std::size_t m_uiLeftOut = 0;
    std::string m_strMember;
};

std::string reasonOf(int in_iError)
{
    return std::error_code(in_iError, std::generic_category()).message();
}

} // namespace

ByteSource::~ByteSource() = default;

FileSource::FileSource(const std::string& in_strPath)
    : m_iDescriptor(open(in_strPath.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)),
      m_strBlock(s_uiBlock, '\0')
{
    struct stat status = {};
    if (m_iDescriptor != -1 && fstat(m_iDescriptor, &status) == 0 && S_ISREG(status.st_mode))
        return;
    const std::string strReason = m_iDescriptor == -1 ? reasonOf(errno) : "it is no regular file";
    if (m_iDescriptor != -1)
        close(m_iDescriptor);
    throw BadArchive("cannot read the archive " + printable(in_strPath) + ": " + strReason);
}

FileSource::~FileSource() { close(m_iDescriptor); }

std::string_view FileSource::next()
{
    const ssize_t iRead = read(m_iDescriptor, m_strBlock.data(), m_strBlock.size());
    if (iRead < 0)
        throw BadArchive(reasonOf(errno));
    return std::string_view(m_strBlock).substr(0, static_cast<std::size_t>(iRead));
}

std::string_view TextSource::next()
{
    const std::string_view block = m_text.substr(0, s_uiBlock);
    m_text.remove_prefix(block.size());
    return block;
}

void readArchive(const std::string& in_strName, ByteSource& inout_source, std::size_t in_uiLimit,
                 ArchiveContents& out_contents)
{
    const Utf8Names names;
    Budget budget(in_uiLimit);
    MembersReader reader(budget, out_contents);
    const auto failure = [&](const std::string& in_strReason)
    {
        return BadArchive("cannot read the archive " + printable(in_strName) + reader.place() +
                          ": " + in_strReason);
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
