#pragma once

#include "velmora/Export.h"

namespace Velmora
{

/// Finds a function that is entered again through a callback. A stack object of that function, over
/// a bool member `m_bRecursivity` of its object that is false while the function does not run:
///
///     const RecursivityGuard guard(m_bRecursivity);
///
/// Thread-safety: that of the guarded object.
/// Failure: entering twice is the assertion "m_bRecursivity == false", and the function goes on;
/// the end of the inner guard clears the flag for the outer one as well.
class VELMORA_API RecursivityGuard
{
  public:
    explicit RecursivityGuard(bool& inout_bRecursivity);
    ~RecursivityGuard();
    RecursivityGuard(const RecursivityGuard&) = delete;
    RecursivityGuard& operator=(const RecursivityGuard&) = delete;

  private:
    void recursivityAssert() const;

    bool* m_bRecursivity;
};

} // namespace Velmora
