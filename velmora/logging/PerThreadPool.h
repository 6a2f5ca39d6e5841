// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include <cstddef>
#include <utility>

namespace Velmora
{

/// Keeps objects for reuse, separately for each thread. A thread takes as many objects at once as
/// it needs (a log line inside a log line takes a second one), and gives them back.
///
/// It works at any time in the life of a thread. Once the pool has been emptied at the end of the
/// thread, objects are simply made and deleted.
///
/// `T` has a default constructor and a member `T* m_pNextInPool`.
///
/// Thread-safety: all operations may be called from any thread; an object must be given back on the
/// thread that took it.
template <class T>
class PerThreadPool
{
  public:
    /// In bytes: the longest text that an object of a pool keeps the memory of. Pooled objects live
    /// as long as their thread, so without a limit each would keep the memory of its longest line.
    /// Nearly all lines are shorter, a dump of a message or a stack included. The user of a pool
    /// handles a longer text in an object of its own.
    static constexpr std::size_t s_uiLongestText = 16384;

    /// Holds an object of the pool for a scope.
    class Lease
    {
      public:
        Lease() : m_pObject(take()) {}
        ~Lease()
        {
            if (m_pObject != nullptr)
                giveBack(m_pObject);
        }
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;

        /// Releases the object to the caller, which must give it back.
        T* release() { return std::exchange(m_pObject, nullptr); }

        T& operator*() const { return *m_pObject; }
        T* operator->() const { return m_pObject; }

      private:
        T* m_pObject;
    };

    /// Takes an object out of the pool of the calling thread, or makes one.
    static T* take()
    {
        State& state = s_state;
        if (T* const pObject = state.pFree; pObject != nullptr) [[likely]]
        {
            state.pFree = pObject->m_pNextInPool;
            return pObject;
        }
        return new T;
    }

    /// Puts an object into the pool of the calling thread, or deletes it if the pool has been
    /// emptied.
    static void giveBack(T* in_pObject)
    {
        State& state = s_state;
        if (state.phase == Phase::living) [[likely]]
        {
            in_pObject->m_pNextInPool = state.pFree;
            state.pFree = in_pObject;
        }
        else
            giveBackOutsideLife(in_pObject);
    }

  private:
    enum class Phase : unsigned char
    {
        unborn,
        living,
        ended
    };

    /// Has neither constructor nor destructor, so it exists as long as the thread.
    struct State
    {
        T* pFree;
        Phase phase;
    };

    /// Empties the pool when the thread ends.
    struct Ender
    {
        Ender() { s_state.phase = Phase::living; }
        ~Ender()
        {
            s_state.phase = Phase::ended;
            while (T* const pObject = s_state.pFree)
            {
                s_state.pFree = pObject->m_pNextInPool;
                delete pObject;
            }
        }
        /// Makes the thread-local object, as its first use does.
        void touch() const {}
    };

    [[gnu::noinline]] static void giveBackOutsideLife(T* in_pObject)
    {
        if (s_state.phase == Phase::unborn)
        {
            static thread_local Ender s_ender;
            s_ender.touch();
            giveBack(in_pObject);
        }
        else
            delete in_pObject;
    }

    // The model "initial-exec" reaches the state without a call of the dynamic linker.
    [[gnu::tls_model("initial-exec")]] static constinit inline thread_local State s_state{
        nullptr, Phase::unborn};
};

} // namespace Velmora
