// SPDX-License-Identifier: BSD-2-Clause

// The cost of reading a parameter's value from text, beside stream extraction.

#include "velmora/config/Parameter.h"
#include "velmora/config/test/StreamExtractionOracle.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <iterator>

using namespace Velmora;

namespace
{

constexpr const char* s_texts[] = {
    // integers
    "0", "1", " 42 ", "5060", "65535", "-1", " -300", "2147483647", "+17",
    // hexadecimal and octal integers
    "0x1F", " 0xdeadbeef", "0644", "010 ",
    // floats
    "90.0", "0.5", " 1e-3 ", "-273.15", "3.14159265", ".25", "12345678901234",
    // bools
    "true", "false", " TRUE ", "False",
    // strings
    "INFO", "/var/log/keswardin/gateway.log", " 10.0.0.1 ", "sip:alice@example.org",
    "%d{%Y-%m-%d %H:%M:%S,%q} [%t] %-5p %c - %m%n", "", "a few words", "velmora.infra.Service2"};

template <class Reader>
void readAll(benchmark::State& out_state, Reader in_read)
{
    ParameterValue value;
    for ([[maybe_unused]] auto _ : out_state)
    {
        for (const char* const szText : s_texts)
        {
            in_read(value, szText);
            benchmark::DoNotOptimize(value);
        }
    }
    out_state.SetItemsProcessed(static_cast<std::int64_t>(out_state.iterations()) *
                                static_cast<std::int64_t>(std::size(s_texts)));
}

void initFromTextOurs(benchmark::State& out_state)
{
    readAll(out_state, [](ParameterValue& out_value, const char* in_szText)
            { out_value.initFromText(in_szText, ParameterValue::UNDEF_TYPE, true); });
}

void initFromTextStream(benchmark::State& out_state)
{
    Test::StreamExtractionOracle oracle;
    readAll(out_state, [&oracle](ParameterValue& out_value, const char* in_szText)
            { oracle.initFromText(out_value, in_szText, ParameterValue::UNDEF_TYPE, true); });
}

BENCHMARK(initFromTextOurs)->Name("initFromText/ours");
BENCHMARK(initFromTextStream)->Name("initFromText/stream");

} // namespace

BENCHMARK_MAIN();
