#pragma once

#include "velmora/Export.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace Velmora
{

/// The hash function of the maps of this room: a functor without state that makes a number of a key
/// of type `K`. It exists for the two types of keys below; maps with others bring their own. It is
/// cheap, nobody keeps what it gives, and it is no defence against keys that were chosen to
/// collide.
///
/// Thread-safety: may be called on any thread.
template <class K>
struct VELMORA_API LMHashFcn;

/// The character's own value; a negative one becomes a very large number.
template <>
struct VELMORA_API LMHashFcn<char>
{
    std::size_t operator()(char in_cKey) const noexcept
    {
        return static_cast<std::size_t>(static_cast<signed char>(in_cKey));
    }
};

/// From 0, for each character `h = 5 * h + c`, with the character's value as above. Takes views, so
/// that a part of a longer text is looked up without a copy of it.
template <>
struct VELMORA_API LMHashFcn<std::string>
{
    std::size_t operator()(std::string_view in_strKey) const noexcept
    {
        const LMHashFcn<char> valueOf;
        const char* pKey = in_strKey.data();
        const char* const pEnd = pKey + in_strKey.size();
        std::size_t uiHash = 0;
        // Four steps in one: they need not wait for each other.
        for (; pEnd - pKey >= 4; pKey += 4)
            uiHash = uiHash * 625 + (valueOf(pKey[0]) * 125 + valueOf(pKey[1]) * 25) +
                     (valueOf(pKey[2]) * 5 + valueOf(pKey[3]));
        for (; pKey != pEnd; ++pKey)
            uiHash = uiHash * 5 + valueOf(*pKey);
        return uiHash;
    }
};

} // namespace Velmora
