#include "platform/common/uVqSecret.h"

namespace velmore {

namespace {

void WipeUnits(const string& text) noexcept {
  VqWipe(const_cast<char16_t*>(text.view().data()), text.size() * sizeof(char16_t));
}

}  // namespace

TVqSecret::TVqSecret(const string& AText) {
  if (AText.empty()) return;
  FHeld = std::shared_ptr<const string>(new string(AText), [](const string* held) {
    WipeUnits(*held);
    delete held;
  });
}

const string& TVqSecret::Text() const noexcept {
  static const string kNothing;
  return FHeld ? *FHeld : kNothing;
}

void VqWipe(void* AData, std::size_t ASize) noexcept {
  volatile auto* byte = static_cast<volatile unsigned char*>(AData);
  while (ASize-- > 0) *byte++ = 0;
}

void VqWipe(std::string& AText) noexcept {
  VqWipe(AText.data(), AText.size());
  AText.clear();
}

void VqWipe(string& AText) noexcept {
  WipeUnits(AText);
  AText.clear();
}

}  // namespace velmore
