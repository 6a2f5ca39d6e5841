// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/python/module/KnownParameters.h"

#include "velmora/config/Parameter.h"
#include "velmora/config/ParameterBounds.h"
#include "velmora/config/ParameterInfoDB.h"
#include "velmora/config/ProgramParameter.h"
#include "velmora/python/BoostPython.h"
#include "velmora/python/InterpreterLock.h"
#include "velmora/system/LevinsteinDistanceScan.h"

#include <deque>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

namespace py = boost::python;

namespace Velmora
{

namespace
{

/// Returns type, bounds, whether it is deprecated, and the description; None for an unknown name.
py::object parameterInfo(const std::string& in_strName)
{
    ParameterInfo info;
    if (!ParameterInfoDB::getInstance().retrieve(in_strName.c_str(), info))
        return {};
    ParameterBounds bounds;
    ParameterInfoDB::retrieveBounds(in_strName.c_str(), bounds);
    std::ostringstream written;
    written.imbue(std::locale::classic());
    written << bounds;
    return py::make_tuple(ParameterValue::getTypeAsString(info.m_type), written.str(),
                          info.m_bDeprecated, info.m_strDescription);
}

py::list parameterNames()
{
    std::vector<ParameterInfoWithName> infos;
    ParameterInfoDB::getInstance().retrieve("", infos);
    py::list names;
    for (const ParameterInfoWithName& info : infos)
        names.append(info.m_strName);
    return names;
}

std::string closestParameterName(const std::string& in_strName)
{
    std::string strClosest;
    ParameterInfoDB::getInstance().validateParamName(in_strName.c_str(), strClosest);
    // As in the lines of the log, a name with more differences is not meant.
    constexpr std::size_t uiPart = 3;
    if (strClosest.empty() ||
        LevinsteinDistanceScan(in_strName).distance(strClosest) > in_strName.size() / uiPart)
        return {};
    return strClosest;
}

bool parameterFits(const std::string& in_strName, const std::string& in_strValue)
{
    // A text that gives no value is logged, and an appender may wait for a thread that waits for
    // Python.
    const Python::InterpreterUnlock unlock;
    ParameterInfo info;
    if (!ParameterInfoDB::getInstance().retrieve(in_strName.c_str(), info))
        return false;
    Parameter parameter;
    if (parameter.initValueFromText(in_strValue.c_str(), info.m_type) != INIT_OK)
        return false;
    ParameterBounds bounds;
    ParameterInfoDB::retrieveBounds(in_strName.c_str(), bounds);
    return !bounds.defined() || bounds.contain(parameter.getValue());
}

/// A text that a row points to; null for None.
const char* kept(const py::object& in_text, std::deque<std::string>& out_texts)
{
    return in_text.is_none() ? nullptr
                             : out_texts.emplace_back(py::extract<std::string>(in_text)()).c_str();
}

bool registerParameters(const py::object& in_rows)
{
    std::deque<std::string> texts;
    std::vector<ProgramParameter> rows;
    for (py::stl_input_iterator<py::object> row(in_rows), end; row != end; ++row)
    {
        const py::object& fields = *row;
        rows.push_back(
            {.szName = kept(fields[0], texts),
             .type = ParameterValue::parseTypeString(py::extract<std::string>(fields[1])().c_str()),
             .szLowest = kept(fields[2], texts),
             .szHighest = kept(fields[3], texts)});
    }
    const Python::InterpreterUnlock unlock;
    return ParameterInfoDB::registerParameters(rows);
}

} // namespace

void KnownParameters::exportToPython()
{
    py::def("parameterInfo", parameterInfo, py::arg("name"));
    py::def("parameterNames", parameterNames);
    py::def("closestParameterName", closestParameterName, py::arg("name"));
    py::def("parameterFits", parameterFits, (py::arg("name"), py::arg("value")));
    py::def("registerParameters", registerParameters, py::arg("rows"));
}

} // namespace Velmora
