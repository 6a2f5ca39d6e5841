// SPDX-License-Identifier: BSD-2-Clause

// The cost of making sure that an existing directory exists, beside the system calls that can find
// it out.

#include "velmora/vfs/Directory.h"

#include <benchmark/benchmark.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>

using namespace Velmora;

namespace
{

/// A directory as deep as those of call files.
class ExistingDirectory
{
  public:
    ExistingDirectory()
    {
        char szTemplate[] = "/tmp/velmora-bench-XXXXXX";
        m_strRoot = mkdtemp(szTemplate);
        m_strPath = m_strRoot + "/2026/03March/07/09";
        std::filesystem::create_directories(m_strPath);
    }
    ~ExistingDirectory() { std::filesystem::remove_all(m_strRoot); }
    ExistingDirectory(const ExistingDirectory&) = delete;
    ExistingDirectory& operator=(const ExistingDirectory&) = delete;

    [[nodiscard]] const char* path() const { return m_strPath.c_str(); }

  private:
    std::string m_strRoot;
    std::string m_strPath;
};

template <class Look>
void lookAll(benchmark::State& out_state, Look in_look)
{
    const ExistingDirectory directory;
    for ([[maybe_unused]] auto _ : out_state)
        if (!in_look(directory.path()))
        {
            out_state.SkipWithError("the directory is not there");
            break;
        }
}

void directoryMakeOurs(benchmark::State& out_state)
{
    lookAll(out_state,
            [](const char* in_szPath) { return Directory::make(in_szPath, 0755, true); });
}

void directoryMakeMkdir(benchmark::State& out_state)
{
    lookAll(out_state,
            [](const char* in_szPath) { return mkdir(in_szPath, 0755) == -1 && errno == EEXIST; });
}

void directoryMakeStat(benchmark::State& out_state)
{
    lookAll(out_state,
            [](const char* in_szPath)
            {
                struct stat status = {};
                return stat(in_szPath, &status) == 0 && S_ISDIR(status.st_mode);
            });
}

void directoryMakeStandard(benchmark::State& out_state)
{
    lookAll(out_state,
            [](const char* in_szPath)
            {
                std::error_code error;
                return !std::filesystem::create_directories(in_szPath, error) && !error;
            });
}

BENCHMARK(directoryMakeOurs)->Name("directoryMake/ours");
BENCHMARK(directoryMakeMkdir)->Name("directoryMake/mkdir");
BENCHMARK(directoryMakeStat)->Name("directoryMake/stat");
BENCHMARK(directoryMakeStandard)->Name("directoryMake/std");

} // namespace

BENCHMARK_MAIN();
