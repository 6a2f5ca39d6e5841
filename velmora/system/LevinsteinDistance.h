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

/// Computes the Levenshtein distance of two strings, and the operations that turn the one into the
/// other: insertion, deletion and substitution cost 1 each. A computer that is used for many
/// strings allocates only for its longest ones.
///
/// Who needs the number alone, as for the closest of many names, takes `LevinsteinDistanceScan`,
/// which is many times faster.
///
/// Logs on "keswardin.infra.LevinsteinDistance".
///
/// Thread-safety: none; a computer belongs to one thread at a time.
class VELMORA_API LevinsteinDistanceComputer : public ObjectWithLogger<CachedLLLogger>
{
  public:
    LevinsteinDistanceComputer();

    /// The distance between the two strings. `out_strOperations` becomes one character for each
    /// operation, from the start of the strings on, that makes `in_szRef` out of `in_szStr`:
    ///
    /// - '-': both have the same character;
    /// - 's': the character of `in_szStr` is replaced by that of `in_szRef`;
    /// - 'i': `in_szStr` has a character more, which is dropped;
    /// - 'd': `in_szStr` lacks the character of `in_szRef`, which is put in.
    ///
    /// So the names tell how `in_szStr` came about. Of several cheapest ways a character that is
    /// the same is kept; else substitution goes before insertion, and insertion before deletion.
    ///
    /// Stops as soon as it sees that the distance is greater than `in_uiMaxCost`; the largest value
    /// never stops it. One row is the least that it looks at, so an empty `in_szStr` has a distance
    /// at any limit.
    ///
    /// Failure: no value, and no operations, when it stopped. A null string fails an assertion and
    /// gives no value, and `out_strOperations` as it was.
    Fallible<unsigned long> operator()(const char* in_szStr, const char* in_szRef,
                                       std::string& out_strOperations, unsigned long in_uiMaxCost);

    /// One cell of the trellis: how the best way reaches it, and what that way has cost.
    struct VELMORA_API StateData
    {
        /// No operation, and the largest distance.
        void reset();

        char m_cOperation = 0;
        unsigned long m_uiDistance = static_cast<unsigned long>(-1);
    };

  private:
    friend class Test::LevinsteinDistanceComputerPeer;

    void prepareTable(std::size_t in_uiStrLen, std::size_t in_uiRefLen);
    bool fillTable(const char* in_szStr, std::size_t in_uiStrLen, const char* in_szRef,
                   std::size_t in_uiRefLen, unsigned long in_uiMaxCost);
    unsigned long fillRow(std::size_t in_uiRow, char in_cStr, const char* in_szRef,
                          std::size_t in_uiRefLen);
    void dumpTrellis(std::size_t in_uiStrLen, std::size_t in_uiRefLen) const;
    Fallible<unsigned long> walkBack(std::size_t in_uiStrLen, std::size_t in_uiRefLen,
                                     std::string& out_strOperations) const;
    bool stepBack(char in_cOperation, std::size_t& out_uiRow, std::size_t& out_uiColumn) const;

    /// Has the trellis logged at DEBUG; for a debugger.
    bool m_bDumpTrellis = false;
    /// Rows run over `in_szStr`, columns over `in_szRef`. There may be more rows than in use.
    std::vector<std::vector<StateData>> m_vVState;
};

} // namespace Velmora
