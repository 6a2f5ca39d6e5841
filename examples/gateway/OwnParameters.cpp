// SPDX-License-Identifier: BSD-2-Clause

#include "OwnParameters.h"

#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/ProgramParameter.h"

using Velmora::ParameterInfoDB;
using Velmora::ParameterValue;
using Velmora::ProgramParameter;

namespace GatewayExample
{

namespace
{

constexpr ProgramParameter s_parameters[] = {
    {.szName = "gateway.calls.monitor.monitoringPeriodInMs",
     .type = ParameterValue::INT_TYPE,
     .szDefault = "500",
     .szLowest = "0",
     .szDescription = "The period in ms after which the calls at once are counted. 0 disables the "
                      "monitor: no call is refused for overload."},
    {.szName = "gateway.calls.monitor.setAlarmThreshold",
     .type = ParameterValue::FLOAT_TYPE,
     .szDefault = "4500.0",
     .szLowest = "0.0",
     .szDescription = "New calls are refused when the average number of calls at once is equal or "
                      "greater to this value"},
    {.szName = "gateway.calls.monitor.resetAlarmThreshold",
     .type = ParameterValue::FLOAT_TYPE,
     .szDefault = "4000.0",
     .szLowest = "0.0",
     .szDescription = "New calls are taken again when the average number of calls at once goes "
                      "below this value"},
    {.szName = "gateway.calls.monitor.averageWindowSize",
     .type = ParameterValue::INT_TYPE,
     .szDefault = "3",
     .szLowest = "1",
     .szDescription = "The number of counts required to compute the average"},
    {.szName = OwnParameters::s_szMostCalls,
     .type = ParameterValue::INT_TYPE,
     .szDefault = "5000",
     .szLowest = "0",
     .szDescription = "The largest number of calls at once. More are refused with 503. 0 is no "
                      "limit"},
    {.szName = OwnParameters::s_szNewFromOneSource,
     .type = ParameterValue::INT_TYPE,
     .szDefault = "0",
     .szLowest = "0",
     .szHighest = "1000000",
     .szDescription = "How many new calls a second one IP address may make, and how many at once. "
                      "More are refused with 503. 0 is no limit, which a gateway needs to which "
                      "one proxy passes all calls"},
    {.szName = OwnParameters::s_szMemoryLimit,
     .type = ParameterValue::INT_TYPE,
     .szDefault = "1024",
     .szLowest = "0",
     .szDescription = "The resident memory of the gateway in MB above which new calls are refused "
                      "with 503. 0 is no limit"},
    {.szName = OwnParameters::s_szHeaderLimit,
     .type = ParameterValue::INT_TYPE,
     .szDefault = "1024",
     .szLowest = "0",
     .szDescription = "The length in bytes of a request's line, Via, From, To, Call-ID, CSeq, "
                      "Contact or Record-Route. A longer one is refused with 513. 0 is no limit"},
    {.szName = OwnParameters::s_szQueueLimit,
     .type = ParameterValue::INT_TYPE,
     .szDefault = "256",
     .szLowest = "0",
     .szHighest = "1000000",
     .szDescription = "New calls are refused with 503 while more kB of SIP wait to be received. An "
                      "INVITE takes about 2.3 kB. 0 is no limit"},
    {.szName = OwnParameters::s_szLateLimit,
     .type = ParameterValue::INT_TYPE,
     .szDefault = "100",
     .szLowest = "0",
     .szHighest = "60000",
     .szDescription = "New calls are refused with 503 while timers run later than this time in ms. "
                      "0 is no limit"},
    {.szName = OwnParameters::s_szFileLateLimit,
     .type = ParameterValue::INT_TYPE,
     .szDefault = "200",
     .szLowest = "0",
     .szHighest = "60000",
     .szDescription = "New calls are refused with 503 while a call waits longer for its log file "
                      "than this time in ms. 0 is no limit"},
    {.szName = OwnParameters::s_szFileThreads,
     .type = ParameterValue::INT_TYPE,
     .szDefault = "8",
     .szLowest = "4",
     .szHighest = "64",
     .szDescription =
         "The number of threads that open and close the log files of calls. If opening "
         "a file takes 5 ms, each opens 200 in a second"},
    {.szName = OwnParameters::s_szReceiveBuffer,
     .type = ParameterValue::INT_TYPE,
     .szDefault = "4096",
     .szLowest = "0",
     .szHighest = "1000000",
     .szDescription = "The size of the buffer in kB in which SIP waits to be received. Without the "
                      "right CAP_NET_ADMIN it is net.core.rmem_max at most. 0 leaves it as it is"},
    {.szName = OwnParameters::s_szStatusSocket,
     .type = ParameterValue::STRING_TYPE,
     .szDescription = "The path of the Unix socket at which gateway --status asks the running "
                      "gateway. Without it, there is none."},
    {.szName = OwnParameters::s_szMetricsFile,
     .type = ParameterValue::STRING_TYPE,
     .szDescription = "The path of the file of metrics, in the text format of Prometheus. A path "
                      "like /var/lib/node_exporter/gateway.prom is what the node exporter reads. "
                      "Without it, there is none."},
    {.szName = OwnParameters::s_szMetricsPeriod,
     .type = ParameterValue::INT_TYPE,
     .szDefault = "15",
     .szLowest = "1",
     .szHighest = "3600",
     .szDescription = "After how many seconds the file of metrics is replaced"},
    {.szName = OwnParameters::s_szRetryAfter,
     .type = ParameterValue::INT_TYPE,
     .szDefault = "5",
     .szLowest = "1",
     .szHighest = "3600",
     .szDescription = "After how many seconds a caller may try again who was refused for overload"},
};

} // namespace

bool OwnParameters::registerAll() { return ParameterInfoDB::registerParameters(s_parameters); }

} // namespace GatewayExample
