#include "platform/http/internal/uVqHTTPText.h"

#include <algorithm>

namespace velmore {

string VqShownText(const string& text, std::size_t most) {
  const auto control = [](char16_t unit) { return unit < u' ' || (unit >= 0x7F && unit < 0xA0); };
  const string cut = VqCutText(text, most);
  std::u16string shown(cut.view());
  std::replace_if(shown.begin(), shown.end(), control, u' ');
  return shown;
}

string VqCutText(const string& text, std::size_t most) {
  if (most == 0 || text.size() <= most) return text;
  std::u16string_view begin = text.view().substr(0, most);
  // Not in the middle of a pair.
  if (begin.back() >= 0xD800 && begin.back() < 0xDC00) begin.remove_suffix(1);
  return std::u16string(begin) + u"...";
}

string VqShownAddress(const string& address, std::size_t most) {
  std::u16string_view rest = address.view();
  rest = rest.substr(0, rest.find_first_of(u"?#"));
  const std::size_t scheme = rest.find(u"//");
  const bool leads =
      scheme != std::u16string_view::npos && rest.substr(0, scheme).find(u'@') == std::u16string_view::npos;
  const std::size_t start = leads ? scheme + 2 : 0;
  std::u16string shown(rest.substr(0, start));
  rest.remove_prefix(start);
  // A backslash is a slash to many a program, and a password may hold either: nothing up to the last "@" is shown.
  if (const std::size_t at = rest.rfind(u'@'); at != std::u16string_view::npos) rest.remove_prefix(at + 1);
  return VqShownText(shown.append(rest), most);
}

}  // namespace velmore
