#include "platform/common/uVqSerializer.h"

#include <algorithm>

namespace velmore {

std::string_view VqEnumTextOf(const TVqEnumInfo& info, std::int32_t value) {
  if (value < 0 || value >= info.Count) {
    throw EConvertError(Format("%d is no value of %s.", {value, string(info.Name)}));
  }
  return info.Texts[value];
}

std::int32_t VqEnumValueOf(const TVqEnumInfo& info, std::string_view text) noexcept {
  for (std::int32_t i = 0; i < info.Count; ++i) {
    if (info.Texts[i] == text) return i;
  }
  return -1;
}

std::uint64_t VqSetBitsOf(const TVqEnumInfo& info, std::string_view text) noexcept {
  constexpr std::string_view kSeparators = "[], \t\r\n";
  std::uint64_t bits = 0;
  for (std::size_t from = 0; (from = text.find_first_not_of(kSeparators, from)) != text.npos;) {
    const std::size_t to = std::min(text.find_first_of(kSeparators, from), text.size());
    const std::int32_t value = VqEnumValueOf(info, text.substr(from, to - from));
    if (value >= 0 && value < 64) bits |= std::uint64_t{1} << value;
    from = to;
  }
  return bits;
}

std::string VqSetTextOf(const TVqEnumInfo& info, std::uint64_t bits, std::string_view open, char separator,
                        std::string_view close) {
  std::string text(open);
  for (std::int32_t i = 0; i < info.Count && i < 64; ++i) {
    if (!(bits >> i & 1)) continue;
    if (text.size() > open.size()) text += separator;
    text += info.Texts[i];
  }
  return text += close;
}

}  // namespace velmore
