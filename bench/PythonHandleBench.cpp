// SPDX-License-Identifier: BSD-2-Clause

// The cost of copying and dropping a handle to a Python object on a thread that does not hold the
// interpreter lock, beside an object of pybind11 whose copy and drop each take that lock.

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
    // pybind11 keeps the state of the first thread that asks for its internals, so that state must
    // stay.
    pybind11::detail::get_internals();
    PyEval_SaveThread();
}

/// One object, held by both handles. Python is started on a thread that ends, so that no thread of
/// a benchmark has a Python thread state at first.
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
