#pragma once

// Boost.Python and Python's own header, for the sources that must have them. Included in place of
// <boost/python.hpp>, which would
// - note that it uses deprecated headers of Boost's own, and placeholders in the global namespace;
// - give each source a static object with a destructor, the `_` of slices, which counts None
// without
//   the interpreter lock when the process ends. A source that writes slices with it includes
//   <boost/python.hpp> before this.

#ifndef BOOST_BIND_GLOBAL_PLACEHOLDERS
#define BOOST_BIND_GLOBAL_PLACEHOLDERS
#endif
#ifndef BOOST_ALLOW_DEPRECATED_HEADERS
#define BOOST_ALLOW_DEPRECATED_HEADERS
#endif

// Boost.Python leaves its static object `_` out where a macro has its name, as gettext's has.
#pragma push_macro("_")
#undef _
#define _(text) text

#include <boost/python.hpp>

#pragma pop_macro("_")
