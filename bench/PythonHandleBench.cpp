// What it costs to copy and drop a handle to a Python object on a thread that is not inside Python,
// beside an object of pybind11 whose copy and whose drop take the interpreter lock each.

#include "velmora/python/TSPyObjPtr.h"

#include <benchmark/benchmark.h>
#include <pybind11/pybind11.h>

#include <cstdlib>
#include <optional>
#include <thread>

using namespace Velmora;

namespace
{

void startPython()
{
    PyConfig config;
    PyConfig_InitIsolatedConfig(&config);
    if (PyStatus_Exception(Py_InitializeFromConfig(&config)) != 0)
        std::abort();
    PyConfig_Clear(&config);
    // Keeps the state of the thread that asks for them first, which has to stay.
    pybind11::detail::get_internals();
    PyEval_SaveThread();
}

/// One object, held by both. Python starts on a thread that ends, so that no thread of a benchmark
/// has a state in Python to begin with.
struct HeldObject
{
    HeldObject()
    {
        std::thread(&startPython).join();
        const pybind11::gil_scoped_acquire lock;
        m_pybind = pybind11::list();
        m_ours = boost::python::object(boost::python::borrowed(m_pybind.ptr()));
    }

    pybind11::object m_pybind;
    TSPyObjPtr m_ours;

    static const HeldObject& get()
    {
        // Never destroyed: Python is not ended.
        static const HeldObject* const s_pObject = new HeldObject;
        return *s_pObject;
    }
};

void copyOurs(benchmark::State& out_state)
{
    const TSPyObjPtr& pHandle = HeldObject::get().m_ours;
    for ([[maybe_unused]] auto _ : out_state)
    {
        TSPyObjPtr pCopy(pHandle);
        benchmark::DoNotOptimize(pCopy);
    }
}

void copyPybind(benchmark::State& out_state)
{
    const pybind11::object& object = HeldObject::get().m_pybind;
    for ([[maybe_unused]] auto _ : out_state)
    {
        std::optional<pybind11::object> copy;
        {
            const pybind11::gil_scoped_acquire lock;
            copy.emplace(object);
        }
        benchmark::DoNotOptimize(copy);
        const pybind11::gil_scoped_acquire lock;
        copy.reset();
    }
}

BENCHMARK(copyOurs)->Name("pythonHandle/ours");
BENCHMARK(copyPybind)->Name("pythonHandle/pybind11");
BENCHMARK(copyOurs)->Name("pythonHandleBoth/ours")->Threads(2)->UseRealTime();
BENCHMARK(copyPybind)->Name("pythonHandleBoth/pybind11")->Threads(2)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
