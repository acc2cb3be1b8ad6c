#pragma once

/// The simulator, by a name that collides with nobody's headers:
///
///     #include <velmore/simulator.h>

#if defined(_MSVC_LANG) ? _MSVC_LANG < 202002L : __cplusplus < 202002L
#error "Velmore EWS is a library for C++20: compile with -std=c++20 (or /std:c++20, or CMake's cxx_std_20)."
#endif

#include "simulator/simulator.h"
