#pragma once
// What the library says and throws, in Python's terms.
#include <pybind11/pybind11.h>

namespace vesk3d_python {

// Sends the library's message lines to the logger "vesk3d" (errors as ERROR, warnings as WARNING,
// information as INFO, dumps as DEBUG) instead of standard output; from interpreter exit on,
// they are dropped.
void routeMessagesToLogging();

// Adds vesk3d.VeskError, a RuntimeError carrying the failed condition and its source position,
// and translates every VESK3D::VeskException into it.
void registerVeskError(pybind11::module_& module);

} // namespace vesk3d_python
