// SPDX-License-Identifier: BSD-2-Clause

// `__assert_fail` is only declared without NDEBUG. This file calls it in every build.
#undef NDEBUG

#include "velmora/application/CountedObjPtr.h"

#include <cassert>

namespace Velmora
{

void objectWithoutCount(const char* in_szFile, unsigned int in_uiLine,
                        const char* in_szFunction) noexcept
{
    __assert_fail("m_pObject == 0", in_szFile, in_uiLine, in_szFunction);
}

} // namespace Velmora
