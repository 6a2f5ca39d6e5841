// SPDX-License-Identifier: BSD-2-Clause

// Lists the disk by `VirtualFileSystemTestApplication`. The first parameter of the file system is
// the start path, the second, if given, is the working directory, and with a third the test with
// threads fails. Prints "threads" when that test runs. Exits with 0 on success, with 1 if
// initialization fails, and with 2 if a test fails.

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
