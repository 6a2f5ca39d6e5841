// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/vfs/VirtualFileSystemTestApplication.h"

#include "velmora/application/Assertion.h"

#include <boost/program_options.hpp>

#include <fcntl.h>

#include <array>
#include <ostream>

namespace Velmora
{

namespace po = boost::program_options;

namespace
{

constexpr const char* s_szFunctionalTestOption = "functional-test";
constexpr const char* s_szFullTestOption = "full-test";
constexpr const char* s_szPrintFileContentOption = "print-file-content";
constexpr const char* s_szFsParametersOption = "fs-parameters";

constexpr std::size_t s_uiContentSize = 100;

using Texts = std::vector<std::string>;

bool isOn(const po::variables_map& in_variables, const char* in_szSwitch)
{
    return in_variables.count(in_szSwitch) != 0 && in_variables[in_szSwitch].as<bool>();
}

} // namespace

VirtualFileSystemTestApplication::VirtualFileSystemTestApplication(const Logger& in_logger,
                                                                   const char* in_szName)
    : ApplicationImpl(in_logger, in_szName)
{
    addOptions();
}

VirtualFileSystemTestApplication::VirtualFileSystemTestApplication(const char* in_szName)
    : ApplicationImpl(in_szName)
{
    addOptions();
}

VirtualFileSystemTestApplication::~VirtualFileSystemTestApplication() = default;

void VirtualFileSystemTestApplication::addOptions()
{
    // clang-format off
    getAllowedOptions().add_options()
        (s_szFunctionalTestOption, po::bool_switch(),
         "only test read operations from file system (default)")
        (s_szFullTestOption, po::bool_switch(),
         "test read operation in multi-users/multi-threads conditions")
        (s_szPrintFileContentOption, po::bool_switch(), "print file content of file listed");
    getHiddenOptions().add_options()
        (s_szFsParametersOption, po::value<Texts>(), "parameters for filesystem");
    // clang-format on
    getPositionalOptions().add(s_szFsParametersOption, -1);
}

bool VirtualFileSystemTestApplication::processCmdlineVarsMap(const po::variables_map& in_variables)
{
    if (!ApplicationImpl::processCmdlineVarsMap(in_variables))
        return false;
    m_bFunctionalTest = isOn(in_variables, s_szFunctionalTestOption);
    m_bFullTest = isOn(in_variables, s_szFullTestOption);
    m_bPrintFileContent = isOn(in_variables, s_szPrintFileContentOption);
    if (m_bFunctionalTest && m_bFullTest)
    {
        VELMORA_LOG_ERROR("You cannot use both --" << s_szFunctionalTestOption << " and --"
                                                   << s_szFullTestOption << " options");
        return false;
    }
    m_fsParameters.clear();
    if (in_variables.count(s_szFsParametersOption) != 0)
        m_fsParameters = in_variables[s_szFsParametersOption].as<Texts>();
    return true;
}

void VirtualFileSystemTestApplication::writeUsage(std::ostream& out_stream) const
{
    out_stream << "Usage : " << getProgname() << " [options] [fs parameters]\n"
               << getAllowedOptions();
}

void VirtualFileSystemTestApplication::setFileSystem(
    const TSHandle<VirtualFileSystem>& in_hFileSystem, const std::string& in_strPath)
{
    m_hFileSystem = in_hFileSystem;
    m_strPath = in_strPath;
}

void VirtualFileSystemTestApplication::run()
{
    getLogger().setLogLevel(INFO_LOG_LEVEL);
    m_bResult = runSingleUserTest();
    if (m_bFullTest)
        // Runs even if the first test failed.
        m_bResult = runMultiThreadsTest() && m_bResult;
}

bool VirtualFileSystemTestApplication::runSingleUserTest()
{
    VELMORA_ASSERT(!m_hFileSystem.isNull());
    if (m_hFileSystem.isNull())
        return false;
    m_listing.str("");
    const bool bPassed = runTest(*m_hFileSystem, m_strPath.c_str(), m_listing);
    VELMORA_LOG_INFO(m_listing.str());
    return bPassed;
}

bool VirtualFileSystemTestApplication::runMultiThreadsTest() { return true; }

bool VirtualFileSystemTestApplication::runTest(VirtualFileSystem& inout_fileSystem,
                                               const char* in_szPath, std::ostream& out_stream)
{
    return browse(inout_fileSystem, in_szPath == nullptr ? "" : in_szPath, out_stream, "");
}

bool VirtualFileSystemTestApplication::browse(VirtualFileSystem& inout_fileSystem,
                                              const std::string& in_strPath,
                                              std::ostream& out_stream,
                                              const std::string& in_strIndentation) const
{
    const VirtualFileSystem::DirectoryHandle hDirectory =
        inout_fileSystem.opendir(in_strPath.c_str());
    if (hDirectory.isNull())
    {
        VELMORA_LOG_ERROR(
            "Path " << in_strPath
                    << " does not exist or you do not have the required permissions to read it");
        return false;
    }
    out_stream << in_strIndentation << "+ Directory " << in_strPath << '\n';
    const std::string strDeeper = in_strIndentation + "  ";
    bool bPassed = true;
    while (VirtualFileSystem::EntryHandle hEntry = hDirectory->read())
    {
        const std::string strPath = hEntry->getPath();
        const auto step = hEntry->isDirectory() ? &VirtualFileSystemTestApplication::browse
                                                : &VirtualFileSystemTestApplication::print;
        // Closed before it is opened again by its path, so that each level of directories takes one
        // descriptor, not two.
        hEntry = nullptr;
        bPassed = (this->*step)(inout_fileSystem, strPath, out_stream, strDeeper) && bPassed;
    }
    return bPassed;
}

bool VirtualFileSystemTestApplication::print(VirtualFileSystem& inout_fileSystem,
                                             const std::string& in_strPath,
                                             std::ostream& out_stream,
                                             const std::string& in_strIndentation) const
{
    out_stream << in_strIndentation << "+ File " << in_strPath << '\n';
    if (!m_bPrintFileContent)
        return true;
    const VirtualFileSystem::FileHandle hFile = inout_fileSystem.open(in_strPath.c_str(), O_RDONLY);
    if (hFile.isNull())
    {
        VELMORA_LOG_ERROR("Could not open file " << in_strPath << " for reading");
        return false;
    }
    std::array<char, s_uiContentSize> content{};
    const long iNumRead = hFile->read(content.data(), content.size());
    // The second condition catches a faulty file system under test, which would overrun the buffer.
    if (iNumRead < 0 || iNumRead > static_cast<long>(content.size()))
    {
        VELMORA_LOG_ERROR("Failed to read file " << in_strPath);
        return false;
    }
    out_stream << in_strIndentation << "Content: \"";
    out_stream.write(content.data(), iNumRead) << " [...]\"\n";
    return true;
}

} // namespace Velmora
