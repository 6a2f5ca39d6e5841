// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/CountedClass.h"

namespace Velmora
{

/// The part of `MaxCountClass` that does not depend on the class: its report.
class VELMORA_API MaxCountClassNoT
{
  public:
    /// Logs at ERROR on `keswardin.infra.MaxCountClass` that the count exceeds the maximum, and
    /// fails an assertion.
    static void maxCountExceeded(unsigned int in_uiCurrentCount, unsigned int in_uiMaxCount);
};

/// Reports when more than `N` objects of a class `T`, which derives from it, live at once.
///
/// Thread-safety: none, as `CountedClass`.
/// Failure: the constructor of an object above the limit logs at ERROR and fails an assertion, and
/// then continues.
template <class T, unsigned int N>
class VELMORA_API MaxCountClass : public CountedClass<T>, public MaxCountClassNoT
{
  protected:
    MaxCountClass() { checkCount(); }
    MaxCountClass(const MaxCountClass& in_other) : CountedClass<T>(in_other), MaxCountClassNoT()
    {
        checkCount();
    }
    MaxCountClass& operator=(const MaxCountClass&) = default;
    ~MaxCountClass() = default;

  private:
    static void checkCount()
    {
        if (CountedClass<T>::s_uiCount > N)
            maxCountExceeded(CountedClass<T>::s_uiCount, N);
    }
};

} // namespace Velmora
