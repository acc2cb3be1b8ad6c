#include "ews/schema/uVqEWSShortString.h"

#include <mutex>
#include <unordered_set>

namespace velmore {
namespace {

// Entries are never removed, so that a text stays where it is for whoever holds it.
std::string_view Keep(std::string_view AText) {
  static std::mutex mutex;  // guards the pool
  static std::unordered_set<std::string>& pool = *new std::unordered_set<std::string>;
  const std::lock_guard lock(mutex);
  return *pool.emplace(AText).first;
}

}  // namespace

TVqShortString::TVqShortString(std::string_view AText) {
  if (AText.empty()) return;
  const std::string_view kept = Keep(AText.substr(0, Cut(AText)));
  FText = kept.data();
  FLength = static_cast<std::uint8_t>(kept.size());
}

TVqShortString::TVqShortString(const string& AText) : TVqShortString(std::string_view(AText.utf8())) {}

TVqShortString EWSShortName(const string& AText) {
  return TVqShortString(AText);
}
TVqShortString EWSShortNameEx(const string& AText) {
  return TVqShortString(AText);
}
string EWSShortNameToStr(TVqShortString AText) {
  return AText.ToString();
}

}  // namespace velmore
