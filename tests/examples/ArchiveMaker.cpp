// SPDX-License-Identifier: BSD-2-Clause

#include "ArchiveMaker.h"

#include <archive_entry.h>

#include <gtest/gtest.h>

#include <cstdio>

namespace Velmora::Test
{

namespace
{

constexpr std::size_t s_uiTarBlock = 512;

la_ssize_t append(archive*, void* inout_pBytes, const void* in_pBlock, std::size_t in_uiSize)
{
    static_cast<std::string*>(inout_pBytes)->append(static_cast<const char*>(in_pBlock), in_uiSize);
    return static_cast<la_ssize_t>(in_uiSize);
}

void put(std::string& inout_strHeader, std::size_t in_uiOffset, std::string_view in_text)
{
    inout_strHeader.replace(in_uiOffset, in_text.size(), in_text);
}

std::string octal(unsigned long long in_uiNumber, int in_iDigits)
{
    char szText[32];
    std::snprintf(szText, sizeof(szText), "%0*llo", in_iDigits, in_uiNumber);
    return szText;
}

} // namespace

ArchiveMaker::ArchiveMaker(int in_iFormat, int in_iFilter)
    : m_pArchive(archive_write_new(), archive_write_free)
{
    EXPECT_EQ(ARCHIVE_OK, in_iFormat == ARCHIVE_FORMAT_AR_GNU
                              ? archive_write_set_format_ar_svr4(m_pArchive.get())
                              : archive_write_set_format(m_pArchive.get(), in_iFormat));
    EXPECT_EQ(ARCHIVE_OK, archive_write_add_filter(m_pArchive.get(), in_iFilter));
    archive_write_set_bytes_in_last_block(m_pArchive.get(), 1);
    EXPECT_EQ(ARCHIVE_OK,
              archive_write_open(m_pArchive.get(), &m_strBytes, nullptr, append, nullptr));
}

ArchiveMaker& ArchiveMaker::directory(const std::string& in_strName)
{
    add(in_strName, AE_IFDIR, "", "", false);
    return *this;
}

ArchiveMaker& ArchiveMaker::file(const std::string& in_strName, std::string_view in_content)
{
    add(in_strName, AE_IFREG, in_content, "", false);
    return *this;
}

ArchiveMaker& ArchiveMaker::link(const std::string& in_strName, const std::string& in_strTarget)
{
    add(in_strName, AE_IFLNK, "", in_strTarget, false);
    return *this;
}

ArchiveMaker& ArchiveMaker::hardLink(const std::string& in_strName, const std::string& in_strTarget)
{
    add(in_strName, AE_IFREG, "", in_strTarget, true);
    return *this;
}

ArchiveMaker& ArchiveMaker::fifo(const std::string& in_strName)
{
    add(in_strName, AE_IFIFO, "", "", false);
    return *this;
}

void ArchiveMaker::add(const std::string& in_strName, unsigned int in_uiType,
                       std::string_view in_content, const std::string& in_strTarget,
                       bool in_bHardLink)
{
    constexpr unsigned int uiPermissions = 0755;
    const std::unique_ptr<archive_entry, void (*)(archive_entry*)> pEntry(archive_entry_new(),
                                                                          archive_entry_free);
    archive_entry_set_pathname(pEntry.get(), in_strName.c_str());
    archive_entry_set_filetype(pEntry.get(), in_uiType);
    archive_entry_set_perm(pEntry.get(), uiPermissions);
    archive_entry_set_size(pEntry.get(), static_cast<la_int64_t>(in_content.size()));
    archive_entry_set_mtime(pEntry.get(), 1, 0);
    if (in_bHardLink)
        archive_entry_set_hardlink(pEntry.get(), in_strTarget.c_str());
    else if (in_uiType == AE_IFLNK)
        archive_entry_set_symlink(pEntry.get(), in_strTarget.c_str());
    EXPECT_LE(ARCHIVE_WARN, archive_write_header(m_pArchive.get(), pEntry.get()))
        << archive_error_string(m_pArchive.get());
    EXPECT_EQ(static_cast<la_ssize_t>(in_content.size()),
              archive_write_data(m_pArchive.get(), in_content.data(), in_content.size()));
}

std::string ArchiveMaker::bytes()
{
    EXPECT_EQ(ARCHIVE_OK, archive_write_close(m_pArchive.get()));
    return m_strBytes;
}

std::string compressed(std::string_view in_bytes, int in_iFilter)
{
    ArchiveMaker maker(ARCHIVE_FORMAT_RAW, in_iFilter);
    return maker.file("-", in_bytes).bytes();
}

std::string tarHeader(std::string_view in_name, unsigned long long in_uiSize, char in_cType)
{
    constexpr std::size_t uiMode = 100;
    constexpr std::size_t uiSize = 124;
    constexpr std::size_t uiSum = 148;
    constexpr std::size_t uiType = 156;
    constexpr std::size_t uiMagic = 257;
    constexpr unsigned long long uiMostOctal = 077777777777;
    constexpr std::size_t uiLastOfSize = uiSize + 11;
    std::string strHeader(s_uiTarBlock, '\0');
    put(strHeader, 0, in_name);
    put(strHeader, uiMode, "0000644");
    if (in_uiSize <= uiMostOctal)
        put(strHeader, uiSize, octal(in_uiSize, 11));
    else
    {
        // A size above 8 GiB is binary, big-endian, as in GNU tar.
        strHeader[uiSize] = '\x80';
        for (std::size_t uiByte = 0; uiByte < sizeof(in_uiSize); ++uiByte)
            strHeader[uiLastOfSize - uiByte] = static_cast<char>(in_uiSize >> (8 * uiByte));
    }
    // The checksum is computed with blanks in its own field.
    put(strHeader, uiSum, "        ");
    strHeader[uiType] = in_cType;
    put(strHeader, uiMagic, std::string_view("ustar\00000", 8));
    unsigned int uiChecksum = 0;
    for (const char c : strHeader)
        uiChecksum += static_cast<unsigned char>(c);
    put(strHeader, uiSum, octal(uiChecksum, 6) + '\0');
    return strHeader;
}

std::string tarBlocks(std::string in_strBytes)
{
    in_strBytes.resize((in_strBytes.size() + s_uiTarBlock - 1) / s_uiTarBlock * s_uiTarBlock);
    return in_strBytes;
}

} // namespace Velmora::Test
