// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/LevinsteinDistanceScan.h"

namespace Velmora
{

namespace
{

constexpr std::size_t indexOf(char in_character)
{
    return static_cast<unsigned char>(in_character);
}

constexpr std::uint64_t s_uiAllBits = ~std::uint64_t{0};

} // namespace

LevinsteinDistanceScan::LevinsteinDistanceScan() = default;

LevinsteinDistanceScan::LevinsteinDistanceScan(std::string_view in_str) { prepare(in_str); }

void LevinsteinDistanceScan::prepare(std::string_view in_str)
{
    m_uiLength = in_str.size();
    if (m_uiLength <= s_uiBitsInWord)
    {
        m_whereInOneBlock.fill(0);
        for (std::size_t i = 0; i < m_uiLength; ++i)
            m_whereInOneBlock[indexOf(in_str[i])] |= std::uint64_t{1} << i;
        return;
    }
    const std::size_t uiNumBlocks = (m_uiLength + s_uiBitsInWord - 1) / s_uiBitsInWord;
    m_column.resize(uiNumBlocks);
    m_whereInBlocks.assign(uiNumBlocks * s_uiNumCharacters, 0);
    for (std::size_t i = 0; i < m_uiLength; ++i)
        m_whereInBlocks[indexOf(in_str[i]) * uiNumBlocks + i / s_uiBitsInWord] |=
            std::uint64_t{1} << (i % s_uiBitsInWord);
}

unsigned long LevinsteinDistanceScan::distance(std::string_view in_strRef)
{
    if (m_uiLength == 0)
        return in_strRef.size();
    return m_uiLength <= s_uiBitsInWord ? distanceInOneBlock(in_strRef)
                                        : distanceInBlocks(in_strRef);
}

/// Advances a block from one column to the next. `in_uiEqual` has the rows whose character is that
/// of the new column. Returns the change of row `in_uiRow`.
inline LevinsteinDistanceScan::Step LevinsteinDistanceScan::advance(Block& out_block,
                                                                    std::uint64_t in_uiEqual,
                                                                    Step in_fromAbove,
                                                                    unsigned int in_uiRow)
{
    const std::uint64_t uiDiagonal = in_uiEqual | in_fromAbove.uiDown;
    const std::uint64_t uiVertical = in_uiEqual | out_block.uiDown;
    // The carries of the addition run through the rows that become cheaper by a match.
    const std::uint64_t uiCheaper =
        (((uiDiagonal & out_block.uiUp) + out_block.uiUp) ^ out_block.uiUp) | uiDiagonal;
    const std::uint64_t uiStepUp = out_block.uiDown | ~(uiCheaper | out_block.uiUp);
    const std::uint64_t uiStepDown = out_block.uiUp & uiCheaper;

    const std::uint64_t uiAboveUp = (uiStepUp << 1) | in_fromAbove.uiUp;
    const std::uint64_t uiAboveDown = (uiStepDown << 1) | in_fromAbove.uiDown;
    out_block.uiUp = uiAboveDown | ~(uiVertical | uiAboveUp);
    out_block.uiDown = uiAboveUp & uiVertical;
    return {(uiStepUp >> in_uiRow) & 1, (uiStepDown >> in_uiRow) & 1};
}

unsigned long LevinsteinDistanceScan::distanceInOneBlock(std::string_view in_strRef) const
{
    const auto uiLastRow = static_cast<unsigned int>(m_uiLength - 1);
    // In the first column, each row is one above the row before.
    Block column{s_uiAllBits, 0};
    unsigned long uiDistance = m_uiLength;
    for (const char character : in_strRef)
    {
        const Step step =
            // The row above the first grows by one with each column.
            advance(column, m_whereInOneBlock[indexOf(character)], Step{1, 0}, uiLastRow);
        uiDistance += step.uiUp;
        uiDistance -= step.uiDown;
    }
    return uiDistance;
}

unsigned long LevinsteinDistanceScan::distanceInBlocks(std::string_view in_strRef)
{
    const auto uiLastRow = static_cast<unsigned int>((m_uiLength - 1) % s_uiBitsInWord);
    const std::size_t uiLastBlock = m_column.size() - 1;
    for (Block& block : m_column)
        block = {s_uiAllBits, 0};
    unsigned long uiDistance = m_uiLength;
    for (const char character : in_strRef)
    {
        const std::uint64_t* const pWhere = &m_whereInBlocks[indexOf(character) * m_column.size()];
        Step step{1, 0};
        for (std::size_t i = 0; i < uiLastBlock; ++i)
            step = advance(m_column[i], pWhere[i], step, s_uiBitsInWord - 1);
        step = advance(m_column[uiLastBlock], pWhere[uiLastBlock], step, uiLastRow);
        uiDistance += step.uiUp;
        uiDistance -= step.uiDown;
    }
    return uiDistance;
}

} // namespace Velmora
