// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/OncePerProcess.h"

#include "velmora/Version.h"

#include <log4cplus/helpers/property.h>
#include <log4cplus/spi/factory.h>

#include <locale>
#include <memory>
#include <string>

namespace Velmora
{

namespace
{

/// Stores a place in log4cplus's registry of factories.
///
/// A static variable cannot be the place. Whether two copies of the library share one depends on
/// the compiler (g++ makes a template's static unique in the process, clang does not), on its
/// visibility, and on how each copy was opened. But all copies log through one log4cplus. Its
/// registry keeps the first factory of a name and returns it to all callers. It exists before the
/// first constructor of the library runs, and until the last destructor has run.
class PlaceFactory final : public log4cplus::spi::LocalFactoryBase<log4cplus::spi::LocaleFactory>
{
  public:
    PlaceFactory(const std::string& in_strName, std::atomic<void*>& in_place)
        : LocalFactoryBase(in_strName.c_str()), m_place(in_place)
    {
    }

    std::locale createObject(const log4cplus::helpers::Properties&) override
    {
        return std::locale::classic();
    }

    /// Never destroyed: it outlives the factory, which log4cplus destroys at its own end.
    std::atomic<void*>& m_place;
};

} // namespace

std::atomic<void*>& OncePerProcessNoT::placeNamed(const char* in_szName)
{
    const std::string strName = std::string("velmora::") + in_szName + " " +
                                std::to_string(VELMORA_VERSION_MAJOR) + "." +
                                std::to_string(VELMORA_VERSION_MINOR);
    log4cplus::spi::LocaleFactoryRegistry& registry = log4cplus::spi::getLocaleFactoryRegistry();
    std::unique_ptr<std::atomic<void*>> pNew;
    if (!registry.exists(strName))
    {
        pNew = std::make_unique<std::atomic<void*>>(nullptr);
        registry.put(std::make_unique<PlaceFactory>(strName, *pNew));
    }
    std::atomic<void*>& place = static_cast<PlaceFactory*>(registry.get(strName))->m_place;
    // Another thread's factory may have been the first.
    if (&place == pNew.get())
        static_cast<void>(pNew.release());
    return place;
}

} // namespace Velmora
