// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/ThreadAnnotations.h"
#include "velmora/application/GatedMutex.h"
#include "velmora/logging/AdaptiveMutex.h"
#include "velmora/logging/CallAppenderFactory.h"
#include "velmora/logging/CallDataRegistry.h"
#include "velmora/memory/InAccount.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

namespace Velmora
{

namespace Test
{
class CallDataRegistryPeer;
}

/// Implements the registry. Locks the table mutex before the reference mutex. Lines that its
/// operations log are appended when both are unlocked (`DeferredLine`).
///
/// A call's file is opened and closed under neither, so a slow disk delays only that call: other
/// lines of the call wait while its file is opened, and a new call with its id begins once the file
/// is closed. The lines of a call whose file is open take no lock of this class. The cost of each
/// operation does not depend on the number of active calls and open files.
///
/// One object serves all copies of the library in the process. Its calls are made by the copy that
/// it belongs to.
///
/// Ownership: owned by the exit list, which deletes it after the configuration of the process.
/// Calls that are still active then are ended.
/// Thread-safety: as for `CallDataRegistry`.
class VELMORA_API CallDataRegistryImpl : public CallDataRegistry
{
  public:
    /// Returns the registry of this process.
    static CallDataRegistryImpl* getInstance();

    /// Returns the registry of this process, or null once the exit list has deleted it.
    static CallDataRegistryImpl* ifAlive();

    ~CallDataRegistryImpl() override;

    bool configure(const ParameterTrie& in_trie) override;
    CallDataHandle getCallData(const char* in_szCallId) override;
    [[nodiscard]] std::size_t getCurrentNumCall() const override;
    [[nodiscard]] std::size_t getMaxNumCall() const override;

    /// Called by the fork handlers in the child. The child has the calls of its parent, but does
    /// not write to their files, which the parent continues to use. A call that begins in the child
    /// has its own file.
    static void afterForkInChild() VELMORA_NO_THREAD_SAFETY_ANALYSIS;

  private:
    friend class CallDataRegistry::CallDataHandle;
    friend class CallDataRegistry::CallDataImpl;
    friend class Test::CallDataRegistryPeer;

    using CallDataHash = std::unordered_map<std::string, std::unique_ptr<CallDataImpl>>;

    CallDataRegistryImpl();

    // Called by handles only.
    void incrementRefCount(const char* in_szCallId);
    void decrementRefCount(const char* in_szCallId);

    /// Counts a reference on the call with the id, and begins the call if it is not active. Returns
    /// null while the file of a call with the id is closed.
    CallDataImpl* takeCall(const char* in_szCallId) VELMORA_REQUIRES(m_tableMutex);
    void beginCall(const CallDataHash::iterator& in_entry) VELMORA_REQUIRES(m_tableMutex);
    /// Returns the entry of the active call with the id.
    /// Failure: fails an assertion and returns the end if there is none.
    CallDataHash::iterator findCall(const char* in_szCallId) VELMORA_REQUIRES(m_tableMutex);
    /// Drops a reference. If it was the last one, ends the call. If the call has a file, its entry
    /// remains, and the call is returned, for its file to be closed.
    std::unique_ptr<CallDataImpl> dropReference(const char* in_szCallId);
    /// Removes an entry. Takes no memory and does not throw: an entry that stayed would keep a new
    /// call with its id waiting.
    void removeCall(const CallDataHash::iterator& in_entry) VELMORA_REQUIRES(m_tableMutex);
    /// Waits until an entry has been removed after `m_uiRemoved` had the value.
    void waitForClosing(std::uint32_t in_uiRemoved);
    log4cplus::SharedAppenderPtr
    newAppender(const char* in_szCallId) VELMORA_NO_THREAD_SAFETY_ANALYSIS;

    mutable AdaptiveMutex m_tableMutex;

    /// The active calls by their ids. The entry of a call whose file is closed holds null. Grows as
    /// needed.
    CallDataHash m_callDataHash VELMORA_GUARDED_BY(m_tableMutex);

    /// The id that an operation looks up; kept, so that a look-up does not allocate.
    std::string m_strScratchName VELMORA_GUARDED_BY(m_tableMutex);

    /// Also guards the reference counts of calls.
    AdaptiveMutex m_refCountMutex;

    /// The highest size of the table so far.
    std::size_t m_uiMaxNumCall VELMORA_GUARDED_BY(m_tableMutex) = 0;

    /// Configured under both mutexes. Directories are made while it is configured.
    CallAppenderFactory m_callAppenderFactory VELMORA_GUARDED_BY(m_refCountMutex);

    /// The number of removed entries; wraps around. Changes under the table mutex.
    std::atomic<std::uint32_t> m_uiRemoved{0};
};

/// An active call.
///
/// Thread-safety: as for `CallData`.
class CallDataRegistry::CallDataImpl : public CallData,
                                       public InAccount<"CallDataRegistry::CallDataImpl">
{
  public:
    /// Makes the call of the entry with the key `in_strCallId`. The key must outlive the object.
    explicit CallDataImpl(const std::string& in_strCallId);
    ~CallDataImpl() override;

    [[nodiscard]] const char* getCallId() const override { return m_strCallId.c_str(); }

    log4cplus::SharedAppenderPtr getAppender() override { return getOwnAppender(); }

    /// Same, without counting a reference. For callers that hold the call while they use the
    /// appender.
    const log4cplus::SharedAppenderPtr& getOwnAppender()
    {
        // Once set, the appender does not change, so a line reads it without a lock.
        if (!m_bTried.load(std::memory_order_acquire)) [[unlikely]]
            makeAppender();
        return m_pAppender;
    }

  private:
    friend class CallDataRegistryImpl;
    friend class Test::CallDataRegistryPeer;

    /// Makes the appender, once. Virtual, because the appender's code and memory must belong to the
    /// same copy of the library as the call's: other copies may be gone when the exit list ends the
    /// call.
    virtual void makeAppender();
    /// In the child of a fork: gives the appender up without closing its file.
    void leaveAppenderToParent();

    /// The key in the registry's table, which keeps its address as long as the entry exists.
    const std::string& m_strCallId;

    /// The number of handles on the call. Guarded by `m_refCountMutex` of the registry.
    std::size_t m_uiRefCnt = 0;

    /// Null until it is made, and for a call without a file. Written under `m_fileMutex`; read
    /// without a lock once `m_bTried` is set.
    log4cplus::SharedAppenderPtr m_pAppender;

    /// Whether the factory has been asked for the appender.
    std::atomic<bool> m_bTried{false};

    /// Held while the file is opened and while it is closed. Is locked before the registry's
    /// mutexes.
    GatedMutex m_fileMutex;
};

} // namespace Velmora
