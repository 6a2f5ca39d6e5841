// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/LevinsteinDistance.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <locale>
#include <sstream>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(LevinsteinDistance)

namespace Velmora
{

namespace
{

/// Returns the cheapest of the three ways into a cell whose characters differ.
LevinsteinDistanceComputer::StateData cheapestOf(unsigned long in_uiLeft, unsigned long in_uiUp,
                                                 unsigned long in_uiDiag)
{
    if (in_uiUp > in_uiLeft)
    {
        if (in_uiDiag > in_uiLeft)
            return {'d', in_uiLeft};
        return {'s', in_uiDiag};
    }
    if (in_uiDiag > in_uiUp)
        return {'i', in_uiUp};
    return {'s', in_uiDiag};
}

} // namespace

void LevinsteinDistanceComputer::StateData::reset()
{
    m_cOperation = 0;
    m_uiDistance = std::numeric_limits<unsigned long>::max();
}

LevinsteinDistanceComputer::LevinsteinDistanceComputer()
    : ObjectWithLogger<CachedLLLogger>(*fileScopeLogger())
{
}

Fallible<unsigned long> LevinsteinDistanceComputer::operator()(const char* in_szStr,
                                                               const char* in_szRef,
                                                               std::string& out_strOperations,
                                                               unsigned long in_uiMaxCost)
{
    VELMORA_TRACE_SCOPE(LevinsteinDistanceComputer::operator());
    VELMORA_ASSERT_TEXT(in_szStr != nullptr, "in_szStr != 0");
    VELMORA_ASSERT_TEXT(in_szRef != nullptr, "in_szRef != 0");
    if (in_szStr == nullptr || in_szRef == nullptr)
        return {};

    out_strOperations.clear();
    const std::size_t uiStrLen = std::strlen(in_szStr);
    const std::size_t uiRefLen = std::strlen(in_szRef);
    prepareTable(uiStrLen, uiRefLen);
    if (!fillTable(in_szStr, uiStrLen, in_szRef, uiRefLen, in_uiMaxCost))
        return {};
    if (m_bDumpTrellis)
        dumpTrellis(uiStrLen, uiRefLen);
    return walkBack(uiStrLen, uiRefLen, out_strOperations);
}

void LevinsteinDistanceComputer::prepareTable(std::size_t in_uiStrLen, std::size_t in_uiRefLen)
{
    // Rows are never removed, so that later strings need less memory.
    if (m_vVState.size() < in_uiStrLen + 1)
        m_vVState.resize(in_uiStrLen + 1);
    for (std::size_t i = 0; i <= in_uiStrLen; ++i)
    {
        m_vVState[i].resize(in_uiRefLen + 1);
        for (StateData& cell : m_vVState[i])
            cell.reset();
    }
}

bool LevinsteinDistanceComputer::fillTable(const char* in_szStr, std::size_t in_uiStrLen,
                                           const char* in_szRef, std::size_t in_uiRefLen,
                                           unsigned long in_uiMaxCost)
{
    std::vector<StateData>& firstRow = m_vVState[0];
    firstRow[0] = {0, 0};
    for (std::size_t j = 1; j <= in_uiRefLen; ++j)
        firstRow[j] = {'d', j};

    for (std::size_t i = 1; i <= in_uiStrLen; ++i)
        // No later row has a smaller minimum.
        if (fillRow(i, in_szStr[i - 1], in_szRef, in_uiRefLen) > in_uiMaxCost)
            return false;
    return true;
}

/// Returns the smallest distance of the row.
unsigned long LevinsteinDistanceComputer::fillRow(std::size_t in_uiRow, char in_cStr,
                                                  const char* in_szRef, std::size_t in_uiRefLen)
{
    const std::vector<StateData>& above = m_vVState[in_uiRow - 1];
    std::vector<StateData>& row = m_vVState[in_uiRow];
    row[0] = {'i', in_uiRow};
    unsigned long uiRowMinimum = in_uiRow;
    for (std::size_t j = 1; j <= in_uiRefLen; ++j)
    {
        if (in_szRef[j - 1] == in_cStr)
            row[j] = {'-', above[j - 1].m_uiDistance};
        else
            row[j] = cheapestOf(row[j - 1].m_uiDistance + 1, above[j].m_uiDistance + 1,
                                above[j - 1].m_uiDistance + 1);
        uiRowMinimum = std::min(uiRowMinimum, row[j].m_uiDistance);
    }
    return uiRowMinimum;
}

void LevinsteinDistanceComputer::dumpTrellis(std::size_t in_uiStrLen, std::size_t in_uiRefLen) const
{
    if (!getLogger().isEnabledFor(DEBUG_LOG_LEVEL))
        return;
    std::ostringstream trellis;
    // The locale of the process could group digits.
    trellis.imbue(std::locale::classic());
    for (std::size_t j = 0; j <= in_uiRefLen; ++j)
    {
        for (std::size_t i = 0; i <= in_uiStrLen; ++i)
        {
            const StateData& cell = m_vVState[i][j];
            trellis << '(' << cell.m_uiDistance << ','
                    << (cell.m_cOperation == 0 ? ' ' : cell.m_cOperation) << ") ";
        }
        trellis << '\n';
    }
    VELMORA_LOG_DEBUG("LevinsteinDistanceComputer::operator() : trellis\n" << trellis.str());
}

Fallible<unsigned long> LevinsteinDistanceComputer::walkBack(std::size_t in_uiStrLen,
                                                             std::size_t in_uiRefLen,
                                                             std::string& out_strOperations) const
{
    unsigned long uiDistance = 0;
    // Each step moves back by one row, one column or both.
    std::size_t uiInfiniteLoopSafeguard = in_uiStrLen + in_uiRefLen;
    for (std::size_t i = in_uiStrLen, j = in_uiRefLen; i != 0 || j != 0; --uiInfiniteLoopSafeguard)
    {
        const char cOperation = m_vVState[i][j].m_cOperation;
        VELMORA_ASSERT(uiInfiniteLoopSafeguard > 0);
        if (uiInfiniteLoopSafeguard == 0 || !stepBack(cOperation, i, j))
        {
            out_strOperations.clear();
            return {};
        }
        out_strOperations += cOperation;
        if (cOperation != '-')
            ++uiDistance;
    }
    VELMORA_ASSERT_TEXT(uiDistance == m_vVState[in_uiStrLen][in_uiRefLen].m_uiDistance,
                        "uiDistance == m_vVState[uiStrLen][uiRefLen].m_uiDistance");
    std::reverse(out_strOperations.begin(), out_strOperations.end());
    return uiDistance;
}

/// Moves one cell back. Returns false for an operation that is not in a trellis, or that leaves it.
bool LevinsteinDistanceComputer::stepBack(char in_cOperation, std::size_t& out_uiRow,
                                          std::size_t& out_uiColumn) const
{
    const bool bUp = in_cOperation == 'i' || in_cOperation == 's' || in_cOperation == '-';
    const bool bLeft = in_cOperation == 'd' || in_cOperation == 's' || in_cOperation == '-';
    VELMORA_ASSERT(bUp || bLeft);
    VELMORA_ASSERT_TEXT(!bUp || out_uiRow > 0, "i > 0");
    VELMORA_ASSERT_TEXT(!bLeft || out_uiColumn > 0, "j > 0");
    if ((!bUp && !bLeft) || (bUp && out_uiRow == 0) || (bLeft && out_uiColumn == 0))
        return false;
    out_uiRow -= bUp ? 1 : 0;
    out_uiColumn -= bLeft ? 1 : 0;
    return true;
}

} // namespace Velmora
