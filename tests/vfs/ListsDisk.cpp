// A program of the frame that lists a file system, over the disk. The first of the file system's
// parameters is where it begins, the second, if there is one, the working directory; a third makes
// its test with threads fail. It says when that runs, and exits with 0, 1 if it could not be
// initialised, or 2 if a test failed.

#include "velmora/vfs/DiskFileSystem.h"
#include "velmora/vfs/VirtualFileSystemTestApplication.h"

#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace
{

using namespace Velmora;

class ListsDisk : public VirtualFileSystemTestApplication
{
  public:
    ListsDisk() : VirtualFileSystemTestApplication(Logger("keswardin.test.ListsDisk"), "lists") {}

    void run() override
    {
        const std::vector<std::string>& parameters = getFsParameters();
        auto pDisk = std::make_unique<DiskFileSystem>();
        if (parameters.size() > 1)
            pDisk->setWorkingDirectory(parameters[1].c_str());
        setFileSystem(TSHandle<VirtualFileSystem>(pDisk.release()), parameters.at(0));
        VirtualFileSystemTestApplication::run();
    }

    bool runMultiThreadsTest() override
    {
        std::cout << "threads" << std::endl;
        return VirtualFileSystemTestApplication::runMultiThreadsTest() &&
               getFsParameters().size() < 3;
    }
};

} // namespace

int main(int in_argc, char** in_argv)
{
    constexpr int iNotInitialized = 1;
    constexpr int iFailed = 2;
    ListsDisk program;
    if (!program.initialize(in_argc, in_argv))
        return iNotInitialized;
    program.run();
    return program.getResult() ? 0 : iFailed;
}
