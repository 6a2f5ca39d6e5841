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

/// The frame of a program that lists a virtual file system, to try a new implementation by hand. A
/// program derives from it and says what is listed:
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
/// What is on the command line without an option are the parameters of the file system. Besides the
/// options of `ApplicationImpl` it knows these:
///
/// | Option | What it does |
/// |---|---|
/// | `--functional-test` | lists the file system, which is done without it, too |
/// | `--full-test` | calls `runMultiThreadsTest` besides; cannot be given together with the other |
/// | `--print-file-content` | shows up to 100 bytes of each file |
///
/// A directory is listed with all that is below it, a line each, two blanks further in for each
/// level:
///
///     + Directory /srv/prompts
///       + File /srv/prompts/busy.txt
///       Content: "All lines are busy. [...]"
///       + Directory /srv/prompts/en
///
/// Symbolic links are the file system's business: a listing through one that leads upwards goes
/// round until a path is refused, and one of several of them may never end. A FIFO whose content is
/// printed is waited for.
///
/// Logs through the program's logger.
///
/// Ownership: shares the file system.
/// Thread-safety: the main thread's.
class VELMORA_API VirtualFileSystemTestApplication : public virtual Application,
                                                     public ApplicationImpl
{
  public:
    /// As those of `ApplicationImpl`.
    VirtualFileSystemTestApplication(const Logger& in_logger, const char* in_szName);
    explicit VirtualFileSystemTestApplication(const char* in_szName);

    ~VirtualFileSystemTestApplication() override;

    /// Runs the tests that the command line asks for, with the program's log level set to INFO.
    void run() override;

    /// Whether all tests of the last `run` have passed; false before.
    [[nodiscard]] bool getResult() const { return m_bResult; }

    /// Lists the file system from the start path on, and logs the listing as one line at INFO.
    /// Failure: as `runTest`. Without a file system the assertion "!m_hFileSystem.isNull()" fails.
    bool runSingleUserTest();

    /// For a deriving program: what several threads do with the file system. Does nothing here and
    /// gives true.
    virtual bool runMultiThreadsTest();

    /// Writes the listing of a directory.
    /// Failure: false, and an error in the log, if any directory could not be opened or any file's
    /// content not be read; goes on with the next. What `VirtualFileSystem::Directory::read` does
    /// not give, and all that would follow it in its directory, is not seen.
    bool runTest(VirtualFileSystem& inout_fileSystem, const char* in_szPath,
                 std::ostream& out_stream);

  protected:
    void writeUsage(std::ostream& out_stream) const override;
    [[nodiscard]] bool
    processCmdlineVarsMap(const boost::program_options::variables_map& in_variables) override;

    /// What is listed; to be called before `run` of this class.
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
