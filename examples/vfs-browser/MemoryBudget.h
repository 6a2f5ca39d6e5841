// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cstddef>
#include <cstdint>

/// Counts down the memory that an archive may still take.
class MemoryBudget
{
  public:
    static constexpr std::size_t s_uiMiB = std::size_t{1024} * 1024;

    explicit MemoryBudget(std::size_t in_uiLimit) : m_uiLimit(in_uiLimit), m_uiLeft(in_uiLimit) {}

    /// Throws `BadArchive` if fewer bytes are left.
    void require(std::uint64_t in_uiBytes) const;

    void spend(std::uint64_t in_uiBytes);

  private:
    std::size_t m_uiLimit;
    std::size_t m_uiLeft;
};
