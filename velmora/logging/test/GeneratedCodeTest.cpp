// SPDX-License-Identifier: BSD-2-Clause

// Counts the branches and comparisons in the machine code of a log line or a trace scope that is
// off and of an assertion that holds. Measuring time would not give the same result on each run.

#include "tests/support/HelperProcess.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace
{

using Velmora::Test::HelperResult;
using Velmora::Test::linesOf;
using Velmora::Test::runHelper;

struct Instruction
{
    unsigned long ulAddress;
    std::string strText;
    /// Whether the linker fills in the operand. Such a jump or call leaves the function.
    bool bRelocated = false;

    [[nodiscard]] bool begins(const char* in_szPrefix) const
    {
        return strText.rfind(in_szPrefix, 0) == 0;
    }
    [[nodiscard]] bool isReturn() const { return begins("ret") || begins("repz ret"); }
    [[nodiscard]] bool isJump() const { return begins("jmp"); }
    [[nodiscard]] bool isConditionalJump() const { return begins("j") && !isJump(); }
    [[nodiscard]] bool isComparison() const { return begins("cmp") || begins("test"); }
    [[nodiscard]] bool isExpensive() const
    {
        return begins("call") || begins("lock") || begins("xchg");
    }

    /// Returns the address that a jump within the function leads to.
    [[nodiscard]] unsigned long target() const
    {
        return std::stoul(strText.substr(strText.find_first_of(' ')), nullptr, 16);
    }
};

using Function = std::vector<Instruction>;

/// Returns the functions in a listing of `objdump`, by name. A function begins with its address and
/// its name, as in "00a0 <name>:". Each of its instructions is an address, a colon, a tab and the
/// text. A relocation is in the line after its instruction.
std::map<std::string, Function> parseListing(const std::string& in_strListing)
{
    std::map<std::string, Function> functions;
    Function* pFunction = nullptr;
    for (const std::string& strLine : linesOf(in_strListing))
    {
        const std::size_t uiName = strLine.find(" <");
        const std::size_t uiTab = strLine.find('\t');
        if (strLine.find(": R_X86_64_") != std::string::npos)
        {
            if (pFunction != nullptr && !pFunction->empty())
                pFunction->back().bRelocated = true;
        }
        else if (uiTab == std::string::npos && uiName != std::string::npos)
            pFunction = &functions[strLine.substr(uiName + 2, strLine.size() - uiName - 4)];
        else if (uiTab != std::string::npos && pFunction != nullptr)
            pFunction->push_back({std::stoul(strLine, nullptr, 16), strLine.substr(uiTab + 1)});
    }
    return functions;
}

/// Returns the functions of HotPaths.cpp as this build's compiler has compiled them.
const std::map<std::string, Function>& hotPaths()
{
    static const std::map<std::string, Function> s_functions = []
    {
        const HelperResult result =
            runHelper("/usr/bin/env", {"objdump", "-d", "-r", "-M", "att", "--no-show-raw-insn",
                                       VELMORA_HELPER_LOGGING_HOT_PATHS});
        EXPECT_EQ(result.iExitCode, 0) << result.strErrors;
        return parseListing(result.strOutput);
    }();
    return s_functions;
}

/// The cost of a path through a function.
struct Cost
{
    int iBranches = 0;
    int iComparisons = 0;

    bool operator==(const Cost&) const = default;
    bool operator<(const Cost& in_cost) const { return iBranches < in_cost.iBranches; }
};

std::ostream& operator<<(std::ostream& out_stream, const Cost& in_cost)
{
    return out_stream << in_cost.iBranches << " branches, " << in_cost.iComparisons
                      << " comparisons";
}

/// Returns the index of the instruction at an address.
std::size_t indexOf(const Function& in_function, unsigned long in_ulAddress)
{
    const auto pFound = std::find_if(in_function.begin(), in_function.end(),
                                     [in_ulAddress](const Instruction& in_i)
                                     { return in_i.ulAddress == in_ulAddress; });
    return static_cast<std::size_t>(pFound - in_function.begin());
}

/// Returns the cost of the cheapest path from an instruction to a return that has no call and no
/// locked instruction, or nothing if there is none.
std::optional<Cost> cheapestWay(const Function& in_function, std::size_t in_uiIndex, Cost in_cost)
{
    // Ends the search in a loop.
    static constexpr int s_iMostBranches = 12;
    for (; in_uiIndex < in_function.size(); ++in_uiIndex)
    {
        const Instruction& instruction = in_function[in_uiIndex];
        if (instruction.isExpensive() || in_cost.iBranches > s_iMostBranches)
            return std::nullopt;
        if (instruction.isReturn())
            return in_cost;
        if (instruction.isComparison())
            ++in_cost.iComparisons;
        if (instruction.isJump())
            return instruction.bRelocated || instruction.strText.find('*') != std::string::npos
                       ? std::nullopt
                       : cheapestWay(in_function, indexOf(in_function, instruction.target()),
                                     in_cost);
        if (instruction.isConditionalJump())
        {
            ++in_cost.iBranches;
            const std::optional<Cost> onwards = cheapestWay(in_function, in_uiIndex + 1, in_cost);
            const std::optional<Cost> taken =
                instruction.bRelocated
                    ? std::nullopt
                    : cheapestWay(in_function, indexOf(in_function, instruction.target()), in_cost);
            if (!onwards || !taken)
                return onwards ? onwards : taken;
            return std::min(*onwards, *taken);
        }
    }
    return std::nullopt;
}

/// Returns the cost of the cheapest path through a function that calls nothing. Fails the test if
/// every path calls something.
Cost costOf(const std::string& in_strFunction)
{
    const auto pFunction = hotPaths().find(in_strFunction);
    if (pFunction == hotPaths().end() || pFunction->second.empty())
    {
        ADD_FAILURE() << "no function " << in_strFunction;
        return {};
    }
    const std::optional<Cost> cost = cheapestWay(pFunction->second, 0, {});
    EXPECT_TRUE(cost) << in_strFunction << " always calls something";
    return cost.value_or(Cost{});
}

constexpr Cost s_oneTest{1, 1};
constexpr Cost s_testAtEntryAndAtExit{2, 2};

TEST(GeneratedCode, LineThatIsOffByACachedLevelCostsOneComparison)
{
    EXPECT_EQ(costOf("lineOfCachedLogger"), s_oneTest);
    EXPECT_EQ(costOf("lineOfObject"), s_oneTest);
}

TEST(GeneratedCode, TraceScopeThatIsOffByAGivenLevelCostsOneComparisonAtEntryAndOneAtExit)
{
    EXPECT_EQ(costOf("traceScopeWithLevel"), s_testAtEntryAndAtExit);
}

TEST(GeneratedCode, TraceScopeThatIsOffByTheOwnLevelOfALoggerCostsOneComparisonAtEntryAndOneAtExit)
{
    EXPECT_EQ(costOf("traceScopeOfObject"), s_testAtEntryAndAtExit);
}

TEST(GeneratedCode, TraceScopeThatIsOffByACachedLevelCostsOneComparisonAtEntryAndOneAtExit)
{
    EXPECT_EQ(costOf("traceScopeOfObjectWithCachedLogger"), s_testAtEntryAndAtExit);
}

TEST(GeneratedCode, AssertionThatHoldsCostsOneTest)
{
    EXPECT_EQ(costOf("plainAssertion"), s_oneTest);
    EXPECT_EQ(costOf("fileAssertion"), s_oneTest);
    EXPECT_EQ(costOf("objectAssertion"), s_oneTest);
    EXPECT_EQ(costOf("constructedAssertion"), s_oneTest);
    EXPECT_EQ(costOf("constructedAssertionWithLogger"), s_oneTest);
}

TEST(GeneratedCode, WayThatCallsIsNotTaken)
{
    const std::string strListing = "0000000000000000 <caller>:\n"
                                   "   0:\tcall   5 <caller+0x5>\n"
                                   "\t\t\t1: R_X86_64_PLT32\tcallee-0x4\n"
                                   "   5:\tret\n";

    EXPECT_FALSE(cheapestWay(parseListing(strListing)["caller"], 0, {}));
}

TEST(GeneratedCode, CheapestOfSeveralWaysIsFound)
{
    const std::string strListing = "0000000000000000 <chooser>:\n"
                                   "   0:\ttest   %eax,%eax\n"
                                   "   2:\tjle    8 <chooser+0x8>\n"
                                   "   4:\tcmp    $0xffffffff,%eax\n"
                                   "   6:\tje     9 <chooser+0x9>\n"
                                   "   8:\tret\n"
                                   "   9:\tjmp    e <chooser+0xe>\n"
                                   "\t\t\ta: R_X86_64_PLT32\tcallee-0x4\n";
    const std::vector<Instruction> chooser = parseListing(strListing)["chooser"];

    EXPECT_EQ(cheapestWay(chooser, 0, {}), (Cost{1, 1}));
    EXPECT_EQ(cheapestWay(chooser, 2, {}), (Cost{1, 1}));
    EXPECT_EQ(cheapestWay(chooser, 5, {}), std::nullopt);
}

} // namespace
