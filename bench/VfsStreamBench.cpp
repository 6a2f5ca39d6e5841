// SPDX-License-Identifier: BSD-2-Clause

// Reading and writing a file through streams on a virtual file system, beside those of the standard
// library. The file is in memory (`/dev/shm`), which excludes the disk.

#include "velmora/vfs/DiskFileSystem.h"
#include "velmora/vfs/VfsStream.h"

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ios>
#include <string>

using namespace Velmora;

namespace
{

constexpr std::ios_base::openmode s_binary = std::ios_base::binary;

/// An empty file in memory. The destructor deletes it.
class BenchFile
{
  public:
    BenchFile()
    {
        std::string strTemplate = "/dev/shm/velmora-bench-XXXXXX";
        const int iFile = mkstemp(strTemplate.data());
        close(iFile);
        m_strPath = strTemplate;
    }
    ~BenchFile() { std::filesystem::remove(m_strPath); }
    BenchFile(const BenchFile&) = delete;
    BenchFile& operator=(const BenchFile&) = delete;

    [[nodiscard]] const std::string& path() const { return m_strPath; }

  private:
    std::string m_strPath;
};

/// The sizes of a piece and of the file.
template <long in_iPieceSize, long in_iFileSize>
struct Pieces
{
    static constexpr long s_iSize = in_iPieceSize;
    static constexpr long s_iCount = in_iFileSize / in_iPieceSize;
};
using Small = Pieces<100, 64L << 20>;
using Large = Pieces<65536, 64L << 20>;

/// Writes a file in pieces repeatedly, over its former contents, so that only the first round makes
/// pages.
template <class Pieces, class Stream>
void writeAll(benchmark::State& out_state, Stream& inout_stream)
{
    const std::string strPiece(Pieces::s_iSize, 'x');
    for ([[maybe_unused]] auto _ : out_state)
    {
        inout_stream.seekp(0);
        for (long iPiece = 0; iPiece != Pieces::s_iCount; ++iPiece)
            inout_stream.write(strPiece.data(), Pieces::s_iSize);
        inout_stream.flush();
    }
    if (!inout_stream)
        out_state.SkipWithError("cannot write");
}

template <class Pieces, class Stream>
void readAll(benchmark::State& out_state, const BenchFile& in_file, Stream& inout_stream)
{
    std::filesystem::resize_file(in_file.path(), Pieces::s_iSize * Pieces::s_iCount);
    std::string strPiece(Pieces::s_iSize, 'x');
    for ([[maybe_unused]] auto _ : out_state)
    {
        inout_stream.seekg(0);
        for (long iPiece = 0; iPiece != Pieces::s_iCount; ++iPiece)
            inout_stream.read(strPiece.data(), Pieces::s_iSize);
    }
    if (!inout_stream)
        out_state.SkipWithError("cannot read");
}

TSHandle<VirtualFileSystem> disk() { return TSHandle<VirtualFileSystem>(new DiskFileSystem); }

template <class Pieces>
void writeOurs(benchmark::State& out_state)
{
    const BenchFile file;
    basic_vfsostream<char> stream(disk(), file.path().c_str(), s_binary);
    writeAll<Pieces>(out_state, stream);
}

template <class Pieces>
void readOurs(benchmark::State& out_state)
{
    const BenchFile file;
    basic_vfsistream<char> stream(disk(), file.path().c_str(), s_binary);
    readAll<Pieces>(out_state, file, stream);
}

/// With a buffer of 4,096 characters, or with the default one.
template <class Pieces, bool bOwnBuffer>
void writeStandard(benchmark::State& out_state)
{
    const BenchFile file;
    std::array<char, 4096> buffer{};
    std::ofstream stream;
    if (bOwnBuffer)
        stream.rdbuf()->pubsetbuf(buffer.data(), buffer.size());
    stream.open(file.path(), s_binary);
    writeAll<Pieces>(out_state, stream);
}

template <class Pieces, bool bOwnBuffer>
void readStandard(benchmark::State& out_state)
{
    const BenchFile file;
    std::array<char, 4096> buffer{};
    std::ifstream stream;
    if (bOwnBuffer)
        stream.rdbuf()->pubsetbuf(buffer.data(), buffer.size());
    stream.open(file.path(), s_binary);
    readAll<Pieces>(out_state, file, stream);
}

BENCHMARK(writeOurs<Small>)->Name("vfsWriteSmall/ours");
BENCHMARK(writeStandard<Small, true>)->Name("vfsWriteSmall/filebuf");
BENCHMARK(readOurs<Small>)->Name("vfsReadSmall/ours");
BENCHMARK(readStandard<Small, true>)->Name("vfsReadSmall/filebuf");
BENCHMARK(writeOurs<Large>)->Name("vfsWriteLarge/ours");
BENCHMARK(writeStandard<Large, false>)->Name("vfsWriteLarge/filebuf");
BENCHMARK(readOurs<Large>)->Name("vfsReadLarge/ours");
BENCHMARK(readStandard<Large, false>)->Name("vfsReadLarge/filebuf");

} // namespace

BENCHMARK_MAIN();
