// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterHashMap.h"
#include "velmora/config/ParameterInfoDB.h"

#include "velmora/logging/Logger.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <string>
#include <thread>
#include <vector>

namespace Velmora::Test
{

namespace
{

constexpr int s_iThreads = 4;

/// Runs all operations on the table of the process. Returns the number of wrong results.
int countWrongResults()
{
    const ParameterInfoDB& defs = ParameterInfoDB::getInstance();
    int iWrong = 0;
    for (int iRound = 0; iRound < 20; ++iRound)
    {
        ParameterInfo info;
        iWrong += defs.retrieve("keswardin.Installation.Directory", info) ? 0 : 1;
        iWrong += info.m_defaultValue.defined() ? 0 : 1;
        iWrong += defs.retrieve("keswardin.nowhere", info) ? 1 : 0;

        std::vector<ParameterInfoWithName> infos;
        iWrong += defs.retrieve("mem.leak", infos) && infos.size() == 3 ? 0 : 1;

        ParameterHashMap configuration;
        defs.addDefaultsToConfig(configuration, true);
        iWrong += configuration.size() == 171 ? 0 : 1;
        iWrong += defs.warnOnDeprecated(configuration) ? 0 : 1;

        std::string strName;
        iWrong += defs.validateParamName("keswardin.run.mods", strName) ? 1 : 0;
        iWrong += strName == "keswardin.run.mode" ? 0 : 1;

        ParameterValue value;
        value = 90;
        iWrong += defs.validateParamValue("keswardin.system.cpu.monitor.setAlarmThreshold", value)
                      ? 0
                      : 1;
        iWrong += value.getType() == ParameterValue::FLOAT_TYPE ? 0 : 1;
        iWrong += defs.validateParamValue("keswardin.traceShutdown", value) ? 1 : 0;
    }
    return iWrong;
}

} // namespace

TEST(ParamDefsConcurrency, ManyThreadsReadTheTableAtOnce)
{
    // The root logger would print each refusal on the console.
    log4cplus::Logger::getRoot().setLogLevel(ERROR_LOG_LEVEL);
    std::latch start(s_iThreads);
    std::atomic<int> iWrong{0};
    std::vector<std::thread> threads;
    for (int iThread = 0; iThread < s_iThreads; ++iThread)
        threads.emplace_back(
            [&start, &iWrong]
            {
                start.arrive_and_wait();
                iWrong += countWrongResults();
            });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(0, iWrong);
}

} // namespace Velmora::Test
