// SPDX-License-Identifier: BSD-2-Clause

#include "MemoryBudget.h"

#include "BadArchive.h"

#include <string>

void MemoryBudget::require(std::uint64_t in_uiBytes) const
{
    if (in_uiBytes > m_uiLeft)
        throw BadArchive("it takes more than the limit of " + std::to_string(m_uiLimit / s_uiMiB) +
                         " MiB in memory; allow more, if it can be trusted");
}

void MemoryBudget::spend(std::uint64_t in_uiBytes)
{
    require(in_uiBytes);
    m_uiLeft -= in_uiBytes;
}
