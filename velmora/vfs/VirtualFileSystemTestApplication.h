// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/Application.h"
#include "velmora/application/ApplicationImpl.h"
#include "velmora/application/Handle.h"
#include "velmora/vfs/VirtualFileSystem.h"

#include <boost/program_options/variables_map.hpp>

#include <iosfwd>
#include <sstream>
#include <string>
#include <vector>

namespace Velmora
{

/// The base class of a program that lists a virtual file system, to try a new implementation by
/// hand. A program derives from it and sets the file system:
///
///     class DiskTest : public Velmora::VirtualFileSystemTestApplication
///     {
///       public:
///         DiskTest() : VirtualFileSystemTestApplication(Velmora::Logger("keswardin.test"), "") {}
///         void run() override
///         {
///             setFileSystem(Velmora::TSHandle<Velmora::VirtualFileSystem>(
///                               new Velmora::DiskFileSystem), getFsParameters().at(0));
///             VirtualFileSystemTestApplication::run();
///         }
///     };
///
/// Command-line arguments that are not options are the parameters of the file system. In addition
/// to the options of `ApplicationImpl` it has these:
///
/// | Option | What it does |
/// |---|---|
/// | `--functional-test` | lists the file system, which is also the default |
/// | `--full-test` | also calls `runMultiThreadsTest`; excludes `--functional-test` |
/// | `--print-file-content` | shows up to 100 bytes of each file |
///
/// A directory is listed with all its contents, one line each, indented by two blanks for each
/// level:
///
///     + Directory /srv/prompts
///       + File /srv/prompts/busy.txt
///       Content: "All lines are busy. [...]"
///       + Directory /srv/prompts/en
///
/// Symbolic links are left to the file system: a listing follows a link that leads upwards until a
/// path is refused, and with several such links it may never end. With `--print-file-content` a
/// FIFO blocks until it has a writer.
///
/// Logs through the program's logger.
///
/// Ownership: shares the file system.
/// Thread-safety: for the main thread only.
class VELMORA_API VirtualFileSystemTestApplication : public virtual Application,
                                                     public ApplicationImpl
{
  public:
    /// See the constructors of `ApplicationImpl`.
    VirtualFileSystemTestApplication(const Logger& in_logger, const char* in_szName);
    explicit VirtualFileSystemTestApplication(const char* in_szName);

    ~VirtualFileSystemTestApplication() override;

    /// Runs the tests that the command line asks for, with the program's log level set to INFO.
    void run() override;

    /// Returns whether all tests of the last `run` passed; false before the first.
    [[nodiscard]] bool getResult() const { return m_bResult; }

    /// Lists the file system from the start path on, and logs the listing as one line at INFO.
    ///
    /// Failure: returns false if `runTest` does. Without a file system, fails the assertion
    /// "!m_hFileSystem.isNull()" and returns false.
    bool runSingleUserTest();

    /// Tests the file system with several threads; a derived program overrides it. This
    /// implementation does nothing and returns true.
    virtual bool runMultiThreadsTest();

    /// Writes the listing of a directory.
    ///
    /// Failure: returns false and logs an error if any directory cannot be opened or the content of
    /// any file cannot be read; continues with the next one. If
    /// `VirtualFileSystem::Directory::read` fails for an entry, that entry and the rest of its
    /// directory are missing without an error.
    bool runTest(VirtualFileSystem& inout_fileSystem, const char* in_szPath,
                 std::ostream& out_stream);

  protected:
    void writeUsage(std::ostream& out_stream) const override;
    [[nodiscard]] bool
    processCmdlineVarsMap(const boost::program_options::variables_map& in_variables) override;

    /// Sets the file system and the start path. Call it before `run` of this class.
    void setFileSystem(const TSHandle<VirtualFileSystem>& in_hFileSystem,
                       const std::string& in_strPath);

    [[nodiscard]] const std::vector<std::string>& getFsParameters() const { return m_fsParameters; }

  private:
    void addOptions();
    [[nodiscard]] bool browse(VirtualFileSystem& inout_fileSystem, const std::string& in_strPath,
                              std::ostream& out_stream, const std::string& in_strIndentation) const;
    [[nodiscard]] bool print(VirtualFileSystem& inout_fileSystem, const std::string& in_strPath,
                             std::ostream& out_stream, const std::string& in_strIndentation) const;

    std::vector<std::string> m_fsParameters;
    TSHandle<VirtualFileSystem> m_hFileSystem;
    std::string m_strPath;
    std::ostringstream m_listing;
    bool m_bFullTest = false;
    bool m_bFunctionalTest = false;
    bool m_bPrintFileContent = false;
    bool m_bResult = false;
};

} // namespace Velmora
