// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "ByteSource.h"
#include "MemoryBudget.h"

#include <archive.h>
#include <archive_entry.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

/// Reads a source by libarchive.
///
/// Ownership: the caller owns the source and the budget.
/// Failure: throws `BadArchive` with libarchive's reason, or what the source throws.
class LibarchiveReader
{
  public:
    struct Block
    {
        std::string_view bytes;
        /// The offset in the member. A gap before it is filled with zeros.
        std::int64_t iOffset = 0;
    };

    /// `in_support` enables libarchive's formats and filters. If there is a budget, each byte that
    /// libarchive reads is spent from it.
    LibarchiveReader(ByteSource& inout_source, const std::function<void(archive*)>& in_support,
                     MemoryBudget* inout_pBudget);

    /// Returns the next member; null at the end.
    archive_entry* nextMember();

    /// Returns the next block of the member; none at its end.
    std::optional<Block> nextBlock();

    /// Returns the bytes of the next block that has any; empty at the end of the member.
    std::string_view nextBytes();

    [[nodiscard]] int format() const { return archive_format(m_pArchive.get()); }

    /// Returns the number of compressions.
    [[nodiscard]] int filters() const { return archive_filter_count(m_pArchive.get()) - 1; }

  private:
    static la_ssize_t read(archive* inout_pArchive, void* inout_pReader, const void** out_ppBlock);
    std::string_view pull();
    void check(int in_iResult) const;

    template <class Step>
    int call(const Step& in_step)
    {
        m_uiPulled = 0;
        return in_step();
    }

    ByteSource& m_source;
    MemoryBudget* m_pBudget;
    std::unique_ptr<archive, int (*)(archive*)> m_pArchive;
    bool m_bOpen = false;
    std::size_t m_uiPulled = 0;
    std::exception_ptr m_pFailure;
};
