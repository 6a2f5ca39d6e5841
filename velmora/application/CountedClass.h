// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <cstdint>

namespace Velmora
{

/// The part of `CountedClass` that does not depend on the class: its report.
class VELMORA_API CountedClassNoT
{
  public:
    /// Asserts "in_uiCount > 0" on the logger `keswardin.infra.CountedClass`, with the given file
    /// and line.
    static void assertCountLargerThanZero(unsigned int in_uiCount, const char* in_szFile,
                                          int in_iLine);
};

/// Counts the living objects of a class `T`, which derives from it. Copies count, too.
///
/// Thread-safety: none. The objects must be created and destroyed on one thread at a time.
/// Failure: if an object is destroyed while the count is 0, an assertion fails and the count stays
/// 0.
template <class T>
class VELMORA_API CountedClass : public CountedClassNoT
{
  public:
    /// Returns the number of living objects.
    static std::uint32_t getCount() { return s_uiCount; }

  protected:
    CountedClass() { ++s_uiCount; }
    CountedClass(const CountedClass&) : CountedClass() {}
    CountedClass& operator=(const CountedClass&) = default;

    ~CountedClass()
    {
        if (s_uiCount != 0)
            --s_uiCount;
        else
            assertCountLargerThanZero(0, __FILE__, __LINE__);
    }

    static inline std::uint32_t s_uiCount = 0;
};

} // namespace Velmora
