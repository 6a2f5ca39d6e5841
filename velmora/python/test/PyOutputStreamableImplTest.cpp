// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/python/PyOutputStreamableImpl.h"

#include "tests/support/StartedPython.h"
#include "velmora/python/TSPyObjPtr.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

namespace Velmora::Test
{

namespace
{

namespace python = boost::python;

/// A class that a program exports. Writes a text.
class Note : public PyOutputStreamableImpl
{
  public:
    explicit Note(std::string in_strText) : m_strText(std::move(in_strText)) {}

    std::ostream& write(std::ostream& out_stream) const override
    {
        if (m_strText == "nothing to say")
            throw std::runtime_error(m_strText);
        // Waits forever if this thread holds the interpreter lock.
        enterOnAnotherThread();
        return out_stream << m_strText;
    }

  private:
    std::string m_strText;
};

void exportNote()
{
    PyOutputStreamableImpl::exportToPython();
    python::class_<Note, python::bases<PyOutputStreamableImpl>, boost::noncopyable>(
        "Note", python::init<std::string>());
}

/// Returns the text of a note as Python sees it.
std::string textInPython(const std::string& in_strText)
{
    const Note note(in_strText);
    const Python::InterpreterLock lock;
    return python::extract<std::string>(note.toPyString());
}

/// Returns the text of the `RuntimeError` that an expression raises in Python.
std::string errorOf(const std::string& in_strExpression)
{
    runScript("raised = 'nothing'\n"
              "try:\n"
              "    " +
              in_strExpression +
              "\n"
              "except RuntimeError as error:\n"
              "    raised = str(error)\n");
    return evaluate("raised");
}

} // namespace

TEST(PyOutputStreamableImpl, IsOutputStreamableByAVirtualBase)
{
    static_assert(std::is_base_of_v<OutputStreamable, PyOutputStreamableImpl>);
    static_assert(std::is_abstract_v<PyOutputStreamableImpl>);
    static_assert(sizeof(PyOutputStreamableImpl) == sizeof(void*));
    struct Both : PyOutputStreamableImpl, virtual OutputStreamable
    {
        std::ostream& write(std::ostream& out_stream) const override { return out_stream; }
    };
    const Both both;
    const OutputStreamable& theOnlyOne = both;
    static_cast<void>(theOnlyOne);
}

TEST(PyOutputStreamableImpl, GivesWhatItWritesAsAPythonString)
{
    const StartedPython python;
    EXPECT_EQ(textInPython("door open"), "door open");
    EXPECT_EQ(textInPython(""), "");
    EXPECT_EQ(textInPython("caf\xc3\xa9\n"), "caf\xc3\xa9\n");
}

TEST(PyOutputStreamableImpl, GivesTextBehindAZeroByteToo)
{
    const StartedPython python;
    const Note note(std::string("a\0b", 3));
    const Python::InterpreterLock lock;
    EXPECT_EQ(python::len(note.toPyString()), 3);
}

TEST(PyOutputStreamableImpl, ReplacesBytesThatUtf8CannotHold)
{
    const StartedPython python;
    EXPECT_EQ(textInPython("caf\xe9!"), "caf\xef\xbf\xbd!");
}

TEST(PyOutputStreamableImpl, ThrowsWhatWriteThrowsWithTheLockHeld)
{
    const StartedPython python;
    const Note note("nothing to say");
    const Python::InterpreterLock lock;
    EXPECT_THROW(static_cast<void>(note.toPyString()), std::runtime_error);
    EXPECT_TRUE(Python::InterpreterLock::isHeld());
}

TEST(PyOutputStreamableImplInPython, StrOfAnExportedObjectIsWhatItWrites)
{
    const StartedPython python;
    makeModule("ofTest", &exportNote);
    EXPECT_EQ(evaluate("str(ofTest.Note('door open'))"), "door open");
    EXPECT_EQ(evaluate("f\"{ofTest.Note('door open')}\""), "door open");
    EXPECT_EQ(evaluate("isinstance(ofTest.Note(''), ofTest.OutputStreamableImpl)"), "True");
}

TEST(PyOutputStreamableImplInPython, StrRaisesWhatWriteThrows)
{
    const StartedPython python;
    makeModule("ofTest", &exportNote);
    EXPECT_EQ(errorOf("str(ofTest.Note('nothing to say'))"), "nothing to say");
}

TEST(PyOutputStreamableImplInPython, IsNotMadeInPython)
{
    const StartedPython python;
    makeModule("ofTest", &exportNote);
    EXPECT_EQ(errorOf("ofTest.OutputStreamableImpl()"),
              "This class cannot be instantiated from Python");
}

TEST(PyOutputStreamableImplInPython, IsExportedToAnyNumberOfModulesWithoutAWarning)
{
    const StartedPython python;
    runScript("import warnings\nwarnings.simplefilter('error')");
    makeModule("ofTest", &exportNote);
    makeModule("another", &PyOutputStreamableImpl::exportToPython);
    makeModule("another", &PyOutputStreamableImpl::exportToPython);
    EXPECT_EQ(evaluate("ofTest.OutputStreamableImpl is another.OutputStreamableImpl"), "True");
    EXPECT_EQ(evaluate("another.OutputStreamableImpl.__str__(ofTest.Note('door'))"), "door");
}

} // namespace Velmora::Test
