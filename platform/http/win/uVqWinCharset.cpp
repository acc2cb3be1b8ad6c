#include <windows.h>

#include <limits>

#include "platform/http/uVqHTTPCharset_p.h"
#include "platform/http/uVqHTTPEngine_p.h"

namespace velmore {
namespace {

struct TCharset {
  const char* Name;
  UINT CodePage;
};
constexpr TCharset kCharsets[] = {
    {"iso-8859-2", 28592},   {"iso-8859-3", 28593},  {"iso-8859-4", 28594},
    {"iso-8859-5", 28595},   {"iso-8859-6", 28596},  {"iso-8859-7", 28597},
    {"iso-8859-8", 28598},   {"iso-8859-9", 28599},  {"iso-8859-13", 28603},
    {"iso-8859-15", 28605},  {"windows-874", 874},   {"windows-1250", 1250},
    {"windows-1251", 1251},  {"windows-1253", 1253}, {"windows-1254", 1254},
    {"windows-1255", 1255},  {"windows-1256", 1256}, {"windows-1257", 1257},
    {"windows-1258", 1258},  {"koi8-r", 20866},      {"koi8-u", 21866},
    {"shift_jis", 932},      {"windows-31j", 932},   {"euc-jp", 20932},
    {"iso-2022-jp", 50220},  {"gb2312", 936},        {"gbk", 936},
    {"gb18030", 54936},      {"big5", 950},          {"euc-kr", 949},
    {"ks_c_5601-1987", 949}, {"tis-620", 874},       {"ibm437", 437},
    {"ibm850", 850},         {"ibm852", 852},        {"ibm866", 866},
    {"macintosh", 10000},
};

}  // namespace

bool VqDecodeCharset(std::string_view bytes, const std::string& charset, string& result) {
  for (const TCharset& known : kCharsets) {
    if (!VqSameAscii(known.Name, charset)) continue;
    if (bytes.empty() || bytes.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) return false;
    const int length = static_cast<int>(bytes.size());
    const int units = MultiByteToWideChar(known.CodePage, 0, bytes.data(), length, nullptr, 0);
    if (units <= 0) return false;  // a Windows without this code page
    std::u16string text(static_cast<std::size_t>(units), u'\0');
    MultiByteToWideChar(known.CodePage, 0, bytes.data(), length, reinterpret_cast<wchar_t*>(text.data()), units);
    result = std::move(text);
    return true;
  }
  return false;
}

}  // namespace velmore
