#pragma once

// How values of a field are ordered: by their published type.

#include <cstdint>
#include <string>
#include <variant>

#include "simulator/mailbox/view.h"

namespace velmore::simulator {

/// A value in the form in which it is compared with others of its field: numbers, booleans and points in time as
/// numbers, enumerations by their place in the published list, texts as servers order them. An absent one comes first.
using Key = std::variant<std::monostate, std::int64_t, double, std::string>;
Key KeyOf(const std::string& value, const Path& path);

/// Order of texts in which neither case nor width (full, half) counts, marks do, and the sharp s is two of them.
std::string TextKey(const std::string& text);

/// Folds case and, if wanted, removes the marks of accented letters (Latin, Greek, Cyrillic).
std::string Fold(const std::string& text, bool ignore_case, bool ignore_marks);

}  // namespace velmore::simulator
