#include "platform/os/uVqMimeTypes.h"

#include "platform/common/uVqSysUtils.h"

namespace velmore {
namespace {

struct TRow {
  const char* Extension;
  bool Usual;
  const char* Type;
};

#define VQ_MIME_TYPE(extension, usual, type) {extension, usual, type},
constexpr TRow kRows[] = {
#include "platform/os/uVqMimeTypes.inc"
};
#undef VQ_MIME_TYPE

}  // namespace

string VqGetFileMimeType(const string& AFileName) {
  const std::u16string_view path = AFileName.view();
  const std::size_t slash = path.find_last_of(u"/\\");
  const std::u16string_view name = slash == path.npos ? path : path.substr(slash + 1);
  const std::size_t dot = name.rfind(u'.');
  if (dot != name.npos && dot > 0) {
    const string extension = name.substr(dot + 1);
    for (const TRow& row : kRows) {
      if (SameText(extension, row.Extension)) return row.Type;
    }
  }
  return kVqDefaultMimeType;
}

string VqGetMimeTypeExtension(const string& AMimeType) {
  const string type = AMimeType.Copy(0, AMimeType.Pos(";")).Trim();
  for (const TRow& row : kRows) {
    if (row.Usual && SameText(type, row.Type)) return string(".") + row.Extension;
  }
  return {};
}

}  // namespace velmore
