// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/system/DynlibObjectFactory.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"

#include <ace/Cleanup.h>
#include <ace/Object_Manager.h>

#include <boost/algorithm/string/replace.hpp>

#include <dlfcn.h>

#include <string>
#include <utility>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(DynlibObjectFactory)

namespace Velmora
{

namespace
{

/// Joins the errors of all file names that were tried, one per line, into one line.
std::string inOneLine(std::string in_strErrors)
{
    while (in_strErrors.ends_with('\n'))
        in_strErrors.pop_back();
    return boost::replace_all_copy(in_strErrors, "\n", "; ");
}

} // namespace

DynlibObjectFactoryNoT::DynlibObjectFactoryNoT() = default;

DynlibObjectFactoryNoT::~DynlibObjectFactoryNoT()
{
    VELMORA_FILE_TRACE_SCOPE(~DynlibObjectFactoryNoT);
    m_hDLL.reset();
}

bool DynlibObjectFactoryNoT::openDynlib(const char* in_szDynLibBasename)
{
    class DLLPtr : public ACE_Cleanup
    {
      public:
        explicit DLLPtr(DLLHandle in_hDLL) : m_hDLL(std::move(in_hDLL))
        {
            VELMORA_FILE_TRACE_SCOPE(DynlibObjectFactoryNoT::DLLPtr ctor);
        }
        DLLPtr(const DLLPtr&) = delete;
        DLLPtr& operator=(const DLLPtr&) = delete;
        ~DLLPtr() override
        {
            VELMORA_FILE_TRACE_SCOPE(DynlibObjectFactoryNoT::DLLPtr dtor);
            m_hDLL.reset();
        }

      private:
        DLLHandle m_hDLL;
    };

    VELMORA_FILE_TRACE_SCOPE(DynlibObjectFactoryNoT::openDynlib);
    VELMORA_FILE_LOG_DEBUG("DynlibObjectFactoryNoT::openDynlib"
                           << " : "
                           << "in_szDynLibBasename=" << in_szDynLibBasename);
    constexpr bool bCloseOnDestruction = true;
    m_hDLL = DLLHandle(new ACE_DLL(bCloseOnDestruction));

    // Registered before the library is opened, so that entries which its constructors register are
    // destroyed first.
    auto pEntry = std::make_unique<DLLPtr>(m_hDLL);
    // If the exit list accepts no entry, only the factory holds the library.
    if (ACE_Object_Manager::at_exit(pEntry.get(), nullptr, "DLLPtr") == 0)
        static_cast<void>(pEntry.release());

    VELMORA_FILE_LOG_DEBUG("Opening library " << in_szDynLibBasename
                                              << " with RTLD_NOW | RTLD_GLOBAL | RTLD_NODELETE\n");
    if (m_hDLL->open(in_szDynLibBasename, RTLD_NOW | RTLD_GLOBAL | RTLD_NODELETE,
                     bCloseOnDestruction) != 0)
    {
        VELMORA_FILE_LOG_ERROR("Cannot find file \"lib"
                               << in_szDynLibBasename
                               << ".so\" (using the LD_LIBRARY_PATH environment variable) needed "
                                  "to create gateway interface \""
                               << in_szDynLibBasename << "\"");
        VELMORA_FILE_LOG_ERROR("cannot load " << in_szDynLibBasename << ": "
                                              << inOneLine(m_hDLL->error()));
        return false;
    }
    return true;
}

} // namespace Velmora
