#include "platform/os/uVqEnvironment.h"

#include "platform/os/uVqEnvironment_p.h"

namespace velmore {

string VqExpandEnvironment(const string& AText, const TVqEnvironmentLookup& ALookup) {
  string out;
  std::size_t start = 0;
  for (;;) {
    const std::size_t open = AText.Pos("%", start);
    const std::size_t close = open == string::npos ? string::npos : AText.Pos("%", open + 1);
    if (close == string::npos) return out += AText.Copy(start);
    const string name = AText.Copy(open + 1, close - open - 1);
    std::optional<string> value = name.empty() ? std::nullopt : ALookup(name);
    if (!value) value = VqSubstituteVariable(name, ALookup);
    out += AText.Copy(start, open - start);
    if (value) {
      out += *value;
      start = close + 1;
    } else {
      out += AText.Copy(open, close - open);  // the second sign may open another name
      start = close;
    }
  }
}

std::optional<string> VqTryExpandPath(const string& APath) {
  const string expanded = VqExpandEnvironment(APath);
  if (expanded.empty()) return {};
  for (std::size_t open = APath.Pos("%"); open != string::npos;) {
    const std::size_t close = APath.Pos("%", open + 1);
    if (close == string::npos) break;
    if (close > open + 1 && expanded.Contains(APath.Copy(open, close - open + 1))) return {};
    open = close;
  }
  return VqNativePath(expanded);
}

}  // namespace velmore
