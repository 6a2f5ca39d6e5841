// SPDX-License-Identifier: BSD-2-Clause

#pragma once

// Annotations by which clang checks at compile time that a member is only used while its lock is
// held
// (-Wthread-safety, https://clang.llvm.org/docs/ThreadSafetyAnalysis.html). Other compilers ignore
// them.
//
//   class VELMORA_CAPABILITY("mutex") GatedMutex ...
//   std::string m_strName VELMORA_GUARDED_BY(m_mutex);

#if defined(__clang__)
#define VELMORA_THREAD_ANNOTATION(annotation) __attribute__((annotation))
#else
#define VELMORA_THREAD_ANNOTATION(annotation)
#endif

/// Marks a class of locks.
#define VELMORA_CAPABILITY(name) VELMORA_THREAD_ANNOTATION(capability(name))
/// Marks a class of guards, which hold a lock from construction to destruction.
#define VELMORA_SCOPED_CAPABILITY VELMORA_THREAD_ANNOTATION(scoped_lockable)
/// Marks a member that is used only while the lock is held.
#define VELMORA_GUARDED_BY(lock) VELMORA_THREAD_ANNOTATION(guarded_by(lock))
/// Marks a pointer whose object is used only while the lock is held.
#define VELMORA_PT_GUARDED_BY(lock) VELMORA_THREAD_ANNOTATION(pt_guarded_by(lock))
/// Marks a function that is called only while the lock is held.
#define VELMORA_REQUIRES(...) VELMORA_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
/// Mark a function that takes the lock, or releases it, and returns.
#define VELMORA_ACQUIRE(...) VELMORA_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define VELMORA_RELEASE(...) VELMORA_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
/// Marks a function whose body clang cannot follow.
#define VELMORA_NO_THREAD_SAFETY_ANALYSIS VELMORA_THREAD_ANNOTATION(no_thread_safety_analysis)
