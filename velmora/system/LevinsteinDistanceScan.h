// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace Velmora
{

/// Computes the Levenshtein distance of one string to many others: the same number as
/// `LevinsteinDistanceComputer`, without the operations. It is prepared once for the one string and
/// processes 64 of its characters at a time. A string of up to 64 characters costs a dozen machine
/// instructions for each character of the other string.
///
/// The method is that of G. Myers, "A fast bit-vector algorithm for approximate string matching
/// based on dynamic programming", Journal of the ACM 46 (1999) 395-415, in the form for the
/// distance of whole strings by H. Hyyrö, "A bit-vector algorithm for computing Levenshtein and
/// Damerau edit distances", Nordic Journal of Computing 10 (2003) 29-39. A bit encodes the
/// difference of two neighbours in a column of the table, which is -1, 0 or 1.
///
/// Allocates memory only for a string of more than 64 characters, and only if it is the longest so
/// far.
///
/// Thread-safety: none; a scan belongs to one thread at a time.
class VELMORA_API LevinsteinDistanceScan
{
  public:
    /// Prepares for the distances to the empty string.
    LevinsteinDistanceScan();

    /// Prepares for the distances to this string.
    explicit LevinsteinDistanceScan(std::string_view in_str);

    /// Prepares for the distances to another string. Only its content is kept, not the view.
    void prepare(std::string_view in_str);

    /// Returns the distance of this string to the one that was prepared.
    [[nodiscard]] unsigned long distance(std::string_view in_strRef);

  private:
    /// 64 rows of one column: the rows whose value is one above that of the row before, and those
    /// whose value is one below.
    struct Block
    {
        std::uint64_t uiUp;
        std::uint64_t uiDown;
    };

    /// The change of a block's last row from one column to the next.
    struct Step
    {
        std::uint64_t uiUp;
        std::uint64_t uiDown;
    };

    static Step advance(Block& out_block, std::uint64_t in_uiEqual, Step in_fromAbove,
                        unsigned int in_uiRow);
    unsigned long distanceInOneBlock(std::string_view in_strRef) const;
    unsigned long distanceInBlocks(std::string_view in_strRef);

    static constexpr std::size_t s_uiBitsInWord = 64;
    static constexpr std::size_t s_uiNumCharacters = 256;

    std::size_t m_uiLength = 0;
    /// For each character, the bits of its positions in the string; used up to 64 characters.
    std::array<std::uint64_t, s_uiNumCharacters> m_whereInOneBlock{};
    /// The same for a longer string. The words of one character are adjacent.
    std::vector<std::uint64_t> m_whereInBlocks;
    std::vector<Block> m_column;
};

} // namespace Velmora
