// SPDX-License-Identifier: BSD-2-Clause

#pragma once

/// Forward declarations of Boost.Python classes. Headers that are included by programs which do not
/// script use this file, and so compile without Python's headers. A source that needs the complete
/// classes includes "velmora/python/BoostPython.h".

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
