// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/logging/LivingFileAppenders.h"

#include "velmora/application/GatedGuard.h"
#include "velmora/application/GatedMutex.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"
#include "velmora/logging/OncePerProcess.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(FileAppender)

namespace Velmora
{

namespace
{

using Member = LivingFileAppenders::Member;

struct List
{
    GatedMutex mutex;
    std::vector<Member*> members VELMORA_GUARDED_BY(mutex);
    /// The counts of those that are destroyed.
    std::uint64_t uiLines VELMORA_GUARDED_BY(mutex) = 0;
    std::uint64_t uiLosses VELMORA_GUARDED_BY(mutex) = 0;
};

/// Returns the list, which is never destroyed: log4cplus destroys its appenders late.
List& list()
{
    static List& s_list = []() -> List&
    {
        static OncePerProcess<List> s_place("LivingFileAppenders");
        if (List* const pFound = s_place.get())
            return *pFound;
        return *s_place.fill(new List);
    }();
    return s_list;
}

[[maybe_unused]] const List& __force_init_list__ = list();

/// Keeps an appender alive.
struct Shared
{
    log4cplus::SharedAppenderPtr pAppender;
    Member* pMember;
};

std::vector<Shared> all()
{
    // Destroyed after the guard, as the last reference on an appender may be in it.
    std::vector<Shared> found;
    List& theList = list();
    const GatedGuard<GatedMutex> guard(theList.mutex);
    found.reserve(theList.members.size());
    for (Member* const pMember : theList.members)
        if (log4cplus::SharedAppenderPtr pAppender = pMember->share())
            found.push_back({std::move(pAppender), pMember});
    return found;
}

/// Releases the appenders. Not inlined, so that reports of ThreadSanitizer name it.
[[gnu::noinline]] void releaseAppenders(std::vector<Shared>& inout_shared) { inout_shared.clear(); }

} // namespace

void LivingFileAppenders::add(Member& in_member)
{
    List& theList = list();
    const GatedGuard<GatedMutex> guard(theList.mutex);
    theList.members.push_back(&in_member);
}

void LivingFileAppenders::remove(Member& in_member) noexcept
{
    List& theList = list();
    const GatedGuard<GatedMutex> guard(theList.mutex);
    std::erase(theList.members, &in_member);
    theList.uiLines += in_member.getLineCount();
    theList.uiLosses += in_member.getLossCount();
}

bool LivingFileAppenders::reopenAll()
{
    bool bAll = true;
    std::vector<Shared> appenders = all();
    for (const Shared& shared : appenders)
        if (const std::string strProblem = shared.pMember->reopen(); !strProblem.empty())
        {
            bAll = false;
            VELMORA_FILE_LOG_ERROR(strProblem);
        }
    releaseAppenders(appenders);
    return bAll;
}

std::uint64_t LivingFileAppenders::getLineCount()
{
    List& theList = list();
    const GatedGuard<GatedMutex> guard(theList.mutex);
    std::uint64_t uiLines = theList.uiLines;
    for (const Member* const pMember : theList.members)
        uiLines += pMember->getLineCount();
    return uiLines;
}

std::uint64_t LivingFileAppenders::getLossCount()
{
    List& theList = list();
    const GatedGuard<GatedMutex> guard(theList.mutex);
    std::uint64_t uiLosses = theList.uiLosses;
    for (const Member* const pMember : theList.members)
        uiLosses += pMember->getLossCount();
    return uiLosses;
}

void LivingFileAppenders::forgetInChild() noexcept VELMORA_NO_THREAD_SAFETY_ANALYSIS
{
    for (Member* const pMember : list().members)
        pMember->forgetInChild();
}

} // namespace Velmora
