// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/python/PyOutputStreamableImpl.h"

#include "velmora/python/BoostPython.h"
#include "velmora/python/ExportedClass.h"
#include "velmora/python/InterpreterLock.h"
#include "velmora/system/WholeText.h"

#include <ostream>
#include <string>

namespace Velmora
{

namespace
{

/// Returns the text of the object, written without the interpreter lock.
std::string textOf(const OutputStreamable& in_object)
{
    const Python::InterpreterUnlock unlock;
    return wholeText([&in_object](std::ostream& out_stream) { in_object.write(out_stream); });
}

} // namespace

PyOutputStreamableImpl::~PyOutputStreamableImpl() = default;

const boost::python::str PyOutputStreamableImpl::toPyString() const
{
    const std::string strText = textOf(*this);
    return boost::python::str(boost::python::handle<>(
        PyUnicode_DecodeUTF8(strText.data(), static_cast<Py_ssize_t>(strText.size()), "replace")));
}

void PyOutputStreamableImpl::exportToPython()
{
    using boost::python::class_;
    static constexpr const char* s_szName = "OutputStreamableImpl";
    if (!Python::addExportedClass<PyOutputStreamableImpl>(s_szName))
        class_<PyOutputStreamableImpl, boost::noncopyable>(s_szName, boost::python::no_init)
            .def("__str__", &PyOutputStreamableImpl::toPyString);
}

} // namespace Velmora
