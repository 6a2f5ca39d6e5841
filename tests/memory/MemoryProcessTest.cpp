// SPDX-License-Identifier: BSD-2-Clause

#include "tests/support/HelperProcess.h"
#include "velmora/Sanitizers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::Test
{

namespace
{

using testing::ElementsAre;
using testing::MatchesRegex;

using Environment = std::vector<std::pair<std::string, std::string>>;

const Environment s_accounting{{"VELMORA_MEM_ACCOUNTING", "1"}};

/// Runs a program that must end with the given exit code and without standard error. Returns the
/// lines of its output.
std::vector<std::string> linesOfRun(const std::string& in_strProgram,
                                    const std::vector<std::string>& in_arguments = {},
                                    const Environment& in_environment = {}, int in_iExitCode = 0)
{
    // Forks are slow in an instrumented program, in particular with threads that never pause.
    const HelperResult result =
        runHelper(in_strProgram, in_arguments, in_environment, std::chrono::seconds(250));
    EXPECT_FALSE(result.bTimedOut);
    EXPECT_EQ(0, result.iSignal);
    EXPECT_EQ(in_iExitCode, result.iExitCode);
    EXPECT_EQ("", result.strErrors);
    return linesOf(result.strOutput);
}

void expectNoAccounting(const Environment& in_environment)
{
    EXPECT_THAT(linesOfRun(VELMORA_HELPER_MEMORY_ACCOUNTING, {}, in_environment),
                ElementsAre("forced 0, accounting 0", "forced 0 after a change of the environment",
                            "allocated: no account sized", "released: no account sized",
                            "allocated: no account unsized", "released: no account unsized",
                            "chunks of 104 bytes without account: 1", "initialized 1"));
}

/// Matches the state of an account. Its number depends on the number of accounts of the library.
testing::Matcher<std::string> accountLine(const std::string& in_strBegin, int in_iBytes,
                                          int in_iMaxBytes)
{
    return MatchesRegex(in_strBegin +
                        " : account-id=[0-9]+ bytes-allocated=" + std::to_string(in_iBytes) +
                        " max-bytes-allocated=" + std::to_string(in_iMaxBytes));
}

void expectAccounting(const Environment& in_environment)
{
    EXPECT_THAT(linesOfRun(VELMORA_HELPER_MEMORY_ACCOUNTING, {}, in_environment),
                ElementsAre("forced 1, accounting 1", "forced 1 after a change of the environment",
                            accountLine("allocated: sized", 100, 100),
                            accountLine("released: sized", 0, 100),
                            accountLine("allocated: unsized", 116, 116),
                            accountLine("released: unsized", 0, 116),
                            "chunks of 104 bytes without account: 0", "initialized 1"));
}

/// The number of chunks that a size class handed out and took back.
struct Counts
{
    int iAlloc = 0;
    int iDealloc = 0;
};

using CountsBySize = std::map<int, Counts>;

/// Removes the lines with the number of blocks, which depends on the scheduling of the threads.
std::vector<std::string> withoutBlocks(std::vector<std::string> in_lines)
{
    std::erase_if(in_lines, [](const std::string& in_strLine)
                  { return in_strLine.starts_with("Num malloc "); });
    return in_lines;
}

/// Returns the chunks that the library itself has used at the end of a process, in the allocator
/// without accounts. All of them must have been released.
CountsBySize usedByLibrary()
{
    CountsBySize result;
    int iChunkSize = 0;
    int iAllocators = 0;
    for (const std::string& line : linesOfRun(VELMORA_HELPER_MEMORY_EXIT_REPORT, {"nothing"}))
    {
        std::sscanf(line.c_str(), "DEBUG - Allocation stats for %d bytes", &iChunkSize);
        iAllocators += line == "DEBUG - Allocation stats for 8 bytes ChunkAllocator" ? 1 : 0;
        // The allocator with accounts reports first.
        if (iAllocators < 2)
            continue;
        std::sscanf(line.c_str(), "Num chunk alloc = %d", &result[iChunkSize].iAlloc);
        std::sscanf(line.c_str(), "Num chunk dealloc = %d", &result[iChunkSize].iDealloc);
    }
    EXPECT_EQ(2, iAllocators);
    for (const auto& [iSize, counts] : result)
        EXPECT_EQ(counts.iAlloc, counts.iDealloc) << iSize;
    return result;
}

/// Appends the report of an allocator on its destruction: the counts of the library plus those of
/// the program.
void appendReport(std::vector<std::string>& out_lines, const CountsBySize& in_own,
                  const CountsBySize& in_library = {})
{
    for (int iChunkSize = 8; iChunkSize <= 256; iChunkSize += 8)
    {
        Counts counts = in_own.contains(iChunkSize) ? in_own.at(iChunkSize) : Counts();
        if (in_library.contains(iChunkSize))
        {
            counts.iAlloc += in_library.at(iChunkSize).iAlloc;
            counts.iDealloc += in_library.at(iChunkSize).iDealloc;
        }
        const std::string strClass = std::to_string(iChunkSize) + " bytes ChunkAllocator";
        if (counts.iAlloc > counts.iDealloc)
            out_lines.push_back("WARN - Memory leak in " + strClass);
        if (counts.iAlloc < counts.iDealloc)
            out_lines.push_back("ERROR - Deallocated too much in " + strClass);
        out_lines.push_back("DEBUG - Allocation stats for " + strClass);
        out_lines.push_back("Num chunk alloc   = " + std::to_string(counts.iAlloc));
        out_lines.push_back("Num chunk dealloc = " + std::to_string(counts.iDealloc));
    }
}

/// Removes the lines about the memory that the library itself holds.
std::vector<std::string> withoutAccountsOfLibrary(std::vector<std::string> in_lines)
{
    std::erase_if(in_lines,
                  [](const std::string& in_strLine)
                  {
                      for (const char* const szAccount :
                           {"ParamDefs", "ParameterValue", "Trie", "InternalHashMap", "LMVector<T>",
                            "GlobalConfigImpl", "TSReferenceCount", "EmbeddedInterpreter"})
                          if (in_strLine.starts_with(std::string("Memory Account ") + szAccount))
                              return true;
                      return false;
                  });
    return in_lines;
}

/// Runs a program that forks the given number of times in the given way.
void expectForks(const std::string& in_strForks, const std::string& in_strHow,
                 const Environment& in_environment = {})
{
    EXPECT_THAT(linesOfRun(VELMORA_HELPER_MEMORY_FORKS, {in_strForks, in_strHow}, in_environment),
                ElementsAre(in_strForks + " forks, last child ended with status 0"));
}

/// Does the same with threads that call malloc.
void expectForksWithMalloc(const std::string& in_strForks, const std::string& in_strHow,
                           const Environment& in_environment = {})
{
#if VELMORA_ADDRESS_SANITIZER || VELMORA_THREAD_SANITIZER
    GTEST_SKIP() << "a child cannot allocate from a sanitizer's malloc that its parent was using";
#endif
    expectForks(in_strForks, in_strHow, in_environment);
}

/// A regular expression for an address.
const std::string s_strAddress = "0x[0-9a-f]+";

} // namespace

TEST(MemAccounting, IsOffWithoutTheVariable) { expectNoAccounting({}); }

TEST(MemAccounting, IsOffForAnEmptyValue) { expectNoAccounting({{"VELMORA_MEM_ACCOUNTING", ""}}); }

TEST(MemAccounting, IsOffForFalse) { expectNoAccounting({{"VELMORA_MEM_ACCOUNTING", "false"}}); }

TEST(MemAccounting, IsOffForFalseInAnyCase)
{
    expectNoAccounting({{"VELMORA_MEM_ACCOUNTING", "FALSE"}});
    expectNoAccounting({{"VELMORA_MEM_ACCOUNTING", "False"}});
    expectNoAccounting({{"VELMORA_MEM_ACCOUNTING", "fALSe"}});
}

TEST(MemAccounting, IsOnForOne) { expectAccounting({{"VELMORA_MEM_ACCOUNTING", "1"}}); }

TEST(MemAccounting, IsOnForTrue) { expectAccounting({{"VELMORA_MEM_ACCOUNTING", "true"}}); }

TEST(MemAccounting, IsOnForZero) { expectAccounting({{"VELMORA_MEM_ACCOUNTING", "0"}}); }

TEST(MemAccounting, IsOnForNo) { expectAccounting({{"VELMORA_MEM_ACCOUNTING", "no"}}); }

TEST(MemAccounting, IsOnForAValueThatOnlyBeginsOrEndsLikeFalse)
{
    expectAccounting({{"VELMORA_MEM_ACCOUNTING", "falsehood"}});
    expectAccounting({{"VELMORA_MEM_ACCOUNTING", "fals"}});
    expectAccounting({{"VELMORA_MEM_ACCOUNTING", " false"}});
    expectAccounting({{"VELMORA_MEM_ACCOUNTING", "false "}});
}

TEST(MemAccounting, FaultsAreReportedAlsoByAnAppenderThatAllocates)
{
    EXPECT_THAT(
        withoutAccountsOfLibrary(
            linesOfRun(VELMORA_HELPER_MEMORY_ACCOUNTED_FAULTS, {}, s_accounting)),
        ElementsAre(
            MatchesRegex("released twice: " + s_strAddress),
            MatchesRegex("deallocating memory at " + s_strAddress +
                         " that has an invalid memory account id : 18446744073709551615"),
            MatchesRegex("Assertion failed \\(uiMemAccountId < m_memAccountVector\\.size\\(\\)\\) "
                         "file=velmora/memory/AccountMemAllocator\\.cpp line=[0-9]+"),
            MatchesRegex("wrong name: " + s_strAddress),
            MatchesRegex("inconsistent account : memory at " + s_strAddress +
                         " is from account owner while the call to deallocate was passed other"),
            "broken header",
            MatchesRegex("Assertion failed \\(\\*\\(pSizeT\\+1\\) == getMagicToken\\(\\)\\) "
                         "file=velmora/memory/AccountMemAllocator\\.cpp line=[0-9]+"),
            "released twice without size",
            MatchesRegex("Assertion failed \\(\\*pMem == s_uiMagicToken\\) "
                         "file=velmora/memory/NoSizeMemAllocatorT\\.h line=[0-9]+"),
            "balances", "end"));
}

TEST(MemoryAtExit, TheAccountsAndThenAllChunksOfBothAllocatorsAreReported)
{
    std::vector<std::string> expected{"DEBUG - Memory Account kept : max_bytes = 8",
                                      "WARN - Memory Account kept : balance = 8 byte(s)",
                                      "DEBUG - Memory Account returned : max_bytes = 100"};
    appendReport(expected, {{24, {1, 0}}, {120, {1, 1}}});
    appendReport(expected, {{24, {1, 0}}, {32, {0, 1}}, {48, {100, 100}}, {56, {1, 0}}},
                 usedByLibrary());
    EXPECT_EQ(expected, withoutBlocks(linesOfRun(VELMORA_HELPER_MEMORY_EXIT_REPORT, {"console"})));
}

TEST(MemoryAtExit, TheAllocatorsThatThreadsShareReportBeforeTheOthers)
{
    const std::vector<std::string> lines =
        linesOfRun(VELMORA_HELPER_MEMORY_EXIT_REPORT, {"per-thread"});
    const std::string strFirst = "DEBUG - Allocation stats for 8 bytes ChunkAllocator";
    // Sixteen per-thread allocators, the one with accounts, and the one without.
    EXPECT_EQ(18, std::count(lines.begin(), lines.end(), strFirst));
    std::vector<std::string> leaks = lines;
    std::erase_if(leaks, [](const std::string& in_strLine)
                  { return in_strLine.starts_with("DEBUG") || in_strLine.starts_with("Num"); });
    EXPECT_THAT(leaks, ElementsAre("WARN - Memory leak in 40 bytes ChunkAllocator"));
    const auto leak = std::find(lines.begin(), lines.end(), leaks.front());
    EXPECT_GE(16, std::count(lines.begin(), leak, strFirst));
    ASSERT_LT(4, lines.end() - leak);
    EXPECT_EQ("DEBUG - Allocation stats for 40 bytes ChunkAllocator", leak[1]);
    EXPECT_EQ("Num chunk alloc   = 1", leak[3]);
    EXPECT_EQ("Num chunk dealloc = 0", leak[4]);
}

TEST(MemoryAtExit, AnAppenderThatAllocatesTakesTheReport)
{
    EXPECT_THAT(linesOfRun(VELMORA_HELPER_MEMORY_EXIT_REPORT, {"appender"}),
                ElementsAre("Memory Account kept : balance = 8 byte(s)",
                            "Memory leak in 24 bytes ChunkAllocator",
                            "Memory leak in 24 bytes ChunkAllocator",
                            "Deallocated too much in 32 bytes ChunkAllocator"));
}

TEST(MemoryAtExit, AnAppenderThatAllocatesAccountedMemoryTakesTheReport)
{
    EXPECT_THAT(linesOfRun(VELMORA_HELPER_MEMORY_EXIT_REPORT, {"appender"}, s_accounting),
                ElementsAre("Memory Account appender : balance = 16 byte(s)",
                            "Memory Account kept : balance = 8 byte(s)",
                            "Memory leak in 24 bytes ChunkAllocator",
                            "Memory leak in 32 bytes ChunkAllocator",
                            "Memory leak in 24 bytes ChunkAllocator",
                            "Deallocated too much in 32 bytes ChunkAllocator"));
}

TEST(MemoryAtExit, StaticDestructorsAllocateAndReleaseAfterTheExitList)
{
    for (const Environment& environment : {Environment(), s_accounting})
        EXPECT_THAT(linesOfRun(VELMORA_HELPER_MEMORY_AFTER_EXIT_LIST, {}, environment),
                    ElementsAre("allocators 1 1 1, account 1, among all accounts 1 0",
                                "inline way empty 1, full 1",
                                "allocators 0 0 0, account 0, among all accounts 0 0",
                                "new memory is intact",
                                "allocators 0 0 0, account 0, among all accounts 0 0",
                                "for no bytes 0 0 0, per thread 1", "end"));
}

TEST(MemoryAtExit, DetachedThreadsThatHaveAllocatedMaySleepOn)
{
    for (const auto& [strHow, iExitCode] : {std::pair("return", 6), std::pair("exit", 5)})
    {
        std::vector<std::string> expected;
        appendReport(expected, {});
        appendReport(expected, {{24, {3, 0}}, {40, {30, 30}}}, usedByLibrary());
        EXPECT_EQ(expected, withoutBlocks(linesOfRun(VELMORA_HELPER_MEMORY_DETACHED_THREADS,
                                                     {strHow}, {}, iExitCode)));
    }
}

TEST(MemoryOverFork, AChildGetsAndReleasesChunksWhileThreadsOfItsParentDo)
{
    expectForks("200", "chunks");
}

TEST(MemoryOverFork, AChildGetsAndReleasesAccountedChunksWhileThreadsOfItsParentDo)
{
    expectForks("100", "chunks", s_accounting);
}

TEST(MemoryOverFork, AChildAllocatesAndEndsWhileThreadsOfItsParentAllocate)
{
    expectForksWithMalloc("300", "main");
}

TEST(MemoryOverFork, AChildAllocatesAndEndsWithAccountedMemory)
{
    expectForksWithMalloc("50", "main", s_accounting);
}

TEST(MemoryOverFork, AnyThreadMayFork) { expectForksWithMalloc("100", "thread"); }

TEST(MemoryOverFork, AChildReportsWhatThreadsOfItsParentDidBefore)
{
    const CountsBySize library = usedByLibrary();
    std::vector<std::string> expected;
    appendReport(expected, {});
    appendReport(expected, {{24, {3, 2}}}, library);
    appendReport(expected, {});
    appendReport(expected, {{24, {2, 1}}}, library);
    EXPECT_EQ(expected, withoutBlocks(linesOfRun(VELMORA_HELPER_MEMORY_FORK_REPORT)));
}

TEST(MemoryOverFork, AChildMayHaveThreadsOfItsOwn) { expectForksWithMalloc("100", "threads"); }

TEST(MemoryOverFork, AChildMayHaveThreadsOfItsOwnWithAccountedMemory)
{
    expectForksWithMalloc("30", "threads", s_accounting);
}

#if !VELMORA_ADDRESS_SANITIZER && !VELMORA_THREAD_SANITIZER

// Sanitizers need more address space than the limit leaves.

/// Expects what the helper prints whose address space is limited to what it takes when it starts.
/// The threads of log4cplus share one arena: each would reserve address space for its own just
/// then.
void expectAtItsLimit(const std::vector<std::string>& in_arguments,
                      const std::vector<std::string>& in_lines)
{
    for (Environment environment : {Environment(), s_accounting})
    {
        environment.emplace_back("MALLOC_ARENA_MAX", "1");
        EXPECT_EQ(in_lines, linesOfRun(VELMORA_HELPER_MEMORY_EXHAUSTS, in_arguments, environment));
    }
}

TEST(MemoryAtItsLimit, IsNullFromAnAllocator)
{
    for (const char* const szSize : {"8", "64", "240", "1000", "100000"})
    {
        SCOPED_TRACE(szSize);
        expectAtItsLimit({szSize}, {"null", "null", "null"});
    }
}

TEST(MemoryAtItsLimit, IsAnExceptionFromAContainer)
{
    expectAtItsLimit(
        {}, {"vector : std::bad_alloc", "trie : std::bad_alloc", "value : std::bad_alloc"});
}

#endif

} // namespace Velmora::Test
