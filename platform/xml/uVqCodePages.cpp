// Code pages: what documents call them, and texts in them. The tables and the conversions are the system's (icu/,
// win/).

#include "platform/xml/uVqCodePages_p.h"
#include "platform/xml/uVqStringStream.h"
#include "platform/xml/uVqXMLScan_p.h"

namespace velmore {
namespace detail {
namespace {

struct TVqPage {
  std::int32_t CodePage;
  const char* Name;  // in a declaration
};
constexpr TVqPage kPages[] = {
    {kVqCodePageUtf8, "utf-8"},        {kVqCodePageUtf16LE, "utf-16"},    {kVqCodePageUtf16BE, "utf-16"},
    {kVqCodePage1252, "windows-1252"}, {kVqCodePageLatin1, "iso-8859-1"}, {kVqCodePageAscii, "us-ascii"},
};

const TVqPage* FindPage(std::int32_t codePage) noexcept {
  for (const TVqPage& page : kPages) {
    if (page.CodePage == codePage) return &page;
  }
  return nullptr;
}

}  // namespace

void CheckCodePage(std::int32_t codePage) {
  if (!FindPage(codePage)) throw EConvertError(Format("The code page %d is not supported.", {codePage}));
}

std::string_view EncodingName(std::int32_t codePage) {
  const TVqPage* page = FindPage(codePage);
  return page ? page->Name : kPages[0].Name;
}

void EncodeText(std::string& out, std::string_view utf8, std::int32_t codePage, TVqMisfit misfit) {
  CheckCodePage(codePage);
  if (codePage == kVqCodePageUtf8) {
    out.append(utf8);
  } else {
    EncodeUnits(out, VqToUtf16(utf8), codePage, misfit);
  }
}

}  // namespace detail

std::int32_t VqGetCodePage(TVqStream& AStream) {
  constexpr std::size_t kDeclaration = 256;  // longer than any that tells an encoding
  char bytes[kDeclaration];
  const std::uint64_t position = AStream.GetPosition();
  std::size_t length = 0;
  for (std::size_t got = 1; got > 0 && length < kDeclaration; length += got)
    got = AStream.Read(bytes + length, kDeclaration - length);
  AStream.SetPosition(position);
  const std::string_view head(bytes, length);
  if (head.starts_with("\xEF\xBB\xBF")) return kVqCodePageUtf8;
  if (head.starts_with("\xFF\xFE") || head.starts_with(std::string_view("<\0", 2))) return kVqCodePageUtf16LE;
  if (head.starts_with("\xFE\xFF") || head.starts_with(std::string_view("\0<", 2))) return kVqCodePageUtf16BE;
  try {
    const std::int32_t declared = detail::CodePageOfEncoding(detail::ReadDeclaration(head).Encoding);
    // Bytes that spell "<" in one byte are no UTF-16, whatever they say.
    return declared == kVqCodePageUtf16LE || declared == kVqCodePageUtf16BE ? 0 : declared;
  } catch (const EVqXMLError&) {
    return 0;  // the parser will tell what is wrong with it
  }
}

std::string VqEncodeText(std::string_view AUtf8, std::int32_t ACodePage) {
  std::string out;
  detail::EncodeText(out, AUtf8, ACodePage, detail::TVqMisfit::mQuestionMark);
  return out;
}

std::string VqDecodeText(std::string_view ABytes, std::int32_t ACodePage) {
  std::string out;
  detail::DecodeText(out, ABytes, ACodePage, false);
  return out;
}

}  // namespace velmore
