// SPDX-License-Identifier: BSD-2-Clause

#pragma once

#include "velmora/Export.h"
#include "velmora/application/CountedObjPtr.h"

#include <ace/DLL.h>

#include <memory>

namespace Velmora
{

/// The base class of factories that create objects from shared libraries. It opens a library and
/// holds it. A derived factory looks up symbols through `m_hDLL`.
///
/// An opened library stays until the process ends, even after the factory is destroyed, because
/// objects that it created may still exist. An entry of the exit list releases it. Entries that the
/// library adds to the exit list while it is opened are newer and are destroyed first.
///
/// Logs on "keswardin.infra.DynlibObjectFactory".
///
/// Ownership: shares the opened library with the entry of the exit list.
/// Thread-safety: belongs to one thread at a time.
class VELMORA_API DynlibObjectFactoryNoT
{
  public:
    DynlibObjectFactoryNoT();
    DynlibObjectFactoryNoT(const DynlibObjectFactoryNoT&) = delete;
    DynlibObjectFactoryNoT& operator=(const DynlibObjectFactoryNoT&) = delete;
    ~DynlibObjectFactoryNoT();

    /// Opens "lib`name`.so" for a name without prefix and extension, and holds it in place of the
    /// former library. The name must not be null. All symbols are resolved at once and are visible
    /// to libraries that are opened later. The library stays mapped. `dlopen` searches for it along
    /// the LD_LIBRARY_PATH that the process was started with; a name with a directory is searched
    /// for in that directory only.
    ///
    /// Failure: returns false and logs an error. Its wording does not depend on the cause: a
    /// library with an unresolved symbol is also reported as a file that was not found. Must not be
    /// called while the exit list runs: it accepts no entries then, and the run-time may initialise
    /// the dependencies of the library a second time.
    bool openDynlib(const char* in_szDynLibBasename);

  protected:
    using DLLHandle = CountedBuiltInPtr<ACE_DLL, TSReferenceCount, std::default_delete<ACE_DLL>>;

    /// The library of the last `openDynlib`, even a failed one; null before the first call.
    DLLHandle m_hDLL;
};

} // namespace Velmora
