// SPDX-License-Identifier: BSD-2-Clause

#include "Browser.h"

#include "ArchiveFileSystem.h"

#include "velmora/vfs/DiskFileSystem.h"

#include <boost/program_options.hpp>

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <ostream>
#include <sstream>
#include <system_error>
#include <thread>

namespace fs = std::filesystem;
namespace po = boost::program_options;

namespace
{

constexpr const char* s_szMemoryLimit = "memory-limit";
constexpr const char* s_szListingLimit = "listing-limit";
constexpr const char* s_szPrintFileContent = "print-file-content";

constexpr unsigned int s_uiDefaultListingLimit = 64;
constexpr std::size_t s_uiMiB = std::size_t{1024} * 1024;
constexpr std::size_t s_uiThreads = 8;

using Seen = FileSystemWalk::Seen;

/// Returns the line of an item in a listing.
std::string lineOf(const Seen& in_seen)
{
    return std::string(2 * in_seen.uiDepth, ' ') +
           (in_seen.bDirectory ? "+ Directory " : "+ File ") + in_seen.strPath + '\n';
}

std::string reasonOf(int in_iError) { return std::generic_category().message(in_iError); }

std::string describe(const Seen& in_seen)
{
    std::ostringstream text;
    text << (in_seen.bDirectory ? "the directory " : "the file ") << in_seen.strPath;
    if (in_seen.iError != 0)
        text << " (" << reasonOf(in_seen.iError) << ')';
    else if (!in_seen.bDirectory)
        text << " (" << in_seen.uiSize << " bytes, checksum " << std::hex << in_seen.uiChecksum
             << ')';
    return text.str();
}

std::string differenceOf(const Seen& in_seen, const Seen* in_pExpected)
{
    return describe(in_seen) +
           (in_pExpected == nullptr ? " at the end" : " in place of " + describe(*in_pExpected));
}

/// Returns a text such as "3 directories and 5 files of 1234 bytes".
std::string summaryOf(const std::vector<Seen>& in_walked)
{
    std::size_t uiDirectories = 0;
    std::uint64_t uiBytes = 0;
    for (const Seen& seen : in_walked)
    {
        uiDirectories += seen.bDirectory ? 1 : 0;
        uiBytes += seen.uiSize;
    }
    std::ostringstream text;
    text << uiDirectories << " directories and " << in_walked.size() - uiDirectories << " files of "
         << uiBytes << " bytes";
    return text.str();
}

} // namespace

Browser::Browser()
    : VirtualFileSystemTestApplication(Velmora::Logger("keswardin.vfs-browser"), "vfs-browser")
{
    // clang-format off
    getAllowedOptions().add_options()
        (s_szMemoryLimit,
         po::value<unsigned int>()->default_value(ArchiveFileSystem::s_uiDefaultLimit / s_uiMiB),
         "what an archive may take in memory, in MiB")
        (s_szListingLimit, po::value<unsigned int>()->default_value(s_uiDefaultListingLimit),
         "how long the listing may be, in MiB");
    // clang-format on
}

void Browser::run()
{
    processHelpParamInfoOptions(m_bPassed);
    if (m_bPassed || !hasGoodParameters())
        return;
    m_hFileSystem = openFileSystem();
    if (m_hFileSystem.isNull())
        return;
    m_strStart = startPath();
    if (!isListingBounded())
        return;
    setFileSystem(m_hFileSystem, m_strStart);
    VirtualFileSystemTestApplication::run();
    m_bPassed = getResult();
}

bool Browser::hasGoodParameters() const
{
    const std::size_t uiParameters = getFsParameters().size();
    if (uiParameters == 1 || uiParameters == 2)
        return true;
    VELMORA_LOG_ERROR(
        "the parameters are a directory or an archive, and a path in it, if it is not "
        "to be listed as a whole");
    logUsageAndActualCommandLine();
    return false;
}

std::size_t Browser::bytesOf(const char* in_szOption) const
{
    return s_uiMiB * getVariablesMap()[in_szOption].as<unsigned int>();
}

bool Browser::isDirectory() const
{
    std::error_code ignored;
    return fs::is_directory(getFsParameters().front(), ignored);
}

Velmora::TSHandle<Velmora::VirtualFileSystem> Browser::openFileSystem() const
{
    return isDirectory()
               ? Velmora::TSHandle<Velmora::VirtualFileSystem>(new Velmora::DiskFileSystem)
               : openArchive();
}

Velmora::TSHandle<Velmora::VirtualFileSystem> Browser::openArchive() const
{
    try
    {
        const std::string& strArchive = getFsParameters().front();
        auto pArchive = std::make_unique<ArchiveFileSystem>(strArchive, bytesOf(s_szMemoryLimit));
        for (const std::string& strRemark : pArchive->getRemarks())
            VELMORA_LOG_WARN(strArchive << ": " << strRemark);
        return Velmora::TSHandle<Velmora::VirtualFileSystem>(pArchive.release());
    }
    catch (const BadArchive& error)
    {
        VELMORA_LOG_ERROR(error.what());
        return {};
    }
}

std::string Browser::startPath() const
{
    const std::string strPath = getFsParameters().size() > 1 ? getFsParameters()[1] : "";
    if (!isDirectory())
        return '/' + strPath;
    // Threads may use `DiskFileSystem` concurrently only by absolute paths.
    std::string strStart = fs::absolute(getFsParameters().front()).string();
    return strPath.empty() ? strStart : strStart + '/' + strPath;
}

bool Browser::isListingBounded() const
{
    // The most that the content of a file adds to its line, without the indentation.
    constexpr std::size_t uiContent = 130;
    const bool bWithContents = getVariablesMap()[s_szPrintFileContent].as<bool>();
    std::size_t uiLeft = bytesOf(s_szListingLimit);
    // The listing is kept in memory as a whole, so a walk that stops at the limit comes first.
    const FileSystemWalk walk(*m_hFileSystem, FileSystemWalk::Contents::LEFT);
    const bool bBounded =
        walk.run(m_strStart,
                 [&](const Seen& in_seen)
                 {
                     const std::size_t uiIndentation = 2 * in_seen.uiDepth;
                     const std::size_t uiLine =
                         lineOf(in_seen).size() + (bWithContents ? uiIndentation + uiContent : 0);
                     const bool bFits = uiLine <= uiLeft;
                     uiLeft -= bFits ? uiLine : 0;
                     return bFits;
                 });
    if (!bBounded)
        VELMORA_LOG_ERROR("the listing of "
                          << getFsParameters().front() << " is longer than the limit of "
                          << bytesOf(s_szListingLimit) / s_uiMiB
                          << " MiB: its symbolic links may lead round in circles; give a path "
                             "further down, or allow more by --"
                          << s_szListingLimit);
    return bBounded;
}

bool Browser::runMultiThreadsTest()
{
    Walked walked;
    FileSystemWalk(*m_hFileSystem, FileSystemWalk::Contents::READ)
        .run(m_strStart,
             [&](const Seen& in_seen)
             {
                 walked.push_back(in_seen);
                 return true;
             });
    return isReadable(walked) && matchesListing(walked) && doThreadsSee(walked);
}

bool Browser::isReadable(const Walked& in_walked) const
{
    bool bReadable = true;
    for (const Seen& seen : in_walked)
    {
        if (seen.iError == 0)
            continue;
        VELMORA_LOG_ERROR("cannot read " << describe(seen));
        bReadable = false;
    }
    return bReadable;
}

bool Browser::matchesListing(const Walked& in_walked)
{
    std::ostringstream listing;
    if (!runTest(*m_hFileSystem, m_strStart.c_str(), listing))
        return false;
    const bool bWithContents = getVariablesMap()[s_szPrintFileContent].as<bool>();
    std::string strExpected;
    for (const Seen& seen : in_walked)
    {
        strExpected += lineOf(seen);
        if (bWithContents && !seen.bDirectory)
            strExpected += contentLineOf(seen);
    }
    if (listing.str() == strExpected)
        return true;
    VELMORA_LOG_ERROR("the listing of "
                      << m_strStart << " is not what a walk sees: did it change during the test?");
    return false;
}

std::string Browser::contentLineOf(const Seen& in_seen) const
{
    constexpr std::size_t uiShown = 100;
    std::array<char, uiShown> content{};
    long iRead = 0;
    if (const auto hFile = m_hFileSystem->open(in_seen.strPath.c_str(), O_RDONLY | O_NONBLOCK))
        iRead = std::max(0L, hFile->read(content.data(), content.size()));
    return std::string(2 * in_seen.uiDepth, ' ') + "Content: \"" +
           std::string(content.data(), static_cast<std::size_t>(iRead)) + " [...]\"\n";
}

bool Browser::doThreadsSee(const Walked& in_walked) const
{
    std::vector<std::string> differences(s_uiThreads);
    try
    {
        // A `jthread` joins in its destructor, so the started threads end here even if another
        // fails to start.
        std::vector<std::jthread> threads;
        threads.reserve(s_uiThreads);
        for (std::string& strDifference : differences)
            threads.emplace_back([&strDifference, &in_walked, this, hFileSystem = m_hFileSystem]
                                 { strDifference = findDifference(*hFileSystem, in_walked); });
    }
    catch (const std::system_error& error)
    {
        VELMORA_LOG_ERROR("cannot start " << s_uiThreads << " threads: " << error.what());
        return false;
    }
    bool bSame = true;
    for (std::size_t uiThread = 0; uiThread < s_uiThreads; ++uiThread)
    {
        if (differences[uiThread].empty())
            continue;
        VELMORA_LOG_ERROR("thread " << uiThread + 1 << " of " << s_uiThreads << " saw "
                                    << differences[uiThread]);
        bSame = false;
    }
    if (bSame)
        VELMORA_LOG_INFO(s_uiThreads << " threads saw the same " << summaryOf(in_walked));
    return bSame;
}

std::string Browser::findDifference(Velmora::VirtualFileSystem& inout_fileSystem,
                                    const Walked& in_walked) const
{
    auto expected = in_walked.begin();
    std::string strDifference;
    const auto compare = [&](const Seen& in_seen)
    {
        if (expected != in_walked.end() && in_seen == *expected)
        {
            ++expected;
            return true;
        }
        strDifference = differenceOf(in_seen, expected == in_walked.end() ? nullptr : &*expected);
        return false;
    };
    const FileSystemWalk walk(inout_fileSystem, FileSystemWalk::Contents::READ);
    if (walk.run(m_strStart, compare) && expected != in_walked.end())
        return "nothing in place of " + describe(*expected);
    return strDifference;
}
