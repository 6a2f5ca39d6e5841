#pragma once

#include "velmora/application/CountedClass.h"

namespace Velmora
{

/// The report of `MaxCountClass`.
class VELMORA_API MaxCountClassNoT
{
  public:
    /// Logs at ERROR on `keswardin.infra.MaxCountClass` that the current count exceeds the
    /// maximum, and asserts that it does not.
    static void maxCountExceeded(unsigned int in_uiCurrentCount, unsigned int in_uiMaxCount);
};

/// Base of a class `T` of which no more than `N` objects should live at once.
///
/// Thread-safety: none, as `CountedClass`.
/// Failure: an object above the maximum is an ERROR line and an assertion; the constructor then
/// goes on.
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
