#pragma once

#include "velmora/application/Cloneable.h"
#include "velmora/application/OutputStreamable.h"

#include <cstddef>
#include <string>

namespace Velmora
{

/// A failure that is kept and passed around, which is why it is cloneable.
class VELMORA_API Error : public virtual OutputStreamable, public virtual Cloneable
{
  public:
    Error() = default;
    Error(const Error&) = default;
    Error& operator=(const Error&) = default;
    ~Error() override;

    // Declared again for their places in the table of virtual operations.
    std::ostream& write(std::ostream& out_stream) const override = 0;
    [[nodiscard]] Cloneable* clone() const override = 0;
};

/// An error that is a text.
///
/// Ownership: what `clone` gives comes from `DefaultStaticMemAllocator` under the account
/// "ErrorStringImpl" and goes back there when it is deleted.
/// Failure: `std::bad_alloc` when there is no memory; an error that is assigned to is as it was.
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
