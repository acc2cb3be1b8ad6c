#include "platform/xml/uVqStringStream.h"

#include "platform/xml/uVqCodePages_p.h"

namespace velmore {

TVqStringStream::TVqStringStream(std::int32_t ACodePage, std::size_t AInitialCapacity) : FCodePage(ACodePage) {
  detail::CheckCodePage(ACodePage);
  FBytes.reserve(AInitialCapacity);
}

TVqStringStream& TVqStringStream::Add(const TVqUtf8View& AText) {
  detail::EncodeText(FBytes, AText.View(), FCodePage, detail::TVqMisfit::mQuestionMark);
  return *this;
}

TVqStringStream& TVqStringStream::Add(std::string_view AText, std::int32_t ACodePage) {
  if (ACodePage == FCodePage) {
    FBytes.append(AText);
    return *this;
  }
  return Add(std::string_view(VqDecodeText(AText, ACodePage)));
}

string TVqStringStream::GetAsString() const {
  return FCodePage == kVqCodePageUtf8 ? string(FBytes) : string(VqDecodeText(FBytes, FCodePage));
}

void TVqStringStream::SetAsString(const TVqUtf8View& AText) {
  Clear();
  Add(AText);
}

}  // namespace velmore
