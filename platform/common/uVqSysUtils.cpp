#include "platform/common/uVqSysUtils.h"

#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <limits>

namespace velmore {
namespace {

std::int32_t Length32(const string& text) {
  if (text.Length() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
    throw EConvertError("The text is too long.");
  }
  return static_cast<std::int32_t>(text.Length());
}

template <typename Convert>
string Mapped(const string& text, Convert convert) {
  std::u16string out(text.Length(), u'\0');
  for (int attempt = 0; attempt < 2; ++attempt) {  // the second one has the size that the first one found
    UErrorCode error = U_ZERO_ERROR;
    const std::int32_t length =
        convert(out.data(), static_cast<std::int32_t>(out.size()), text.utf16().data(), Length32(text), &error);
    const bool fits = static_cast<std::size_t>(length) <= out.size();
    out.resize(static_cast<std::size_t>(length));
    if (fits) break;
  }
  return out;
}

}  // namespace

string UpperCase(const string& text) {
  return Mapped(text, [](char16_t* out, std::int32_t capacity, const char16_t* in, std::int32_t length,
                         UErrorCode* error) { return u_strToUpper(out, capacity, in, length, "", error); });
}

string LowerCase(const string& text) {
  return Mapped(text, [](char16_t* out, std::int32_t capacity, const char16_t* in, std::int32_t length,
                         UErrorCode* error) { return u_strToLower(out, capacity, in, length, "", error); });
}

bool SameText(const string& a, const string& b) {
  UErrorCode error = U_ZERO_ERROR;
  return u_strCaseCompare(a.utf16().data(), Length32(a), b.utf16().data(), Length32(b), U_FOLD_CASE_DEFAULT, &error) ==
         0;
}

string IntToStr(std::int64_t value) {
  return std::to_string(value);
}

string Format(const string& format, const std::vector<TVqFormatArg>& args) {
  std::u16string out;
  std::size_t next = 0;
  for (std::size_t i = 0; i < format.Length(); ++i) {
    const char16_t unit = format[i];
    const char16_t kind = i + 1 < format.Length() ? format[i + 1] : u'\0';
    if (unit != u'%' || (kind != u's' && kind != u'd' && kind != u'%')) {
      out += unit;
      continue;
    }
    ++i;
    if (kind == u'%') {
      out += u'%';
      continue;
    }
    if (next >= args.size()) throw EConvertError("The format \"" + format + "\" has more placeholders than arguments.");
    out += args[next++].Text().utf16();
  }
  return out;
}

}  // namespace velmore
