// The case of letters by ICU: the full mappings of Unicode, with which a text may become longer.

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
    if (U_FAILURE(error) && error != U_BUFFER_OVERFLOW_ERROR) {
      throw EConvertError(string("The case of the text cannot be changed: ") + u_errorName(error) + ".");
    }
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
  if (a == b) return true;
  UErrorCode error = U_ZERO_ERROR;
  return u_strCaseCompare(a.utf16().data(), Length32(a), b.utf16().data(), Length32(b), U_FOLD_CASE_DEFAULT, &error) ==
         0;
}

}  // namespace velmore
