// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace Velmora
{

/// The hash function of the maps of this room: a functor without state that computes a number from
/// a key of type `K`. It is defined for the two key types below; maps with other keys bring their
/// own. It is cheap. Its results are not stored anywhere. It does not protect against keys that
/// were chosen to collide.
///
/// Thread-safety: may be called on any thread.
template <class K>
struct VELMORA_API LMHashFcn;

/// Returns the character's own value; a negative one becomes a very large number.
template <>
struct VELMORA_API LMHashFcn<char>
{
    std::size_t operator()(char in_cKey) const noexcept
    {
        return static_cast<std::size_t>(static_cast<signed char>(in_cKey));
    }
};

/// Starts at 0 and computes `h = 5 * h + c` for each character, with the character's value as
/// above. Takes a view, so that a part of a longer text is looked up without a copy.
template <>
struct VELMORA_API LMHashFcn<std::string>
{
    std::size_t operator()(std::string_view in_strKey) const noexcept
    {
        const LMHashFcn<char> valueOf;
        const char* pKey = in_strKey.data();
        const char* const pEnd = pKey + in_strKey.size();
        std::size_t uiHash = 0;
        // Four steps at a time. The multiplications do not depend on each other, so the processor
        // computes them in parallel.
        for (; pEnd - pKey >= 4; pKey += 4)
            uiHash = uiHash * 625 + (valueOf(pKey[0]) * 125 + valueOf(pKey[1]) * 25) +
                     (valueOf(pKey[2]) * 5 + valueOf(pKey[3]));
        for (; pKey != pEnd; ++pKey)
            uiHash = uiHash * 5 + valueOf(*pKey);
        return uiHash;
    }
};

} // namespace Velmora
