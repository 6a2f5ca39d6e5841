#pragma once

/// Names of Boost.Python for headers that programs include which do not script: such a header is
/// compiled without Python's headers. A source that does more than pass these on includes
/// "velmora/python/BoostPython.h".

namespace boost::python
{

namespace api
{
class object;
}
using api::object;

class list;
class str;

} // namespace boost::python
