// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/memory/AccountMemAllocator.h"

#include "velmora/logging/LogMacros.h"
#include "velmora/logging/WithoutThrowing.h"

#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <utility>

namespace Velmora
{

namespace
{

struct Header
{
    std::size_t uiAccountId;
    std::size_t uiMagic;
};
static_assert(sizeof(Header) == 16);

constexpr std::size_t s_uiLargestSize = std::numeric_limits<std::size_t>::max() - sizeof(Header);
constexpr std::size_t s_uiReleasedId = std::numeric_limits<std::size_t>::max();
constexpr std::size_t s_uiReleasedMagic = ~AccountMemAllocator::getMagicToken();

Header* headerOf(void* in_pMemory) { return static_cast<Header*>(in_pMemory) - 1; }

/// Adds to a balance. Balances have 32 bits and wrap.
void addToBalance(MemAccountInfo& out_info, std::size_t in_uiBytes)
{
    out_info.iBalance = static_cast<std::int32_t>(static_cast<std::uint32_t>(out_info.iBalance) +
                                                  static_cast<std::uint32_t>(in_uiBytes));
}

} // namespace

AccountMemAllocator::String::String(const char* in_szText)
    : m_szText(new char[std::strlen(in_szText) + 1]), m_uiHash(hashOf(in_szText))
{
    std::memcpy(m_szText.get(), in_szText, std::strlen(in_szText) + 1);
}

std::size_t AccountMemAllocator::String::hashOf(const char* in_szText)
{
    std::size_t uiHash = 0;
    for (; *in_szText != '\0'; ++in_szText)
        uiHash = 5 * uiHash + static_cast<std::size_t>(static_cast<signed char>(*in_szText));
    return uiHash;
}

bool AccountMemAllocator::NameEqual::operator()(const String* in_pFirst,
                                                const String* in_pSecond) const
{
    return (*this)(NameRef{in_pFirst->getText(), in_pFirst->getHash()}, in_pSecond);
}

bool AccountMemAllocator::NameEqual::operator()(const NameRef& in_first,
                                                const String* in_pSecond) const
{
    return in_first.uiHash == in_pSecond->getHash() &&
           std::strcmp(in_first.szText, in_pSecond->getText()) == 0;
}

AccountMemAllocator::AccountMemAllocator(const Logger& in_logger, bool in_bReportLeaks)
    : MemAllocator(in_logger, in_bReportLeaks)
{
}

AccountMemAllocator::~AccountMemAllocator()
{
    withoutThrowing(&getLogger(), "exception while an AccountMemAllocator ends",
                    [this] { logMemAccountingStats(); });
}

void* AccountMemAllocator::allocate(std::size_t in_uiSize, const char* in_szAccountName)
{
    if (in_uiSize == 0)
        return nullptr;
    VELMORA_ASSERT_TEXT(in_szAccountName != nullptr, "in_szAccountName != 0");
    if (in_szAccountName == nullptr)
        in_szAccountName = "DEFAULT";

    if (in_uiSize > s_uiLargestSize)
        return nullptr;

    // No fork between the allocation and the charge: the child's balance would be wrong.
    const ProcessGate::Pass pass;
    Account* const pAccount =
        findOrMakeAccount({in_szAccountName, String::hashOf(in_szAccountName)});
    if (pAccount == nullptr)
        return nullptr;
    auto* const pHeader =
        static_cast<Header*>(MemAllocator::allocate(in_uiSize + sizeof(Header), in_szAccountName));
    if (pHeader == nullptr)
        return nullptr;
    // Charged only now: without memory, the maximum would otherwise count bytes that were never
    // allocated.
    charge(*pAccount, in_uiSize);
    *pHeader = {pAccount->second.uiId, getMagicToken()};
    return pHeader + 1;
}

AccountMemAllocator::Account* AccountMemAllocator::findOrMakeAccount(const NameRef& in_name)
try
{
    const GatedGuard<GatedMutex> guard(m_mutex);
    if (const auto found = m_idsByName.find(in_name); found != m_idsByName.end())
        return m_memAccountVector[found->second].get();

    const std::size_t uiId = m_memAccountVector.size();
    auto pNewAccount =
        std::make_unique<Account>(std::piecewise_construct, std::forward_as_tuple(in_name.szText),
                                  std::forward_as_tuple(uiId));
    const auto entry = m_idsByName.emplace(&pNewAccount->first, uiId).first;
    try
    {
        return m_memAccountVector.emplace_back(std::move(pNewAccount)).get();
    }
    catch (...)
    {
        // The name must not lead to an account that is not in the vector.
        m_idsByName.erase(entry);
        throw;
    }
}
catch (const std::bad_alloc&)
{
    return nullptr;
}

void AccountMemAllocator::deallocate(void* in_pMemory, std::size_t in_uiSize,
                                     const char* in_szAccountName)
{
    if (in_pMemory == nullptr || in_uiSize == 0)
        return;

    Header* const pHeader = headerOf(in_pMemory);
    Header found{};
    Account* pAccount = nullptr;
    {
        const GatedGuard<GatedMutex> guard(m_mutex);
        found = *pHeader;
        // The free list overwrites the first word of a released chunk. The second word still shows
        // that it was released.
        if (found.uiMagic == s_uiReleasedMagic)
            found.uiAccountId = s_uiReleasedId;
        if (found.uiAccountId < m_memAccountVector.size())
        {
            pAccount = m_memAccountVector[found.uiAccountId].get();
            // Under the lock, so that of two concurrent releases only one finds the account.
            *pHeader = {s_uiReleasedId, s_uiReleasedMagic};
        }
    }

    // Everything is logged after the lock is released, because an appender may allocate from here.
    // Nothing is thrown, because destructors release memory.
    const auto attempt = [this](auto in_report)
    { withoutThrowing(&getLogger(), "exception while memory is released", in_report); };
    if (pAccount == nullptr)
    {
        attempt(
            [&]
            {
                VELMORA_LOG_ERROR("deallocating memory at "
                                  << in_pMemory << " that has an invalid memory account id : "
                                  << found.uiAccountId);
            });
        VELMORA_ASSERT_TEXT(false, "uiMemAccountId < m_memAccountVector.size()");
        return;
    }
    VELMORA_ASSERT_TEXT(found.uiMagic == getMagicToken(), "*(pSizeT+1) == getMagicToken()");
    const char* const szOwnName = pAccount->first.getText();
    if (in_szAccountName != nullptr && std::strcmp(in_szAccountName, szOwnName) != 0)
        attempt(
            [&]
            {
                VELMORA_LOG_ERROR("inconsistent account : memory at "
                                  << in_pMemory << " is from account " << szOwnName
                                  << " while the call to deallocate was passed "
                                  << in_szAccountName);
            });
    const ProcessGate::Pass pass;
    credit(*pAccount, in_uiSize);
    MemAllocator::deallocate(pHeader, in_uiSize + sizeof(Header), in_szAccountName);
}

void AccountMemAllocator::charge(Account& out_account, std::size_t in_uiSize)
{
    const GatedGuard<GatedMutex> guard(out_account.second.mutex);
    MemAccountInfo& info = out_account.second.info;
    addToBalance(info, in_uiSize);
    if (info.iBalance > info.iMaximum)
        info.iMaximum = info.iBalance;
}

void AccountMemAllocator::credit(Account& out_account, std::size_t in_uiSize)
{
    const GatedGuard<GatedMutex> guard(out_account.second.mutex);
    addToBalance(out_account.second.info, std::size_t{0} - in_uiSize);
}

MemAccountInfo AccountMemAllocator::copyInfo(const Account& in_account)
{
    const GatedGuard<GatedMutex> guard(in_account.second.mutex);
    return in_account.second.info;
}

bool AccountMemAllocator::getMemAccountInfo(const char* in_szAccountName,
                                            MemAccountInfo& out_info) const
{
    VELMORA_ASSERT_TEXT(in_szAccountName != nullptr, "in_szAccountName != 0");
    if (in_szAccountName == nullptr)
        return false;
    const GatedGuard<GatedMutex> guard(m_mutex);
    const auto found =
        m_idsByName.find(NameRef{in_szAccountName, String::hashOf(in_szAccountName)});
    if (found == m_idsByName.end())
        return false;
    out_info = copyInfo(*m_memAccountVector[found->second]);
    return true;
}

void AccountMemAllocator::getMemAccountInfo(MemAccountInfoHash& out_hash) const
{
    out_hash.clear();
    const GatedGuard<GatedMutex> guard(m_mutex);
    for (const std::unique_ptr<Account>& pAccount : m_memAccountVector)
        out_hash.emplace(pAccount->first.getText(), copyInfo(*pAccount));
}

void AccountMemAllocator::logMemAccountingStats() const
{
    // Copied first, because nothing may be logged while the lock is held.
    std::vector<MemAccountInfoWithName> accounts;
    {
        const GatedGuard<GatedMutex> guard(m_mutex);
        accounts.reserve(m_memAccountVector.size());
        for (const std::unique_ptr<Account>& pAccount : m_memAccountVector)
            accounts.emplace_back(pAccount->first.getText(), copyInfo(*pAccount));
    }
    for (const MemAccountInfoWithName& account : accounts)
    {
        VELMORA_LOG_DEBUG("Memory Account " << account.strName
                                            << " : max_bytes = " << account.iMaximum);
        if (account.iBalance != 0)
            VELMORA_LOG_WARN("Memory Account " << account.strName << " : balance = "
                                               << account.iBalance << " byte(s)");
    }
}

} // namespace Velmora
