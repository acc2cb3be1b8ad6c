#include "platform/xml/uVqStringStream.h"

#include <algorithm>
#include <cstring>

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

void TVqStringStream::Clear() noexcept {
  FBytes.clear();
  FPosition = 0;
}

std::size_t TVqStringStream::Read(void* buffer, std::size_t count) {
  if (FPosition >= FBytes.size()) return 0;
  const std::size_t length = std::min(count, FBytes.size() - static_cast<std::size_t>(FPosition));
  std::memcpy(buffer, FBytes.data() + FPosition, length);
  FPosition += length;
  return length;
}

void TVqStringStream::Write(const void* buffer, std::size_t count) {
  if (count == 0) return;
  const auto position = static_cast<std::size_t>(FPosition);
  if (position > FBytes.size()) FBytes.resize(position, '\0');
  FBytes.replace(position, std::min(count, FBytes.size() - position), static_cast<const char*>(buffer), count);
  FPosition += count;
}

}  // namespace velmore
