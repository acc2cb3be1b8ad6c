#pragma once

/// One category of a mailbox's master list: a name with a colour and a shortcut.

#include <memory>

#include "platform/common/uVqSerializer.h"
#include "platform/xml/uVqXMLDOM.h"

namespace velmore {

/// A category.
///
/// Owns its values and a share of the document they were read from. A copy copies them. One thread at a time. Raises
/// nothing of its own: one odd entry does not make a list unreadable.
class TVqEWSCategory {
 public:
  /// From an element of the categories list: the attributes "name", "color" and "keyboardShortcut".
  explicit TVqEWSCategory(const IVqDOMElement& AElement);

  /// The name by which items carry the category.
  const string& GetName() const noexcept { return FName; }
  /// 0x00BBGGRR: red in the lowest byte. The first colour, a red, when the attribute is absent; white for a value that
  /// is none of the 25 colours.
  std::uint32_t GetColor() const noexcept { return FColor; }
  /// Ctrl and F2 to F12 as 0x4071 to 0x407B, or 0.
  std::uint16_t GetShortCut() const noexcept { return FShortCut; }
  /// Change the values in memory; the element stays as it was.
  void SetName(const string& AValue) { FName = AValue; }
  void SetColor(std::uint32_t AValue) noexcept { FColor = AValue; }
  void SetShortCut(std::uint16_t AValue) noexcept { FShortCut = AValue; }

  /// These work on the element that the category was read from. Deserialize reads the values again.
  string Serialize(TVqDataSerializationFormatType AFormat) const;
  void Deserialize(TVqDataSerializationFormatType AFormat, const string& AText);
  string AsXML(const string& ATargetNamespace = {}, bool AExcludeNamespaces = false) const;
  string AsJSON() const;

 private:
  void Read();

  IVqDOMElement FElement;
  string FName;
  std::uint32_t FColor = 0xFFFFFF;
  std::uint16_t FShortCut = 0;
};

}  // namespace velmore
