// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/memory/DefaultStaticMemAllocator.h"

#include <algorithm>
#include <cstddef>
#include <new>

namespace Velmora
{

/// The name of an account as a template argument.
template <std::size_t Size>
struct AccountName
{
    // NOLINTNEXTLINE(google-explicit-constructor): allows a literal as the template argument.
    consteval AccountName(const char (&in_szName)[Size]) { std::copy_n(in_szName, Size, m_szName); }

    char m_szName[Size];
};

/// Base class of classes whose objects are allocated from `DefaultStaticMemAllocator` and charged
/// to the account `name`. Objects are created with `new`. Any code may delete them, also through a
/// base class with a virtual destructor: the memory is released with its size and its account.
///
///     class Call : public InAccount<"Call">
///
/// Thread-safety: as `DefaultStaticMemAllocator`.
/// Failure: `new` throws `std::bad_alloc` when there is no memory.
template <AccountName name>
class InAccount
{
  public:
    [[nodiscard]] static void* operator new(std::size_t in_uiSize)
    {
        void* const pMemory = DefaultStaticMemAllocator::allocate(in_uiSize, name.m_szName);
        if (pMemory == nullptr) [[unlikely]]
            throw std::bad_alloc();
        return pMemory;
    }

    static void operator delete(void* in_pMemory, std::size_t in_uiSize) noexcept
    {
        DefaultStaticMemAllocator::deallocate(in_pMemory, in_uiSize, name.m_szName);
    }

    /// Constructs in memory that the caller provides.
    [[nodiscard]] static void* operator new(std::size_t, void* in_pMemory) noexcept
    {
        return in_pMemory;
    }
    static void operator delete(void*, void*) noexcept {}

  protected:
    InAccount() = default;
    InAccount(const InAccount&) = default;
    InAccount& operator=(const InAccount&) = default;
    ~InAccount() = default;
};

} // namespace Velmora
