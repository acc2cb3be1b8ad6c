#include "ews/items/uVqEWSInlineImages_p.h"

#include <algorithm>
#include <filesystem>
#include <memory>

#include "platform/common/uVqNetEncoding.h"
#include "platform/os/uVqMimeTypes.h"

namespace velmore {
namespace {

/// Walks a text; everything behind the end is the end.
class TCursor {
 public:
  explicit TCursor(const std::string& text) : FText(text) {}

  bool AtEnd() const { return FAt >= FText.size(); }
  std::size_t Position() const { return FAt; }
  char Peek() const { return AtEnd() ? '\0' : FText[FAt]; }
  std::string_view Peek(std::size_t count) const { return std::string_view(FText).substr(FAt, count); }
  void Step() { FAt = std::min(FAt + 1, FText.size()); }
  void SkipTo(std::string_view any) { FAt = std::min(FText.find_first_of(any, FAt), FText.size()); }
  void Skip(char what) {
    while (Peek() == what && !AtEnd()) Step();
  }
  std::string From(std::size_t mark) const { return FText.substr(mark, FAt - mark); }

 private:
  const std::string& FText;
  std::size_t FAt = 0;
};

bool SameAscii(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  return std::ranges::equal(a, b, {}, lower, lower);
}

struct TImage {
  string MimeType;
  std::unique_ptr<TVqStream> Content;
};

/// The picture whose source begins at the cursor, which then stands behind its value; no content when it is to be left
/// alone.
TImage ReadImage(TCursor& cursor, const std::string& scheme, const TVqInlineImages& images, std::size_t value) {
  if (cursor.Peek() != ':') return {};
  cursor.Step();
  if (scheme == "data") {
    std::size_t mark = cursor.Position();
    cursor.SkipTo(",");
    std::string type = cursor.From(mark);
    const std::size_t parameters = std::min(type.find(';'), type.size());
    // Without parameters, base64 is what is meant; another encoding than that is another matter, and left alone.
    if (parameters < type.size() && !SameAscii(std::string_view(type).substr(type.rfind(';')), ";base64")) return {};
    type.resize(parameters);
    cursor.Step();
    mark = cursor.Position();
    cursor.SkipTo("\"");
    return {type, std::make_unique<TVqMemoryStream>(VqBase64Decode(cursor.From(mark)))};
  }
  if (scheme == "file") {
    // The slashes belong to the notation; the last one begins the absolute path, unless a drive's letter does.
    while (cursor.Peek(2) == "//") cursor.Step();
    const std::size_t mark = cursor.Position();
    cursor.SkipTo("\"");
    std::string path = cursor.From(mark);
    if (path.size() > 2 && path[2] == ':') path.erase(0, 1);
    if (!images.TakesFile(cursor.From(value))) return {};
    std::error_code error;
    if (!std::filesystem::is_regular_file(std::filesystem::path(string(path).utf16()), error)) return {};
    return {VqGetFileMimeType(path), std::make_unique<TVqFileStream>(path, TVqFileMode::fmOpenRead)};
  }
  return {};
}

}  // namespace

bool VqMoveInlineImages(const std::string& AHtml, std::string& AOutput, const TVqInlineImages& AImages) {
  TCursor cursor(AHtml);
  std::string output;
  std::size_t written = 0;
  for (std::int32_t number = 0; !cursor.AtEnd();) {
    cursor.Step();  // first, so that a picture at the very beginning is left alone
    cursor.SkipTo("<");
    if (!SameAscii(cursor.Peek(5), "<img ")) continue;
    cursor.SkipTo("sS");
    std::size_t mark = cursor.Position();
    cursor.SkipTo("=>");
    std::string attribute = cursor.From(mark);
    std::erase(attribute, ' ');
    if (!SameAscii(attribute, "src")) continue;
    cursor.SkipTo("\"");
    cursor.Step();
    const std::size_t value = cursor.Position();
    cursor.SkipTo(":\"");
    TImage image = ReadImage(cursor, cursor.From(value), AImages, value);
    if (!image.Content) continue;
    string name;
    do {
      name = kInlineImageName + IntToStr(number++);
    } while (AImages.IsTaken(name.utf8()));
    AImages.Take(name, image.MimeType, std::move(image.Content));
    output.append(AHtml, written, value - written).append("cid:").append(name.utf8());
    written = cursor.Position();
  }
  if (output.empty()) return false;
  AOutput = output.append(AHtml, written, std::string::npos);
  return true;
}

bool VqShowsInlineImage(std::string_view AHtml, const std::string& AName) {
  const std::string source = "cid:" + AName;
  for (std::size_t at = AHtml.find(source); at != std::string_view::npos; at = AHtml.find(source, at + 1)) {
    const std::size_t behind = at + source.size();
    if (behind == AHtml.size() || AHtml[behind] < '0' || AHtml[behind] > '9') return true;
  }
  return false;
}

}  // namespace velmore
