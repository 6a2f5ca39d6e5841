// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/Cloneable.h"
#include "velmora/application/OutputStreamable.h"

#include <cstddef>
#include <string>

namespace Velmora
{

/// A failure that is stored and passed around. It is cloneable for that reason.
class VELMORA_API Error : public virtual OutputStreamable, public virtual Cloneable
{
  public:
    Error() = default;
    Error(const Error&) = default;
    Error& operator=(const Error&) = default;
    ~Error() override;

    // Declared again to fix their positions in the table of virtual functions.
    std::ostream& write(std::ostream& out_stream) const override = 0;
    [[nodiscard]] Cloneable* clone() const override = 0;
};

/// An error that consists of a text.
///
/// Ownership: a clone belongs to the caller. Its memory comes from `DefaultStaticMemAllocator`
/// under the account "ErrorStringImpl" and is returned there when the clone is deleted.
/// Failure: throws `std::bad_alloc` if there is no memory. The target of an assignment then stays
/// as it was.
class VELMORA_API ErrorStringImpl : public virtual Error
{
  public:
    /// Copies the text, which must not be null.
    explicit ErrorStringImpl(const char* in_szText);
    ErrorStringImpl(const ErrorStringImpl&) = default;
    ErrorStringImpl& operator=(const ErrorStringImpl&) = default;
    ~ErrorStringImpl() override;

    std::ostream& write(std::ostream& out_stream) const override;
    [[nodiscard]] Cloneable* clone() const override;

    static void* operator new(std::size_t in_uiSize);
    static void operator delete(void* in_pMemory, std::size_t in_uiSize) noexcept;

  private:
    std::string m_text;
};

} // namespace Velmora
