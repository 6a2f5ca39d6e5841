#pragma once

#include "velmora/Export.h"

#include <cstdint>

namespace Velmora
{

/// The report of `CountedClass`.
class VELMORA_API CountedClassNoT
{
  public:
    /// Asserts "in_uiCount > 0" on the logger `keswardin.infra.CountedClass`, for the given place.
    static void assertCountLargerThanZero(unsigned int in_uiCount, const char* in_szFile,
                                          int in_iLine);
};

/// Base of a class `T` whose living objects are counted; copies count too.
///
/// Thread-safety: none; such objects are made and destroyed on one thread at a time.
/// Failure: an object that goes when none is counted is an assertion; the count stays 0.
template <class T>
class VELMORA_API CountedClass : public CountedClassNoT
{
  public:
    /// How many objects live.
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
