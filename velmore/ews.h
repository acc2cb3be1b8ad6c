#pragma once

/// The library, by a name that collides with nobody's headers:
///
///     #include <velmore/ews.h>
///
/// The rows of properties and fields are thousands of names and stay out: include the family that you use, such as
/// <ews/schema/uVqEWSPropsFLD.h> for FLD_ITEM_SUBJECT.

#if defined(_MSVC_LANG) ? _MSVC_LANG < 202002L : __cplusplus < 202002L
#error "Velmore EWS is a library for C++20: compile with -std=c++20 (or /std:c++20, or CMake's cxx_std_20)."
#endif

#include "ews/VelmoreEWS.h"
