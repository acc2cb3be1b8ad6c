#pragma once

/// A list of texts in an object's tree, such as the categories of an item.
///
///     item->GetCategories().Add("Travel");
///     std::cout << item->GetCategories().AsString(", ") << '\n';

#include <deque>

#include "ews/schema/uVqEWSTypes.h"

namespace velmore {

/// The entries of a `t:String` list.
///
/// Owns nothing: the texts stand in the tree, and changes count as changes of the object. No copies. Belongs to its
/// object's thread. Raises EListError for positions that are not there. Nothing here talks to the server.
class TVqEWSStrings {
 public:
  /// `AStrings` must outlive the list.
  explicit TVqEWSStrings(TEwsArrayOfStrings& AStrings) : FStrings(AStrings) {}
  TVqEWSStrings(const TVqEWSStrings&) = delete;
  TVqEWSStrings& operator=(const TVqEWSStrings&) = delete;

  /// Number of entries.
  std::int32_t Count() const;
  /// By position from 0.
  string GetItem(std::int32_t AIndex) const;
  void SetItem(std::int32_t AIndex, const string& AValue);
  /// Appends a text and gives its position.
  std::int32_t Add(const string& AValue);
  /// Removes the entry at a position.
  void Delete(std::int32_t AIndex);
  /// Removes everything.
  void Clear();
  /// Position of the first entry that is exactly this text, or -1.
  std::int32_t IndexOf(const string& AValue) const;
  /// All entries with the separator between them.
  string AsString(const string& ASeparator) const;

  /// These work on the list's element, as the functions of TVqXMLSchemaElement do.
  string Serialize(TVqDataSerializationFormatType AFormat) const { return FStrings.Serialize(AFormat); }
  void Deserialize(TVqDataSerializationFormatType AFormat, const string& AText) {
    FStrings.Deserialize(AFormat, AText);
  }
  string AsXML(const string& ATargetNamespace = {}, bool AExcludeNamespaces = false) const {
    return FStrings.AsXML(ATargetNamespace, AExcludeNamespaces);
  }
  string AsJSON() const { return FStrings.AsJSON(); }

 private:
  std::deque<IVqDOMElement>& Entries() const;
  void Keep() const;
  IVqDOMElement Entry(std::int32_t AIndex) const;

  TEwsArrayOfStrings& FStrings;
  // The elements that were found, where, and as long as the document's structure is this one.
  mutable std::deque<IVqDOMElement> FEntries;
  mutable IVqDOMElement FKnownOf;
  mutable std::uint32_t FStructure = 0;
};

}  // namespace velmore
