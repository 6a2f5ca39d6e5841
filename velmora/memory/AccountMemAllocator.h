#pragma once

#include "velmora/memory/MemAccountInfo.h"
#include "velmora/memory/MemAllocatorT.h"

#include <ace/Thread_Mutex.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Velmora
{

/// A `MemAllocator` that charges each allocation to the account that it names, so that a process
/// can tell which of its parts holds how much, what the peak was, and which leak. A diagnostic
/// mode: all operations pass one mutex.
///
/// A header of 16 bytes in front of the caller's bytes tells the account and guards itself with a
/// magic token.
///
/// Thread-safety: all operations may be called on any thread. The allocator's mutex is taken before
/// that of an account; nothing is logged under either, so an appender may allocate.
/// Failure: a broken header, memory that was released before and a wrong account name are logged
/// and trip assertions; a double release touches nothing.
class VELMORA_API AccountMemAllocator : public MemAllocator<ACE_Thread_Mutex, 32>
{
  public:
    /// The name of an account: a copy of the text with its hash.
    class VELMORA_API String
    {
      public:
        explicit String(const char* in_szText);

        [[nodiscard]] const char* getText() const { return m_szText.get(); }
        [[nodiscard]] std::size_t getHash() const { return m_uiHash; }

        /// Starts at 0 and takes `5 * h + c` over the sign-extended characters.
        static std::size_t hashOf(const char* in_szText);

      private:
        std::unique_ptr<char[]> m_szText;
        std::size_t m_uiHash;
    };

    AccountMemAllocator(const Logger& in_logger, bool in_bReportLeaks);

    /// Logs all accounts, then frees everything.
    ~AccountMemAllocator();

    /// Memory of `in_uiSize` bytes, charged to the account; null for a size of 0. A null name is an
    /// error and charges "DEFAULT".
    /// Failure: null when there is no memory, as for a size that leaves no room for the header;
    /// nothing is charged.
    [[nodiscard]] void* allocate(std::size_t in_uiSize, const char* in_szAccountName);

    /// Takes memory back and credits the account that it came from. A name that is not null must be
    /// that account's. Does nothing for a null pointer or a size of 0.
    void deallocate(void* in_pMemory, std::size_t in_uiSize, const char* in_szAccountName);

    /// Gives the account of that name; false when there is none.
    [[nodiscard]] bool getMemAccountInfo(const char* in_szAccountName,
                                         MemAccountInfo& out_info) const;

    /// Gives all accounts.
    void getMemAccountInfo(MemAccountInfoHash& out_hash) const;

    /// Logs the maximum of each account at DEBUG, and a balance that is not 0 at WARN.
    void logMemAccountingStats() const;

    /// What the second word of a live header holds.
    static constexpr std::size_t getMagicToken() { return 0x5A7C; }

  private:
    struct AccountRecord
    {
        MemAccountInfo info;
        mutable ACE_Thread_Mutex mutex;
    };
    using Account = std::pair<String, AccountRecord>;

    /// A name to look up, without a copy.
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

    /// Null when there is no memory.
    Account* findOrMakeAccount(const NameRef& in_name);
    static void charge(Account& out_account, std::size_t in_uiSize);
    static void credit(Account& out_account, std::size_t in_uiSize);
    static MemAccountInfo copyInfo(const Account& in_account);

    std::vector<std::unique_ptr<Account>> m_memAccountVector;
    std::unordered_map<const String*, std::size_t, NameHash, NameEqual> m_idsByName;
    /// Guards both.
    mutable ACE_Thread_Mutex m_mutex;
};

} // namespace Velmora
