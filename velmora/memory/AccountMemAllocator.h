// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/GatedMutex.h"
#include "velmora/memory/MemAccountInfo.h"
#include "velmora/memory/MemAllocatorT.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Velmora
{

/// A `MemAllocator` that charges each allocation to a named account. It shows which part of a
/// process holds how much memory, how much it held at most, and which part leaks. A diagnostic
/// mode: all operations take one mutex.
///
/// Each block has a header of 16 bytes in front of the caller's bytes. The first word is the
/// account's index, the second a magic token that detects broken headers.
///
/// Thread-safety: all operations may be called on any thread. The allocator's mutex is taken before
/// an account's. Nothing is logged while either is held, so an appender may allocate.
/// Failure: a header without a valid account, such as that of released memory, is logged as an
/// ERROR and fails an assertion; the memory is left alone. A header with a wrong token fails an
/// assertion. A wrong account name is logged as an ERROR. In the last two cases the memory is
/// released and credited to the account in its header.
class VELMORA_API AccountMemAllocator
    : public MemAllocator<ACE_Thread_Mutex, SizeClasses::s_ulNumber>
{
  public:
    /// The name of an account: a copy of the text, with its hash.
    class VELMORA_API String
    {
      public:
        explicit String(const char* in_szText);

        [[nodiscard]] const char* getText() const { return m_szText.get(); }
        [[nodiscard]] std::size_t getHash() const { return m_uiHash; }

        /// Returns the hash of a text: starts at 0 and computes `h = 5 * h + c` for each
        /// sign-extended character.
        static std::size_t hashOf(const char* in_szText);

      private:
        std::unique_ptr<char[]> m_szText;
        std::size_t m_uiHash;
    };

    AccountMemAllocator(const Logger& in_logger, bool in_bReportLeaks);

    /// Logs all accounts, then frees all blocks.
    ~AccountMemAllocator();

    /// Allocates `in_uiSize` bytes and charges them to the account. Returns null for a size of 0. A
    /// null name fails an assertion and charges "DEFAULT".
    /// Failure: returns null when there is no memory, and for a size that leaves no room for the
    /// header. Nothing is charged then.
    [[nodiscard]] void* allocate(std::size_t in_uiSize, const char* in_szAccountName);

    /// Releases memory and credits the account in its header. `in_szAccountName` must be null or
    /// the name of that account. Does nothing for a null pointer or a size of 0.
    void deallocate(void* in_pMemory, std::size_t in_uiSize, const char* in_szAccountName);

    /// Copies the state of the account with that name. Returns false if there is none.
    [[nodiscard]] bool getMemAccountInfo(const char* in_szAccountName,
                                         MemAccountInfo& out_info) const;

    /// Replaces `out_hash` by the state of all accounts.
    void getMemAccountInfo(MemAccountInfoHash& out_hash) const;

    /// Logs the maximum of each account at DEBUG, and each balance that is not 0 at WARN.
    void logMemAccountingStats() const;

    /// Returns the magic token, the second word of a header in use.
    static constexpr std::size_t getMagicToken() { return 0x5A7C; }

  private:
    struct AccountRecord
    {
        explicit AccountRecord(std::size_t in_uiId) : uiId(in_uiId) { info.uiAccountId = in_uiId; }

        const std::size_t uiId;
        /// No other code runs while it is held.
        mutable GatedMutex mutex;
        MemAccountInfo info VELMORA_GUARDED_BY(mutex);
    };
    using Account = std::pair<String, AccountRecord>;

    /// A name for a lookup, without a copy of its text.
    struct NameRef
    {
        const char* szText;
        std::size_t uiHash;
    };
    struct NameHash
    {
        using is_transparent = void;
        std::size_t operator()(const NameRef& in_name) const { return in_name.uiHash; }
        std::size_t operator()(const String* in_pName) const { return in_pName->getHash(); }
    };
    struct NameEqual
    {
        using is_transparent = void;
        bool operator()(const String* in_pFirst, const String* in_pSecond) const;
        bool operator()(const NameRef& in_first, const String* in_pSecond) const;
    };

    /// Returns the account with that name, and adds it first if there is none. Returns null when
    /// there is no memory.
    Account* findOrMakeAccount(const NameRef& in_name);
    /// Adds to the balance, and updates the maximum.
    static void charge(Account& out_account, std::size_t in_uiSize);
    /// Subtracts from the balance.
    static void credit(Account& out_account, std::size_t in_uiSize);
    static MemAccountInfo copyInfo(const Account& in_account);

    /// Also guards a header while it is checked and overwritten. An account's mutex may be taken
    /// and the heap used while it is held; no foreign code runs.
    mutable GatedMutex m_mutex;
    /// The accounts by index. Accounts are never removed, so a pointer to one stays valid.
    std::vector<std::unique_ptr<Account>> m_memAccountVector VELMORA_GUARDED_BY(m_mutex);
    std::unordered_map<const String*, std::size_t, NameHash, NameEqual>
        m_idsByName VELMORA_GUARDED_BY(m_mutex);
};

} // namespace Velmora
