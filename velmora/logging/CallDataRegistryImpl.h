// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/ThreadAnnotations.h"
#include "velmora/logging/CallAppenderFactory.h"
#include "velmora/logging/CallDataRegistry.h"
#include "velmora/memory/InAccount.h"

#include <ace/Thread_Mutex.h>

#include <atomic>
#include <cstddef>
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
/// A call's file is opened under the reference mutex, so opening one delays the begin and the end
/// of other calls. It is closed under both mutexes. The lines of a call whose file is open take
/// neither.
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

    /// A mutex whose waiters spin before they sleep. Files are opened and closed under the mutexes
    /// of this class, which takes microseconds: less than falling asleep and being woken.
    class VELMORA_CAPABILITY("mutex") Mutex : public ACE_Thread_Mutex
    {
      public:
        Mutex();
    };

  private:
    friend class CallDataRegistry::CallDataHandle;
    friend class CallDataRegistry::CallDataImpl;
    friend class Test::CallDataRegistryPeer;

    using CallDataHash = std::unordered_map<std::string, std::unique_ptr<CallDataImpl>>;

    CallDataRegistryImpl();

    // Called by handles only.
    void incrementRefCount(const char* in_szCallId);
    void decrementRefCount(const char* in_szCallId);

    void beginCall(const CallDataHash::iterator& in_entry) VELMORA_REQUIRES(m_tableMutex);
    void endCall(const CallDataHash::iterator& in_entry) VELMORA_REQUIRES(m_tableMutex);
    bool isFound(const CallDataHash::iterator& in_entry) const VELMORA_REQUIRES(m_tableMutex);

    /// A file is closed while it is held.
    mutable Mutex m_tableMutex;

    /// The active calls by their ids. Grows as needed.
    CallDataHash m_callDataHash VELMORA_GUARDED_BY(m_tableMutex);

    /// The id that an operation looks up; kept, so that a look-up does not allocate.
    std::string m_strScratchName VELMORA_GUARDED_BY(m_tableMutex);

    /// Also guards the reference counts and appenders of calls. Files are opened and closed, and
    /// directories made, while it is held.
    Mutex m_refCountMutex;

    /// The highest size of the table so far.
    std::size_t m_uiMaxNumCall VELMORA_GUARDED_BY(m_tableMutex) = 0;

    /// Configured under both mutexes.
    CallAppenderFactory m_callAppenderFactory VELMORA_GUARDED_BY(m_refCountMutex);
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

    /// Null until it is made, and for a call without a file. Written under `m_refCountMutex` of the
    /// registry; read without a lock once `m_bTried` is set.
    log4cplus::SharedAppenderPtr m_pAppender;

    /// Whether the factory has been asked for the appender.
    std::atomic<bool> m_bTried{false};
};

} // namespace Velmora
