// SPDX-License-Identifier: BSD-2-Clause

// Fails an assertion at a stage of its life, with the parameter set that makes it abort:
// aborts main|main-unsynchronised|during-load|exit-list|after-list

#include "velmora/application/Assertion.h"
#include "velmora/config/GlobalConfig.h"
#include "velmora/logging/FileScopeLogger.h"

#include <ace/Cleanup.h>
#include <ace/Object_Manager.h>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <istream>
#include <latch>
#include <streambuf>
#include <string>
#include <thread>

namespace
{

using namespace Velmora;

std::string s_strStage;

void failAssertionAt(const std::string& in_strStage, const char* in_szWhen)
{
    if (s_strStage != in_strStage)
        return;
    std::puts("a line of C");
    std::cout << in_szWhen << ": loggers deleted " << AceCleanupLogger::hasExitListDeletedLoggers()
              << ", configuration " << !GlobalConfig::getInstance().isNull() << '\n';
    VELMORA_PLAIN_ASSERT(false);
}

/// Registered before the logger of this file, so that it is destroyed after it.
struct OnExitList : ACE_Cleanup
{
    ~OnExitList() override { failAssertionAt("exit-list", "exit list"); }
};

struct InStatics
{
    ~InStatics() { failAssertionAt("after-list", "after the exit list"); }
} s_inStatics;

const int s_iRegistered = ACE_Object_Manager::at_exit(new OnExitList);

} // namespace

VELMORA_FILE_SCOPE_LOGGER("keswardin.test.Aborts")

namespace
{

/// A text whose reader never returns, so that the configuration stays locked.
class EndlessText : public std::streambuf
{
  public:
    std::latch m_reading{1};

  private:
    int_type underflow() override
    {
        m_reading.count_down();
        while (true)
            std::this_thread::sleep_for(std::chrono::hours(1));
    }
};

void failAssertionDuringALoad()
{
    EndlessText text;
    std::thread(
        [&text]
        {
            std::istream stream(&text);
            GlobalConfig::getInstance()->load(stream);
        })
        .detach();
    text.m_reading.wait();
    failAssertionAt("during-load", "during a load");
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    s_strStage = argv[1];
    if (s_strStage == "main-unsynchronised")
    {
        std::ios::sync_with_stdio(false);
        s_strStage = "main";
    }
    Logger().setLogLevel(WARN_LOG_LEVEL);
    if (!Assertion::setAbortOnAssert(true))
        return 3;
    failAssertionAt("main", "main");
    if (s_strStage == "during-load")
        failAssertionDuringALoad();
    return ACE_Object_Manager::instance()->fini();
}
