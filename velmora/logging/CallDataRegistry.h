// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/application/LimitedObjPtr.h"
#include "velmora/application/Object.h"
#include "velmora/logging/CallData.h"

#include <cstddef>
#include <string>

namespace Velmora
{

class ParameterTrie;

/// Holds the active calls by their ids. The participants of a call find the data that they share
/// here, through counted handles; a `CallLogger` does so by itself. A call begins with the first
/// handle on its id and ends when the last handle is released. After that, the same id names a new
/// call, whose file replaces that of the earlier call.
///
/// Logs on "keswardin.infra.CallData".
///
/// Thread-safety: all operations may be called from any thread.
class VELMORA_API CallDataRegistry : public virtual Object
{
  public:
    class CallDataHandle;
    class CallDataImpl;

    CallDataRegistry() = default;
    CallDataRegistry(const CallDataRegistry&) = delete;
    CallDataRegistry& operator=(const CallDataRegistry&) = delete;
    ~CallDataRegistry() override;

    /// Configures the call files that are made from now on; see `CallAppenderFactory`. Returns
    /// false on failure.
    virtual bool configure(const ParameterTrie& in_trie) = 0;

    /// Returns a handle on the call with the given id. Begins the call if it is not active.
    virtual CallDataHandle getCallData(const char* in_szCallId) = 0;

    /// Returns the number of active calls.
    [[nodiscard]] virtual std::size_t getCurrentNumCall() const = 0;
    /// Returns the highest number of active calls so far.
    [[nodiscard]] virtual std::size_t getMaxNumCall() const = 0;

    /// Returns the registry of this process, which is made when the library is loaded. Must not be
    /// called once the exit list has deleted the registry.
    static CallDataRegistry* getInstance();
};

/// A counted reference on a call, or an empty handle.
///
/// Thread-safety: none; an object belongs to one thread at a time. Handles on one call may be used
/// on several threads concurrently.
/// Failure: a handle that outlives the registry must not be used; releasing it does nothing. Throws
/// `std::bad_alloc` if there is no memory for an id; the handle then keeps its call.
class VELMORA_API CallDataRegistry::CallDataHandle
{
  public:
    /// Holds no call.
    CallDataHandle() = default;

    /// Stores the id, and holds no call.
    explicit CallDataHandle(const char* in_szCallId);

    CallDataHandle(const CallDataHandle& in_handle);
    /// Takes over the reference; the other handle then holds no call.
    CallDataHandle(CallDataHandle&& in_handle) noexcept;
    /// Releases this handle's call before it takes the other handle's call.
    CallDataHandle& operator=(const CallDataHandle& in_handle);
    /// Same, but takes over the reference; the other handle then holds no call.
    CallDataHandle& operator=(CallDataHandle&& in_handle) noexcept;
    ~CallDataHandle();

    /// Releases the call if one is held, and clears the id.
    void releaseObject();

    /// Returns whether no call is held.
    [[nodiscard]] bool isNull() const { return m_pCallData == nullptr; }

    /// Returns the data of the call.
    /// Failure: fails an assertion and returns null if no call is held.
    LimitedObjPtr<CallData> operator->() const;

    /// Returns the appender of the call's file, which the first use makes, without counting a
    /// reference on it. Returns null if the call has no file or no call is held.
    /// Ownership: owned by the call; valid while this handle holds the call.
    [[nodiscard]] log4cplus::Appender* getAppenderOfCall() const;

  private:
    friend class CallDataRegistryImpl;

    /// Counts a reference on the active call with this handle's id.
    void addReference() const;
    /// Releases the call if one is held, and keeps the id.
    void letGo() noexcept;

    std::string m_strCallId;
    CallData* m_pCallData = nullptr;
};

} // namespace Velmora
