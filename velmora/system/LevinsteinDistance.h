// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/Fallible.h"
#include "velmora/logging/CachedLLLogger.h"
#include "velmora/logging/ObjectWithLogger.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Velmora
{

namespace Test
{
class LevinsteinDistanceComputerPeer;
}

/// Computes the Levenshtein distance of two strings, and the operations that turn one into the
/// other: insertion, deletion and substitution cost 1 each. A computer that is used repeatedly
/// allocates memory only for its longest strings.
///
/// Code that needs only the distance, for example to find the closest of many names, uses
/// `LevinsteinDistanceScan`, which is many times faster.
///
/// Logs on "keswardin.infra.LevinsteinDistance".
///
/// Thread-safety: none; a computer belongs to one thread at a time.
class VELMORA_API LevinsteinDistanceComputer : public ObjectWithLogger<CachedLLLogger>
{
  public:
    LevinsteinDistanceComputer();

    /// Returns the distance of the two strings. Sets `out_strOperations` to the operations that
    /// make `in_szRef` out of `in_szStr`, one character each, from the start of the strings on:
    ///
    /// - '-': both have the same character.
    /// - 's': the character of `in_szStr` is replaced by that of `in_szRef`.
    /// - 'i': `in_szStr` has an extra character, which is dropped.
    /// - 'd': `in_szStr` lacks the character of `in_szRef`, which is added.
    ///
    /// So the names describe how `in_szStr` was made from `in_szRef`. If several ways cost the
    /// same, equal characters are kept, substitution is preferred to insertion, and insertion to
    /// deletion.
    ///
    /// Stops as soon as the distance is known to be greater than `in_uiMaxCost`; the largest value
    /// never stops it. The limit is checked only after a row, so an empty `in_szStr` always has a
    /// distance.
    ///
    /// Failure: returns no value and no operations if it stopped. A null string fails an assertion
    /// and returns no value; `out_strOperations` is unchanged.
    Fallible<unsigned long> operator()(const char* in_szStr, const char* in_szRef,
                                       std::string& out_strOperations, unsigned long in_uiMaxCost);

    /// One cell of the trellis: the last operation on the best way to it, and the cost of that way.
    struct VELMORA_API StateData
    {
        /// Sets no operation and the largest distance.
        void reset();

        char m_cOperation = 0;
        unsigned long m_uiDistance = static_cast<unsigned long>(-1);
    };

  private:
    friend class Test::LevinsteinDistanceComputerPeer;

    /// Resizes the trellis to the strings and resets its cells.
    void prepareTable(std::size_t in_uiStrLen, std::size_t in_uiRefLen);
    /// Fills the trellis row by row. Returns false when it stops at `in_uiMaxCost`.
    bool fillTable(const char* in_szStr, std::size_t in_uiStrLen, const char* in_szRef,
                   std::size_t in_uiRefLen, unsigned long in_uiMaxCost);
    unsigned long fillRow(std::size_t in_uiRow, char in_cStr, const char* in_szRef,
                          std::size_t in_uiRefLen);
    void dumpTrellis(std::size_t in_uiStrLen, std::size_t in_uiRefLen) const;
    /// Collects the operations from the last cell back to the first.
    Fallible<unsigned long> walkBack(std::size_t in_uiStrLen, std::size_t in_uiRefLen,
                                     std::string& out_strOperations) const;
    bool stepBack(char in_cOperation, std::size_t& out_uiRow, std::size_t& out_uiColumn) const;

    /// Logs the trellis at DEBUG if true; set in a debugger.
    bool m_bDumpTrellis = false;
    /// The trellis. Rows are positions in `in_szStr`, columns positions in `in_szRef`. There may be
    /// more rows than are in use.
    std::vector<std::vector<StateData>> m_vVState;
};

} // namespace Velmora
