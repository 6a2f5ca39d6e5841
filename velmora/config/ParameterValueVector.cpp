// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/ParameterValueVector.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/LibraryLoggers.h"
#include "velmora/system/QuietStream.h"

#include <istream>
#include <locale>
#include <new>
#include <sstream>
#include <string>
#include <utility>

VELMORA_LIBRARY_FILE_SCOPE_LOGGER_OF(Parameter)

namespace Velmora
{

void ParameterValueVector::initFrom(const ParameterValue& in_value)
{
    if (in_value.getType() == ParameterValue::STRING_TYPE)
    {
        std::istringstream text{std::string(static_cast<const char*>(in_value))};
        // The classic locale decides what a blank is.
        text.imbue(std::locale::classic());
        text >> *this;
        // A stream sets badbit if there is no memory for a token. That is not the end of the list.
        if (text.bad())
            throw std::bad_alloc();
    }
    else if (in_value.defined())
        *this = ParameterValueVector(1, in_value); // the value may be an element of this vector
    else
        clear();
}

std::istream& operator>>(std::istream& in_stream, ParameterValueVector& out_values)
{
    out_values.clear();
    // Reading past the last value sets the failbit, which is not a failure of the list.
    QuietStream quiet(in_stream);
    ParameterValue value;
    while (in_stream >> value)
        out_values.push_back(std::move(value));
    // At the end of the text, the state of the stream only says that there are no more values.
    if (in_stream.eof())
        in_stream.clear();
    VELMORA_FILE_ASSERT_TEXT(!in_stream.fail(), "is != 0");
    quiet.end();
    return in_stream;
}

} // namespace Velmora
