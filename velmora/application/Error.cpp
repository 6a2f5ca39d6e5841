// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/application/Error.h"

#include "velmora/memory/DefaultStaticMemAllocator.h"

#include <new>
#include <ostream>

namespace Velmora
{

namespace
{

constexpr const char* s_szErrorStringAccountName = "ErrorStringImpl";

} // namespace

Error::~Error() = default;

ErrorStringImpl::ErrorStringImpl(const char* in_szText) : m_text(in_szText) {}

ErrorStringImpl::~ErrorStringImpl() = default;

std::ostream& ErrorStringImpl::write(std::ostream& out_stream) const
{
    return out_stream << m_text;
}

Cloneable* ErrorStringImpl::clone() const { return new ErrorStringImpl(*this); }

void* ErrorStringImpl::operator new(std::size_t in_uiSize)
{
    void* const pMemory =
        DefaultStaticMemAllocator::allocate(in_uiSize, s_szErrorStringAccountName);
    if (pMemory == nullptr) [[unlikely]]
        throw std::bad_alloc();
    return pMemory;
}

void ErrorStringImpl::operator delete(void* in_pMemory, std::size_t in_uiSize) noexcept
{
    DefaultStaticMemAllocator::deallocate(in_pMemory, in_uiSize, s_szErrorStringAccountName);
}

} // namespace Velmora
