#include "platform/http/internal/uVqHTTPText.h"

#include <algorithm>

namespace velmore {

string VqShownText(const string& text, std::size_t most) {
  const auto control = [](char16_t unit) { return unit < u' ' || (unit >= 0x7F && unit < 0xA0); };
  std::u16string shown(text.view().substr(0, most == 0 ? text.size() : most));
  std::replace_if(shown.begin(), shown.end(), control, u' ');
  if (shown.size() < text.size()) {
    // Not in the middle of a pair.
    if (shown.back() >= 0xD800 && shown.back() < 0xDC00) shown.pop_back();
    shown += u"...";
  }
  return shown;
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
