// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cstring>
#include <cwchar>
#include <locale>

namespace Velmora::Test
{

/// Facets for characters of one byte, with encodings of all kinds. They share the loop over the
/// characters; `Step` converts one character.
template <class Step>
class StepCodecvt : public std::codecvt<char, char, std::mbstate_t>
{
  public:
    static std::locale locale() { return {std::locale::classic(), new StepCodecvt}; }

  protected:
    result do_in(std::mbstate_t& inout_state, const char* in_pFrom, const char* in_pFromEnd,
                 const char*& out_pFromNext, char* out_pTo, char* in_pToEnd,
                 char*& out_pToNext) const override
    {
        out_pFromNext = in_pFrom;
        out_pToNext = out_pTo;
        while (out_pFromNext != in_pFromEnd)
        {
            if (out_pToNext == in_pToEnd)
                return partial;
            const result resultOfStep =
                Step::in(inout_state, out_pFromNext, in_pFromEnd, out_pToNext);
            if (resultOfStep != ok)
                return resultOfStep;
        }
        return ok;
    }

    int do_length(std::mbstate_t& inout_state, const char* in_pFrom, const char* in_pFromEnd,
                  std::size_t in_uiMost) const override
    {
        const char* pNext = in_pFrom;
        for (; in_uiMost != 0 && pNext != in_pFromEnd; --in_uiMost)
        {
            char character = 0;
            char* pTo = &character;
            if (Step::in(inout_state, pNext, in_pFromEnd, pTo) != ok)
                break;
        }
        return static_cast<int>(pNext - in_pFrom);
    }

    result do_out(std::mbstate_t& inout_state, const char* in_pFrom, const char* in_pFromEnd,
                  const char*& out_pFromNext, char* out_pTo, char* in_pToEnd,
                  char*& out_pToNext) const override
    {
        out_pFromNext = in_pFrom;
        out_pToNext = out_pTo;
        for (; out_pFromNext != in_pFromEnd; ++out_pFromNext)
        {
            if (in_pToEnd - out_pToNext < Step::s_iMaxLength)
                return partial;
            if (!Step::out(inout_state, *out_pFromNext, out_pToNext))
                return error;
        }
        return ok;
    }

    result do_unshift(std::mbstate_t& inout_state, char* out_pTo, char* in_pToEnd,
                      char*& out_pToNext) const override
    {
        out_pToNext = out_pTo;
        return Step::unshift(inout_state, in_pToEnd, out_pToNext);
    }

    bool do_always_noconv() const noexcept override { return false; }
    int do_encoding() const noexcept override { return Step::s_iEncoding; }
    int do_max_length() const noexcept override { return Step::s_iMaxLength; }
};

/// An encoding of variable width: characters below 128 are one byte, others are as in UTF-8. The
/// character 255 cannot be written.
struct VariableWidthStep
{
    static constexpr int s_iEncoding = 0;
    static constexpr int s_iMaxLength = 2;

    static std::codecvt_base::result in(std::mbstate_t&, const char*& inout_pFrom,
                                        const char* in_pEnd, char*& out_pTo)
    {
        const auto uiFirst = static_cast<unsigned char>(*inout_pFrom);
        if (uiFirst < 0x80)
        {
            *out_pTo++ = *inout_pFrom++;
            return std::codecvt_base::ok;
        }
        if (uiFirst != 0xC2 && uiFirst != 0xC3)
            return std::codecvt_base::error;
        if (inout_pFrom + 1 == in_pEnd)
            return std::codecvt_base::partial;
        const auto uiSecond = static_cast<unsigned char>(inout_pFrom[1]);
        if ((uiSecond & 0xC0) != 0x80)
            return std::codecvt_base::error;
        *out_pTo++ = static_cast<char>((uiFirst & 3) << 6 | (uiSecond & 0x3F));
        inout_pFrom += 2;
        return std::codecvt_base::ok;
    }

    static bool out(std::mbstate_t&, char in_character, char*& out_pTo)
    {
        const auto uiCharacter = static_cast<unsigned char>(in_character);
        if (uiCharacter == 0xFF)
            return false;
        if (uiCharacter >= 0x80)
            *out_pTo++ = static_cast<char>(0xC0 | uiCharacter >> 6);
        *out_pTo++ =
            static_cast<char>(uiCharacter < 0x80 ? uiCharacter : 0x80 | (uiCharacter & 0x3F));
        return true;
    }

    static std::codecvt_base::result unshift(std::mbstate_t&, char*, char*&)
    {
        return std::codecvt_base::noconv;
    }
};

/// An encoding of two bytes for each character: the character and a zero. When it reads, the second
/// byte may have any value.
struct TwoByteStep
{
    static constexpr int s_iEncoding = 2;
    static constexpr int s_iMaxLength = 2;

    static std::codecvt_base::result in(std::mbstate_t&, const char*& inout_pFrom,
                                        const char* in_pEnd, char*& out_pTo)
    {
        if (in_pEnd - inout_pFrom < 2)
            return std::codecvt_base::partial;
        *out_pTo++ = *inout_pFrom;
        inout_pFrom += 2;
        return std::codecvt_base::ok;
    }

    static bool out(std::mbstate_t&, char in_character, char*& out_pTo)
    {
        *out_pTo++ = in_character;
        *out_pTo++ = '\0';
        return true;
    }

    static std::codecvt_base::result unshift(std::mbstate_t&, char*, char*&)
    {
        return std::codecvt_base::noconv;
    }
};

/// An encoding with a state: byte 14 shifts to the characters from 128 on, which are written
/// without the high bit, and byte 15 shifts back. These two characters cannot be written
/// themselves.
struct ShiftStep
{
    static constexpr int s_iEncoding = -1;
    static constexpr int s_iMaxLength = 2;
    static constexpr char s_shiftOut = 14;
    static constexpr char s_shiftIn = 15;

    static bool isShifted(const std::mbstate_t& in_state) { return in_state.__count != 0; }
    static void setShifted(std::mbstate_t& out_state, bool in_bShifted)
    {
        out_state.__count = in_bShifted ? 1 : 0;
    }

    static std::codecvt_base::result in(std::mbstate_t& inout_state, const char*& inout_pFrom,
                                        const char* in_pEnd, char*& out_pTo)
    {
        std::mbstate_t state = inout_state;
        for (const char* pFrom = inout_pFrom; pFrom != in_pEnd; ++pFrom)
        {
            if (*pFrom == s_shiftOut || *pFrom == s_shiftIn)
            {
                setShifted(state, *pFrom == s_shiftOut);
                continue;
            }
            *out_pTo++ = static_cast<char>(isShifted(state) ? *pFrom | 0x80 : *pFrom & 0x7F);
            inout_pFrom = pFrom + 1;
            inout_state = state;
            return std::codecvt_base::ok;
        }
        // Shifts at the end of a file belong to no character.
        inout_pFrom = in_pEnd;
        inout_state = state;
        return std::codecvt_base::ok;
    }

    static bool out(std::mbstate_t& inout_state, char in_character, char*& out_pTo)
    {
        const bool bHigh = (in_character & 0x80) != 0;
        const char low = static_cast<char>(in_character & 0x7F);
        if (low == s_shiftOut || low == s_shiftIn)
            return false;
        if (bHigh != isShifted(inout_state))
            *out_pTo++ = bHigh ? s_shiftOut : s_shiftIn;
        setShifted(inout_state, bHigh);
        *out_pTo++ = low;
        return true;
    }

    static std::codecvt_base::result unshift(std::mbstate_t& inout_state, char* in_pEnd,
                                             char*& out_pTo)
    {
        if (!isShifted(inout_state))
            return std::codecvt_base::noconv;
        if (out_pTo == in_pEnd)
            return std::codecvt_base::partial;
        *out_pTo++ = s_shiftIn;
        setShifted(inout_state, false);
        return std::codecvt_base::ok;
    }
};

using VariableWidthCodecvt = StepCodecvt<VariableWidthStep>;
using TwoByteCodecvt = StepCodecvt<TwoByteStep>;
using ShiftCodecvt = StepCodecvt<ShiftStep>;

} // namespace Velmora::Test
