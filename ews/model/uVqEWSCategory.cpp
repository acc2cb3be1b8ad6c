#include "ews/model/uVqEWSCategory.h"

#include <iterator>

#include "platform/xml/uVqXMLSchema.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {
namespace {

struct TColour {
  std::uint8_t Red, Green, Blue;
};

constexpr TColour kColours[] = {
    {0xD6, 0x25, 0x2E},  // 0
    {0xF0, 0x6C, 0x15},  // 1
    {0xFF, 0xCA, 0x4C},  // 2
    {0xFF, 0xFE, 0x3D},  // 3
    {0x4A, 0xB6, 0x3F},  // 4
    {0x40, 0xBD, 0x95},  // 5
    {0x85, 0x9A, 0x52},  // 6
    {0x32, 0x67, 0xB8},  // 7
    {0x61, 0x3D, 0xB4},  // 8
    {0xA3, 0x4E, 0x78},  // 9
    {0xC4, 0xCC, 0xDD},  // 10
    {0x8C, 0x9C, 0xBD},  // 11
    {0xC4, 0xC4, 0xC4},  // 12
    {0xA5, 0xA5, 0xA5},  // 13
    {0x1C, 0x1C, 0x1C},  // 14
    {0xAF, 0x1E, 0x25},  // 15
    {0xB1, 0x4F, 0x0D},  // 16
    {0xAB, 0x7B, 0x05},  // 17
    {0x99, 0x94, 0x00},  // 18
    {0x35, 0x79, 0x2B},  // 19
    {0x2E, 0x7D, 0x64},  // 20
    {0x5F, 0x6C, 0x3A},  // 21
    {0x2A, 0x51, 0x91},  // 22
    {0x50, 0x32, 0x8F},  // 23
    {0x82, 0x37, 0x5F},  // 24
};
static_assert(std::size(kColours) == 25);

constexpr std::uint16_t kCtrlKey = 0x4000;
constexpr std::uint16_t kKeyF1 = 0x70;

}  // namespace

TVqEWSCategory::TVqEWSCategory(const IVqDOMElement& AElement) : FElement(AElement) {
  Read();
}

void TVqEWSCategory::Read() {
  FName = FElement.GetAttribute("name");
  // An absent attribute reads as 0, which is a colour and no short cut; one without a number in it is neither.
  const auto number = [this](const char* name) {
    return FElement.HasAttribute(name) ? VqXMLToIntDef(FElement.GetAttribute(name), -1) : 0;
  };
  const std::int32_t color = number("color");
  const std::int32_t key = number("keyboardShortcut");
  FColor = 0xFFFFFF;
  if (color >= 0 && color < static_cast<std::int32_t>(std::size(kColours))) {
    const TColour& colour = kColours[color];
    FColor = colour.Red | std::uint32_t{colour.Green} << 8 | std::uint32_t{colour.Blue} << 16;
  }
  FShortCut = key >= 1 && key <= 11 ? static_cast<std::uint16_t>(kCtrlKey + kKeyF1 + key) : std::uint16_t{0};
}

string TVqEWSCategory::Serialize(TVqDataSerializationFormatType AFormat) const {
  return TVqXMLSchemaElement(FElement).Serialize(AFormat);
}

void TVqEWSCategory::Deserialize(TVqDataSerializationFormatType AFormat, const string& AText) {
  TVqXMLSchemaElement(FElement).Deserialize(AFormat, AText);
  Read();
}

string TVqEWSCategory::AsXML(const string& ATargetNamespace, bool AExcludeNamespaces) const {
  return TVqXMLSchemaElement(FElement).AsXML(ATargetNamespace, AExcludeNamespaces);
}

string TVqEWSCategory::AsJSON() const {
  return TVqXMLSchemaElement(FElement).AsJSON();
}

}  // namespace velmore
