#pragma once

#include "velmora/application/LimitedObjPtr.h"
#include "velmora/application/Object.h"
#include "velmora/logging/CallData.h"

#include <cstddef>
#include <string>

namespace Velmora
{

class ParameterTrie;

/// The calls that are active, by their ids. Objects that take part in a call find what they share
/// here, through handles that are counted; a `CallLogger` does so by itself. A call begins with the
/// first handle on its id and ends when the last one lets go of it. The same id is then that of a
/// new call, whose file takes the place of the earlier one's.
///
/// Logs on "keswardin.infra.CallData".
///
/// Thread-safety: all operations may be called on any thread.
class VELMORA_API CallDataRegistry : public virtual Object
{
  public:
    class CallDataHandle;
    class CallDataImpl;

    CallDataRegistry() = default;
    CallDataRegistry(const CallDataRegistry&) = delete;
    CallDataRegistry& operator=(const CallDataRegistry&) = delete;
    ~CallDataRegistry() override;

    /// Sets up the files of the calls that begin from now on; see `CallAppenderFactory`.
    virtual bool configure(const ParameterTrie& in_trie) = 0;

    /// A handle on the call with an id, which begins with it if there is none.
    virtual CallDataHandle getCallData(const char* in_szCallId) = 0;

    /// The number of active calls, and the highest that it has been.
    [[nodiscard]] virtual std::size_t getCurrentNumCall() const = 0;
    [[nodiscard]] virtual std::size_t getMaxNumCall() const = 0;

    /// The one of this process. It comes into being when the library is loaded; once the exit list
    /// has deleted it, it must not be called.
    static CallDataRegistry* getInstance();
};

/// Holds one reference on a call, or none.
///
/// Thread-safety: none; an object belongs to one thread at a time. Several on one call may be used
/// on several threads.
/// Failure: a handle that outlives the registry must not be used any more; letting go of it does
/// nothing. `std::bad_alloc` when there is no memory for an id; the handle holds what it held.
class VELMORA_API CallDataRegistry::CallDataHandle
{
  public:
    /// Holds no call.
    CallDataHandle() = default;

    /// Has an id, and holds no call.
    explicit CallDataHandle(const char* in_szCallId);

    CallDataHandle(const CallDataHandle& in_handle);
    /// Takes over the reference and leaves the other one without.
    CallDataHandle(CallDataHandle&& in_handle) noexcept;
    /// Let go of what they held before they hold the other's call.
    CallDataHandle& operator=(const CallDataHandle& in_handle);
    CallDataHandle& operator=(CallDataHandle&& in_handle) noexcept;
    ~CallDataHandle();

    /// Lets go of the call, if there is one, and forgets its id.
    void releaseObject();

    [[nodiscard]] bool isNull() const { return m_pCallData == nullptr; }

    /// Failure: fails an assertion and gives null when no call is held.
    LimitedObjPtr<CallData> operator->() const;

    /// The appender of the call's file, without counting a reference on it; null when there is none
    /// or no call is held.
    /// Ownership: the call's; valid as long as this handle holds it.
    [[nodiscard]] log4cplus::Appender* getAppenderOfCall() const;

  private:
    friend class CallDataRegistryImpl;

    void letGo() noexcept;

    std::string m_strCallId;
    CallData* m_pCallData = nullptr;
};

} // namespace Velmora
