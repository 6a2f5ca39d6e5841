#pragma once

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

/// The calls themselves. Takes the table mutex before the reference mutex, and both before those of
/// the log that the lines of its operations go to.
///
/// A file is opened under the reference mutex, so that opening one delays the begin and the end of
/// other calls; it is closed under both. The lines of a call whose file is open take neither.
///
/// One object serves all copies of the library in the process. Its calls are made by the copy that
/// it belongs to.
///
/// Ownership: the exit list's, which deletes it after the configuration of the process. Calls that
/// are still active then are ended.
/// Thread-safety: as `CallDataRegistry`.
class VELMORA_API CallDataRegistryImpl : public CallDataRegistry
{
  public:
    static CallDataRegistryImpl* getInstance();

    /// The same, but null once the exit list has deleted it.
    static CallDataRegistryImpl* ifAlive();

    ~CallDataRegistryImpl() override;

    bool configure(const ParameterTrie& in_trie) override;
    CallDataHandle getCallData(const char* in_szCallId) override;
    [[nodiscard]] std::size_t getCurrentNumCall() const override;
    [[nodiscard]] std::size_t getMaxNumCall() const override;

    /// For the fork handlers. The child has the calls of its parent, but does not write to their
    /// files, which the parent goes on with; a call that begins in the child has a file of its own.
    static void afterForkInChild();

    /// A mutex whose waiters spin before they sleep: files are opened and closed under the mutexes
    /// here, which takes microseconds, less than to fall asleep and be woken.
    class Mutex : public ACE_Thread_Mutex
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

    // For handles only.
    void incrementRefCount(const char* in_szCallId);
    void decrementRefCount(const char* in_szCallId);

    void beginCall(const CallDataHash::iterator& in_entry);
    void endCall(const CallDataHash::iterator& in_entry);
    bool isFound(const CallDataHash::iterator& in_entry) const;

    /// The active calls. It grows by itself. Guarded by `m_tableMutex`, as the next one.
    CallDataHash m_callDataHash;

    /// The id that an operation looks up, so that it does not allocate.
    std::string m_strScratchName;

    /// Guards the table, the scratch name and the maximum.
    mutable Mutex m_tableMutex;

    /// Guards the counts of references and the making of appenders.
    Mutex m_refCountMutex;

    /// The highest size of the table so far. Guarded by `m_tableMutex`.
    std::size_t m_uiMaxNumCall = 0;

    /// Configured under both mutexes, asked under `m_refCountMutex`.
    CallAppenderFactory m_callAppenderFactory;
};

/// An active call.
///
/// Thread-safety: as `CallData`.
class CallDataRegistry::CallDataImpl : public CallData,
                                       public InAccount<"CallDataRegistry::CallDataImpl">
{
  public:
    /// For the entry with the key `in_strCallId`, which outlives this.
    explicit CallDataImpl(const std::string& in_strCallId);
    ~CallDataImpl() override;

    [[nodiscard]] const char* getCallId() const override { return m_strCallId.c_str(); }

    log4cplus::SharedAppenderPtr getAppender() override { return getOwnAppender(); }

    /// The same, for those who hold the call as long as they use it.
    const log4cplus::SharedAppenderPtr& getOwnAppender()
    {
        // Once it is there it does not change, so that a line need not wait for others.
        if (!m_bTried.load(std::memory_order_acquire)) [[unlikely]]
            makeAppender();
        return m_pAppender;
    }

  private:
    friend class CallDataRegistryImpl;
    friend class Test::CallDataRegistryPeer;

    /// Virtual, as the appender's code and memory must be of the same copy of the library as the
    /// call's: other copies may be gone when the exit list ends the call.
    virtual void makeAppender();
    void leaveAppenderToParent();

    /// The key in the registry's table, which stays where it is as long as the entry.
    const std::string& m_strCallId;

    /// How many handles hold the call. Guarded by the registry's reference mutex.
    std::size_t m_uiRefCnt = 0;

    /// Null until made, and for calls without a file. Written under the registry's reference mutex.
    log4cplus::SharedAppenderPtr m_pAppender;

    /// Whether the appender has been asked for.
    std::atomic<bool> m_bTried{false};
};

} // namespace Velmora
