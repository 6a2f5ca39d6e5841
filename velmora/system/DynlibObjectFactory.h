#pragma once

#include "velmora/Export.h"
#include "velmora/application/CountedObjPtr.h"

#include <ace/DLL.h>

#include <memory>

namespace Velmora
{

/// What the factories of objects from shared libraries have in common: it opens a library and holds
/// it. A factory derives from it and finds symbols through the handle.
///
/// A library that has been opened stays until the process ends, whatever becomes of the factory,
/// since objects that it made may outlive the code that asked for them. An entry of the exit list
/// lets it go. What the library itself puts on the list while it is opened is newer and goes first.
///
/// Logs on "keswardin.infra.DynlibObjectFactory".
///
/// Ownership: the opened library is shared with the entry on the exit list.
/// Thread-safety: belongs to one thread at a time.
class VELMORA_API DynlibObjectFactoryNoT
{
  public:
    DynlibObjectFactoryNoT();
    DynlibObjectFactoryNoT(const DynlibObjectFactoryNoT&) = delete;
    DynlibObjectFactoryNoT& operator=(const DynlibObjectFactoryNoT&) = delete;
    ~DynlibObjectFactoryNoT();

    /// Opens a library in place of the one that the factory held: "lib`name`.so" for a name without
    /// prefix and extension, which must not be null. All its symbols are resolved at once, are seen
    /// by libraries that are opened later, and stay mapped. The library is looked for as `dlopen`
    /// does, along the LD_LIBRARY_PATH that the process was started with; a name with a directory
    /// is looked for in that one only.
    ///
    /// Failure: false and an error in the log, of one wording whatever the cause: a library with an
    /// unresolved symbol reads as a file that was not found. Not for use while the exit list runs:
    /// no entry is left then, and the run-time may initialise a second time what the library needs.
    bool openDynlib(const char* in_szDynLibBasename);

  protected:
    using DLLHandle = CountedBuiltInPtr<ACE_DLL, TSReferenceCount, std::default_delete<ACE_DLL>>;

    /// The library that was opened last, also one that could not be; null before the first.
    DLLHandle m_hDLL;
};

} // namespace Velmora
