#include <iconv.h>

#include <cerrno>

#include "platform/http/uVqHTTPCharset_p.h"

namespace velmore {

bool VqDecodeCharset(std::string_view bytes, const std::string& charset, string& result) {
  const iconv_t converter = iconv_open("UTF-8", charset.c_str());
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the way in which iconv fails
  if (converter == reinterpret_cast<iconv_t>(-1)) return false;
  std::string utf8;
  char buffer[4096];
  auto* in = const_cast<char*>(bytes.data());
  std::size_t left = bytes.size();
  while (left > 0) {
    char* out = buffer;
    std::size_t room = sizeof buffer;
    const std::size_t done = iconv(converter, &in, &left, &out, &room);
    utf8.append(buffer, sizeof buffer - room);
    if (done != static_cast<std::size_t>(-1) || errno == E2BIG) continue;
    utf8 += "\xEF\xBF\xBD";
    if (errno != EILSEQ) break;
    ++in;
    --left;
  }
  iconv_close(converter);
  result = utf8;
  return true;
}

}  // namespace velmore
