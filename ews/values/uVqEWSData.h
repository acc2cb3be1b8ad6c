#pragma once

/// A value of a server object, seen through its definition: a cursor into the object's XML.
///
/// An object with server data keeps its XML twice: as the server sent it, and as the application edits it. A value is
/// stored nowhere else; `TVqEWSData` knows where in the two trees it stands, and comparing the two tells whether it was
/// changed. `TVqEWSProperty` (uVqEWSProperties.h) and `TVqEWSField` (uVqEWSFields.h) are what applications hold.

#include <functional>
#include <memory>
#include <optional>
#include <variant>

#include "ews/values/uVqEWSBaseDataList.h"

namespace velmore {

enum TDistinguishedPropertySet : std::int32_t;  // uVqEWSTypes.h

/// How the current value compares with the original one.
enum TVqEWSDataUpdateStatus : std::int32_t { dusUnmodified, dusModified, dusInserted, dusDeleted };

/// The name of a type as rows and tables have it. The argument only chooses the overload and may be null.
inline std::string_view VqTypeNameOf(const string*) {
  return VqStringType.Name;
}
inline std::string_view VqTypeNameOf(const bool*) {
  return VqBooleanType.Name;
}
inline std::string_view VqTypeNameOf(const std::int32_t*) {
  return VqInt32Type.Name;
}
inline std::string_view VqTypeNameOf(const std::int64_t*) {
  return VqInt64Type.Name;
}
inline std::string_view VqTypeNameOf(const double*) {
  return VqDoubleType.Name;
}
inline std::string_view VqTypeNameOf(const TDateTime*) {
  return VqDateTimeType.Name;
}
inline std::string_view VqTypeNameOf(const TGUID*) {
  return VqGuidType.Name;
}
inline std::string_view VqTypeNameOf(const TBytes*) {
  return VqBytesType.Name;
}

/// The type of an extended property's values; of no kind for a number that is no type. Any thread may ask.
TVqTypeInfo EwsTypeOf(TVqEWSPropType AType) noexcept;

/// A value of a server object.
///
/// Owns nothing but what it knows of its definition; the value stands in the tree. No copies. Belongs to its object and
/// to that object's thread. Reading may change the tree (a missing value is made) and, through the object's demand
/// event, ask the server. Raises plain exceptions, and a clear one when it is used after its list has discarded it.
class TVqEWSData {
 public:
  /// Made by the list, which must outlive it; `AData` reaches the object's records. Raises a plain exception for a
  /// definition that is none.
  TVqEWSData(TVqEWSBaseDataList& AOwner, const TVqEWSGetDataElm& AData, const TVqEWSPropDef& APropDef);
  TVqEWSData(TVqEWSBaseDataList& AOwner, const TVqEWSGetDataElm& AData, PVqEWSPropDef APropDef);
  TVqEWSData(TVqEWSBaseDataList& AOwner, const TVqEWSGetDataElm& AData, const TVqEWSFieldDef& AFieldDef);
  TVqEWSData(TVqEWSBaseDataList& AOwner, const TVqEWSGetDataElm& AData, const VqEWSField& AField);
  TVqEWSData(const TVqEWSData&) = delete;
  TVqEWSData& operator=(const TVqEWSData&) = delete;
  virtual ~TVqEWSData();

  /// Compares the two trees, without a conversion and without asking the server. Extended properties and parts are
  /// inserted, deleted or modified by their texts, blanks around them ignored. A complex member or dictionary is always
  /// unmodified: its parts have properties of their own. A simple member that is emptied is modified, not deleted.
  virtual TVqEWSDataUpdateStatus GetUpdateStatus();

  // ---- What it is

  /// Which element names the value in requests.
  TVqEWSFieldDefType GetURIType() const noexcept { return FURIType; }
  /// Where the value stands below the object's element. For a value made from an indexed field, the last step is there
  /// twice, so that nothing is found in an answer; for one made from the property, it is there once. This is intended:
  /// the path is the key of lists. VqEntryOf (uVqEWSFields.h) reads the entry.
  const string& GetPath() const noexcept { return FPath; }
  /// The key of the definition.
  const string& GetName() const noexcept { return FPropDefName; }
  /// One value, an element with parts, or a dictionary.
  TVqEWSPropDefNodeType GetNodeType() const noexcept { return FPropDefNodeType; }
  /// The row that the value is a part of, or none.
  PVqEWSPropDef GetParentPropDef() const noexcept { return FParentPropDef; }
  /// The published property of the owner's class that is linked to the value, or none.
  const TVqEWSMemberInfo* GetProperty() const noexcept { return FProperty; }
  /// The URI as an enumeration value: for `fdtField` and `fdtIndexedField`; the first value when the URI is no value.
  TUnindexedFieldURI GetFieldURI() const;
  TDictionaryURI GetDictionaryURI() const;
  /// The key of a dictionary's entry, "HomePhone"; empty for anything else.
  const string& GetFieldIndex() const noexcept { return FFieldIndex; }
  /// The property set of an extended property, by its distinguished name or its id; none when there is no such set.
  std::optional<TDistinguishedPropertySet> GetDPropSetId() const noexcept { return FDPropSetId; }
  const TGUID* GetPropSetId() const noexcept { return FPropSetId; }
  /// Number or name within the set.
  const std::variant<std::int32_t, string>& GetPropertyId() const noexcept { return FPropertyId; }
  /// The type and the MAPI tag of an extended property; the tag is 0 when there is none.
  TVqEWSPropType GetPropertyType() const noexcept { return FPropertyType; }
  std::uint16_t GetPropertyTag() const noexcept { return FPropertyTag; }

  /// The definition, rebuilt from this object.
  TVqEWSPropDef PropDef() const;
  /// The definition's row; for a definition that is not registered this object's copy of it.
  const TVqEWSPropDef& GetRow() const noexcept { return *FDef; }
  /// Whether the definition is a row of the library or one that the application registered.
  bool IsRegistered() const noexcept { return !FOwnDef; }

  /// The type of the value: that of the class's property, else that of the record's member, else that of the
  /// definition. Raises "%s (%s) is not a property of %s!" or "Failed to determine the type for %s!".
  TVqTypeInfo GetTypeInfo();
  /// The same for reading: a value that no class has is text, since objects of kinds without a class of their own have
  /// such values too.
  TVqTypeInfo GetReadType();

  // ---- The value

  /// Changes to another definition, which must live as long as this object does: path, key, kind and parent are the new
  /// one's. The element that names a value of the schema in requests, and the place of the value in its list, stay.
  /// Raises a plain exception for none.
  void SetPropDef(PVqEWSPropDef APropDef);

  /// The value's element in the current tree. When it is missing, the object's demand event is asked for it, which may
  /// talk to the server (for a property that is no part of another one; fields never ask); then it is made. A schema
  /// member that an answer lacks raises "The result does not contain a value for for "%s"!", the doubled word included.
  IVqDOMElement GetValueNode();

  /// The value as text: for a complex member its markup, for anything else (bytes too) its text. A member that the
  /// object's record does not know is text, or markup where it has parts. A field whose row lacks it is empty.
  string GetAsString();
  /// The values of a property that has several (`t:Values`); for any other one its text, and nothing when that is
  /// empty.
  std::vector<string> GetAsStrings();
  /// Empty text is false, 0 and the zero date. Other text that does not convert raises EConvertError.
  bool GetAsBoolean();
  std::int32_t GetAsInteger();
  /// UTC.
  TDateTime GetAsDateTime();

  /// What a setter refuses leaves the tree as it was.
  ///
  /// Stores a text as it is. For bytes, the digits after "0x" are stored; any other text must be hexadecimal, too, and
  /// is stored as it is. A member that is no simple type raises "The property "%s" cannot be written as a string!".
  void SetAsString(const string& AValue);
  /// The values of a property of an array type, in place of those that it had. Any other type raises
  /// "The property "%s" cannot be written as a list of strings!".
  void SetAsStrings(const std::vector<string>& AValues);
  /// Stores the value's text; a zero and a false are stored, too.
  void SetAsBoolean(bool AValue);
  void SetAsInteger(std::int32_t AValue);
  /// UTC.
  void SetAsDateTime(TDateTime AValue);

  /// The value as a T: `IVqDOMElement` and `IVqDOMNode` give the node, ids its two attributes, and all of these raise
  /// when the node is absent; everything else (text, numbers, booleans, points in time, GUIDs, enumerations) is the
  /// text converted. Raises "Failed to get the value for %s!\r\nType %s expected, but type %s returned!" when it does
  /// not convert. A field whose row lacks it is no failure: it gives an empty element, an empty id, the empty value of
  /// any other type.
  template <typename T>
  T GetValue();

  // ---- In requests

  /// Adds the element that names the value in update requests and in field lists, and gives it.
  IVqDOMElement AddEWS(const IVqDOMElement& AParent);

  // ---- Serialisation: of the value's element

  /// The value's element as text, and the other way round. Raise a plain exception for a format that is none.
  string Serialize(TVqDataSerializationFormatType AFormat);
  void Deserialize(TVqDataSerializationFormatType AFormat, const string& AText);
  /// The markup of the value's element.
  string AsXML(const string& ATargetNamespace = {}, bool AExcludeNamespaces = false);
  /// As `Serialize` with dsfJSON.
  string AsJSON();

  // ---- For lists

  /// Called by the list that gives the object up: every later use raises.
  void Discard() noexcept;
  /// Fires the record's demand event for a definition; false when no handler is set. May ask the server.
  static bool AskFor(TVqXMLSchemaElement& ARecord, TVqShortString APropDefName);

 protected:
  /// Whether a missing value is asked for before it is made.
  virtual bool AsksForValue() const noexcept { return true; }
  /// The value's element in the current tree as it stands; empty when it is missing.
  virtual IVqDOMElement Find();
  /// Whether an absent value is empty, in every form in which it can be read.
  virtual bool AbsentIsEmpty() const noexcept { return false; }
  /// Called after each write of a value.
  virtual void Written() {}
  /// Makes the value's element below the object's.
  virtual IVqDOMElement MakeValueNode(const IVqDOMElement& AObject);

  /// The list; raises when the object was discarded.
  TVqEWSBaseDataList& Owner() const;
  TVqXMLSchemaElement& Record(TVqEWSGetDataElmSource ASource) const;

 private:
  friend class TVqEWSBaseDataList;
  struct TOwnDef;

  void UseProp(PVqEWSPropDef APropDef);
  void UseField(const TVqEWSFieldDef& AFieldDef);
  IVqDOMElement Select(const IVqDOMElement& ARoot) const;
  string FieldURIText() const;
  IVqDOMElement RequiredNode();
  bool ReadsEmpty(const IVqDOMElement& ANode) const;
  std::optional<TVqTypeInfo> FindTypeInfo();
  void Write(const string& AText);
  [[noreturn]] void RaiseWrongType(std::string_view AExpected);

  TVqEWSBaseDataList* FOwner;
  TVqEWSGetDataElm FData;
  PVqEWSPropDef FDef = nullptr;      // the row, or FOwnDef
  std::unique_ptr<TOwnDef> FOwnDef;  // a definition that is not registered
  TVqShortString FFieldURIText;      // the URI as its row has it; not every URI is an enumeration value
  bool FHasFieldURIText = false;
  string FPropDefName;
  TVqEWSPropDefNodeType FPropDefNodeType = pdntSimple;
  PVqEWSPropDef FParentPropDef = nullptr;
  string FPath;
  std::optional<TVqDOMSelection> FSelection;  // FPath, compiled
  const TVqEWSMemberInfo* FProperty = nullptr;
  TVqEWSFieldDefType FURIType = fdtField;
  std::optional<TUnindexedFieldURI> FFieldURI;
  std::optional<TDictionaryURI> FDictionaryURI;
  string FFieldIndex;
  std::optional<TDistinguishedPropertySet> FDPropSetId;
  const TGUID* FPropSetId = nullptr;
  std::variant<std::int32_t, string> FPropertyId = 0;
  TVqEWSPropType FPropertyType = ptNull;
  const TVqXMLSchemaClass* FMemberClass = nullptr;  // the record class that FMemberType is from
  TVqTypeInfo FMemberType;
  std::uint16_t FPropertyTag = 0;
};

template <typename T>
T TVqEWSData::GetValue() {
  if constexpr (std::same_as<T, IVqDOMElement> || std::same_as<T, IVqDOMNode>) {
    return RequiredNode();
  } else if constexpr (requires(T id) { id.Id = string(), id.ChangeKey = string(); }) {
    const IVqDOMElement node = RequiredNode();
    T id;
    id.Id = node.GetAttribute("Id");
    id.ChangeKey = node.GetAttribute("ChangeKey");
    return id;
  } else {
    const IVqDOMElement node = GetValueNode();
    std::string_view name = "string";
    if constexpr (std::is_enum_v<T>)
      name = VqEnumInfoOf(T{}).Name;
    else
      name = VqTypeNameOf(static_cast<const T*>(nullptr));
    if (ReadsEmpty(node)) return T{};
    // What is a record of its own is no text, unless an extended property carries it.
    if (FURIType != fdtExtendedField && !GetReadType().IsSimple()) RaiseWrongType(name);
    try {
      return detail::FromText<T>(node.GetTextAsUtf8());
    } catch (const EConvertError&) {
      RaiseWrongType(name);
    }
  }
}

}  // namespace velmore
