// SPDX-License-Identifier: BSD-2-Clause

// Compares any operations on a stream buffer over a virtual file system with the same ones on the
// standard library's file buffer.
//
// The bytes of the input select the operations.

#include "velmora/vfs/test/FileBufComparison.h"

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <string_view>

using namespace Velmora;

namespace
{

/// A directory in memory, removed when the process ends.
class Directory
{
  public:
    Directory()
    {
        std::string strTemplate = "/dev/shm/velmora-fuzz-XXXXXX";
        m_path = mkdtemp(strTemplate.data());
    }
    ~Directory() { std::filesystem::remove_all(m_path); }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return m_path; }

  private:
    std::filesystem::path m_path;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_pData, std::size_t in_uiSize)
{
    static const Directory s_directory;
    Test::FileBufComparison comparison(s_directory.path());
    const std::string strDifference =
        comparison.run(std::string_view(reinterpret_cast<const char*>(in_pData), in_uiSize));
    if (!strDifference.empty())
    {
        std::cerr << strDifference << '\n';
        std::abort();
    }
    return 0;
}
