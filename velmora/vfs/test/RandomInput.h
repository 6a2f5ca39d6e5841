// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <string>
#include <string_view>

namespace Velmora::Test
{

/// Derives numbers and texts from random bytes. After the last byte, all numbers are 0.
class RandomInput
{
  public:
    explicit RandomInput(std::string_view in_bytes = {}) : m_bytes(in_bytes) {}

    [[nodiscard]] bool isEmpty() const { return m_bytes.empty(); }

    unsigned int nextByte()
    {
        if (m_bytes.empty())
            return 0;
        const auto uiByte = static_cast<unsigned char>(m_bytes.front());
        m_bytes.remove_prefix(1);
        return uiByte;
    }

    unsigned int nextNumber() { return nextByte() << 8 | nextByte(); }

    /// Returns a number of characters: usually a few, sometimes more than a buffer holds.
    long nextCount()
    {
        const unsigned int uiByte = nextByte();
        return uiByte < 200 ? uiByte % 40 : static_cast<long>(nextNumber() % 9000);
    }

    char nextCharacter()
    {
        // Excludes two characters that one of the encodings cannot write, and one that another
        // cannot.
        const auto character = static_cast<char>(nextByte());
        const int iLow = character & 0x7F;
        return iLow == 14 || iLow == 15 || character == '\xFF' ? 'x' : character;
    }

    std::string nextText(long in_iCount)
    {
        const unsigned int uiSeed = nextByte();
        std::string strText;
        for (long iPlace = 0; iPlace < in_iCount; ++iPlace)
            strText += characterAt(uiSeed, iPlace);
        return strText;
    }

    static char characterAt(unsigned int in_uiSeed, long in_iPlace)
    {
        const auto uiValue = static_cast<unsigned int>(in_iPlace) * 7 + in_uiSeed;
        return static_cast<char>(uiValue % 11 == 0 ? 0xC0 + uiValue % 32 : 'a' + uiValue % 26);
    }

  private:
    std::string_view m_bytes;
};

} // namespace Velmora::Test
