// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

namespace Velmora
{

/// The text of a line that consists of many short pieces. Appending a piece is inline and copies
/// it, without the end of text that a `std::string` keeps up to date. The memory is kept for the
/// next line.
///
/// Thread-safety: none; the owner guards it.
/// Failure: throws `std::bad_alloc`; the text stays as it was.
class LineBuffer
{
  public:
    void clear() { m_uiSize = 0; }
    void append(std::string_view in_text)
    {
        if (in_text.size() > m_uiCapacity - m_uiSize) [[unlikely]]
            grow(in_text.size());
        if (in_text.empty())
            return;
        std::memcpy(m_pText.get() + m_uiSize, in_text.data(), in_text.size());
        m_uiSize += in_text.size();
    }
    void append(char in_cSign) { append(std::string_view(&in_cSign, 1)); }

    [[nodiscard]] std::string_view text() const { return {m_pText.get(), m_uiSize}; }
    [[nodiscard]] std::size_t capacity() const { return m_uiCapacity; }

  private:
    static constexpr std::size_t s_uiUsualLength = 512;

    [[gnu::noinline]] void grow(std::size_t in_uiMore)
    {
        const std::size_t uiCapacity =
            std::max({m_uiCapacity + m_uiCapacity / 2, m_uiSize + in_uiMore, s_uiUsualLength});
        std::unique_ptr<char[]> pText(new char[uiCapacity]);
        std::copy_n(m_pText.get(), m_uiSize, pText.get());
        m_pText = std::move(pText);
        m_uiCapacity = uiCapacity;
    }

    std::unique_ptr<char[]> m_pText;
    std::size_t m_uiCapacity = 0;
    std::size_t m_uiSize = 0;
};

} // namespace Velmora
