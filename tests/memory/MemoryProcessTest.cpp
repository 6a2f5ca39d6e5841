#include "tests/support/HelperProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VELMORA_TEST_HAS_SANITIZER
#endif

namespace Velmora::Test
{

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::MatchesRegex;

using Environment = std::vector<std::pair<std::string, std::string>>;

const Environment s_accounting{{"VELMORA_MEM_ACCOUNTING", "1"}};

std::vector<std::string> linesOf(const std::string& in_strText)
{
    std::vector<std::string> result;
    std::istringstream text(in_strText);
    for (std::string line; std::getline(text, line);)
        result.push_back(line);
    return result;
}

/// Runs a program that must end with the given exit code and without complaint, and gives the lines
/// that it wrote.
std::vector<std::string> linesOfRun(const std::string& in_strProgram,
                                    const std::vector<std::string>& in_arguments = {},
                                    const Environment& in_environment = {}, int in_iExitCode = 0)
{
    // Forks are slow in an instrumented program, and slower beside threads that never pause.
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

void expectAccounting(const Environment& in_environment)
{
    EXPECT_THAT(
        linesOfRun(VELMORA_HELPER_MEMORY_ACCOUNTING, {}, in_environment),
        ElementsAre("forced 1, accounting 1", "forced 1 after a change of the environment",
                    MatchesRegex("allocated: sized : account-id=[0-9]+ bytes-allocated=100 "
                                 "max-bytes-allocated=100"),
                    MatchesRegex("released: sized : account-id=[0-9]+ bytes-allocated=0 "
                                 "max-bytes-allocated=100"),
                    MatchesRegex("allocated: unsized : account-id=[0-9]+ bytes-allocated=116 "
                                 "max-bytes-allocated=116"),
                    MatchesRegex("released: unsized : account-id=[0-9]+ bytes-allocated=0 "
                                 "max-bytes-allocated=116"),
                    "chunks of 104 bytes without account: 0", "initialized 1"));
}

/// The lines on the console of a size class whose allocator dies.
std::vector<std::string> statsLines(int in_iChunkSize, int in_iMalloc, int in_iAlloc,
                                    int in_iDealloc)
{
    return {"DEBUG - Allocation stats for " + std::to_string(in_iChunkSize) +
                " bytes ChunkAllocator",
            "Num malloc        = " + std::to_string(in_iMalloc),
            "Num chunk alloc   = " + std::to_string(in_iAlloc),
            "Num chunk dealloc = " + std::to_string(in_iDealloc)};
}

/// What one class of an allocator has to report.
struct ClassReport
{
    int iChunkSize;
    int iMalloc;
    int iAlloc;
    int iDealloc;
};

void appendReport(std::vector<std::string>& out_lines, const std::vector<ClassReport>& in_used)
{
    for (int iChunkSize = 8; iChunkSize <= 256; iChunkSize += 8)
    {
        ClassReport report{iChunkSize, 0, 0, 0};
        for (const ClassReport& used : in_used)
            if (used.iChunkSize == iChunkSize)
                report = used;
        const std::string strClass = std::to_string(iChunkSize) + " bytes ChunkAllocator";
        if (report.iAlloc > report.iDealloc)
            out_lines.push_back("WARN - Memory leak in " + strClass);
        if (report.iAlloc < report.iDealloc)
            out_lines.push_back("ERROR - Deallocated too much in " + strClass);
        const std::vector<std::string> stats =
            statsLines(iChunkSize, report.iMalloc, report.iAlloc, report.iDealloc);
        out_lines.insert(out_lines.end(), stats.begin(), stats.end());
    }
}

/// Without the lines that tell how many blocks there are, which depends on the turns that threads
/// take.
std::vector<std::string> withoutBlocks(std::vector<std::string> in_lines)
{
    std::erase_if(in_lines, [](const std::string& in_strLine)
                  { return in_strLine.rfind("Num malloc ", 0) == 0; });
    return in_lines;
}

/// A line of a report that counts chunks, up to its number; the empty text for another line.
std::string chunkCountOf(const std::string& in_strLine)
{
    const std::size_t uiEnd = in_strLine.find("= ");
    return in_strLine.rfind("Num chunk ", 0) == 0 ? in_strLine.substr(0, uiEnd + 2) : "";
}

/// What the library itself allocates at load and releases at exit, as the report of a program that
/// does nothing tells it: the numbers of its lines that count chunks, in order.
std::vector<long> countsOfLibrary()
{
    std::vector<long> result;
    for (const std::string& line : linesOfRun(VELMORA_HELPER_MEMORY_EXIT_REPORT, {"idle"}))
        if (const std::string strBegin = chunkCountOf(line); !strBegin.empty())
            result.push_back(std::stol(line.substr(strBegin.size())));
    return result;
}

/// The report of a program, or several, without what the library itself allocates. How many blocks
/// there are cannot be told of the two apart.
std::vector<std::string> withoutLibrary(std::vector<std::string> in_lines)
{
    const std::vector<long> counts = countsOfLibrary();
    std::size_t uiIndex = 0;
    for (std::string& line : in_lines)
        if (const std::string strBegin = chunkCountOf(line); !strBegin.empty())
            line = strBegin + std::to_string(std::stol(line.substr(strBegin.size())) -
                                             counts[uiIndex++ % counts.size()]);
    EXPECT_EQ(0U, uiIndex % counts.size());
    return withoutBlocks(std::move(in_lines));
}

/// Without the lines about the accounts of the library itself.
std::vector<std::string> withoutAccountsOfLibrary(std::vector<std::string> in_lines)
{
    for (const char* const szAccount :
         {"ParamDefs", "Trie", "ParameterValue", "InternalHashMap", "LMVector<T>"})
        std::erase_if(
            in_lines, [szAccount](const std::string& in_strLine)
            { return in_strLine.rfind(std::string("Memory Account ") + szAccount, 0) == 0; });
    return in_lines;
}

/// Runs a program that forks so many times in the given way.
void expectForks(const std::string& in_strForks, const std::string& in_strHow,
                 const Environment& in_environment = {})
{
    EXPECT_THAT(linesOfRun(VELMORA_HELPER_MEMORY_FORKS, {in_strForks, in_strHow}, in_environment),
                ElementsAre(in_strForks + " forks, last child ended with status 0"));
}

/// The same with threads that call malloc.
void expectForksWithMalloc(const std::string& in_strForks, const std::string& in_strHow,
                           const Environment& in_environment = {})
{
#ifdef VELMORA_TEST_HAS_SANITIZER
    GTEST_SKIP() << "a child cannot allocate from a sanitizer's malloc that its parent was using";
#endif
    expectForks(in_strForks, in_strHow, in_environment);
}

/// An address in a pattern.
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

TEST(MemAccounting, FaultsAreToldAlsoByAnAppenderThatAllocates)
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
    appendReport(expected, {{24, 1, 1, 0}, {120, 1, 1, 1}});
    appendReport(expected, {{24, 1, 1, 0}, {32, 0, 0, 1}, {48, 5, 100, 100}, {56, 1, 1, 0}});
    EXPECT_EQ(withoutBlocks(expected),
              withoutLibrary(linesOfRun(VELMORA_HELPER_MEMORY_EXIT_REPORT, {"console"})));
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
                    ElementsAre("allocators 1 1, account 1, accounts some",
                                "allocators 0 0, account 0, accounts none", "new memory is intact",
                                "allocators 0 0, account 0, accounts none", "for no bytes 0 0 0",
                                "end"));
}

TEST(MemoryAtExit, DetachedThreadsThatHaveAllocatedMaySleepOn)
{
    for (const auto& [strHow, iExitCode] : {std::pair("return", 6), std::pair("exit", 5)})
    {
        std::vector<std::string> expected;
        appendReport(expected, {});
        appendReport(expected, {{24, 0, 3, 0}, {40, 0, 30, 30}});
        EXPECT_EQ(withoutBlocks(expected),
                  withoutLibrary(
                      linesOfRun(VELMORA_HELPER_MEMORY_DETACHED_THREADS, {strHow}, {}, iExitCode)));
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
    std::vector<std::string> expected;
    appendReport(expected, {});
    appendReport(expected, {{24, 0, 3, 2}});
    appendReport(expected, {});
    appendReport(expected, {{24, 0, 2, 1}});
    EXPECT_EQ(withoutBlocks(expected),
              withoutLibrary(linesOfRun(VELMORA_HELPER_MEMORY_FORK_REPORT)));
}

TEST(MemoryOverFork, AChildMayHaveThreadsOfItsOwn) { expectForksWithMalloc("100", "threads"); }

TEST(MemoryOverFork, AChildMayHaveThreadsOfItsOwnWithAccountedMemory)
{
    expectForksWithMalloc("30", "threads", s_accounting);
}

} // namespace Velmora::Test
