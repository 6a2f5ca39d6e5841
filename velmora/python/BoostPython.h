// SPDX-License-Identifier: BSD-2-Clause

#pragma once

// Includes Boost.Python and Python's own header, for the sources that need them. Include this file
// instead of <boost/python.hpp>, for two reasons.
//
// It suppresses Boost's notes about deprecated headers and about placeholders in the global
// namespace.
//
// It keeps out the static object `_`, with which slices are written. Each source would have one,
// whose destructor changes the reference count of None without the interpreter lock when the
// process ends. A source that needs `_` includes <boost/python.hpp> before this file.

#ifndef BOOST_BIND_GLOBAL_PLACEHOLDERS
#define BOOST_BIND_GLOBAL_PLACEHOLDERS
#endif
#ifndef BOOST_ALLOW_DEPRECATED_HEADERS
#define BOOST_ALLOW_DEPRECATED_HEADERS
#endif

// Boost.Python does not define its static object `_` if there is a macro of that name, such as that
// of gettext.
#pragma push_macro("_")
#undef _
#define _(text) text

#include <boost/python.hpp>

#pragma pop_macro("_")
