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
    // NOLINTNEXTLINE(google-explicit-constructor): so that a literal stands as the argument.
    consteval AccountName(const char (&in_szName)[Size]) { std::copy_n(in_szName, Size, m_szName); }

    char m_szName[Size];
};

/// Base of a class whose objects come from `DefaultStaticMemAllocator`, charged to the account
/// `name`. They are made by `new` and may be deleted by anybody, also through a base class with a
/// virtual destructor: the memory goes back with its size and its account.
///
///     class Call : public InAccount<"Call">
///
/// Thread-safety: as `DefaultStaticMemAllocator`.
/// Failure: `std::bad_alloc` when no memory is left.
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

    /// Construction in memory that somebody else provides.
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
