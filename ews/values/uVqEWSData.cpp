#include "ews/values/uVqEWSData.h"

#include "ews/schema/internal/uVqEWSWellKnownSets.h"
#include "ews/schema/uVqEWSFieldURI.h"
#include "ews/values/internal/uVqEWSEmptyElements.h"
#include "platform/common/uVqNetEncoding.h"
#include "platform/common/uVqSysUtils.h"
#include "platform/xml/internal/uVqXMLDOMAccess.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {

// Beside the enumeration in uVqEWSTypes.h, which is much to include for one table of texts.
const TVqEnumInfo& VqEnumInfoOf(TDistinguishedPropertySet) noexcept;

using detail::TVqRawElement;

// A definition that an application made and did not register, kept so that nothing of the caller's is referred to.
struct TVqEWSData::TOwnDef {
  TVqEWSPropDef Def;
  TGUID Set;
};

TVqTypeInfo EwsTypeOf(TVqEWSPropType AType) noexcept {
  static constexpr TVqTypeInfo kTypes[] = {
#define VQ_PROP_TYPE(text, kind, type) {kind, type},
#include "ews/tables/uVqEWSPropTypes.inc"
  };
  return AType < std::size(kTypes) ? kTypes[AType] : TVqTypeInfo{};
}

namespace {

[[noreturn]] void RaiseNoDefinition() {
  throw EVqException("There is no property definition!");
}

// Several values in one property: "t:Values" holds them.
bool IsMultiValued(TVqEWSPropType AType) noexcept {
  const TVqTypeInfo type = EwsTypeOf(AType);
  return type.Kind == tkArray && type != VqByteArrayType;
}

// The library's form: an element that the property layer makes goes behind all others, wherever the published schema
// would have it.
IVqDOMElement AppendValueElement(const IVqDOMElement& AParent, const TVqUtf8View& AName) {
  return AParent.AddElement(AName);
}

}  // namespace

// ---- Making

TVqEWSData::TVqEWSData(TVqEWSBaseDataList& AOwner, const TVqEWSGetDataElm& AData, const TVqEWSPropDef& APropDef)
    : FOwner(&AOwner), FData(AData) {
  PVqEWSPropDef row = velmore::GetPropDef(APropDef.PropDefName, false);
  if (!row) {
    FOwnDef = std::make_unique<TOwnDef>(TOwnDef{APropDef, {}});
    if (APropDef.PropertySetId) {
      FOwnDef->Set = *APropDef.PropertySetId;
      FOwnDef->Def.PropertySetId = &FOwnDef->Set;
    }
    row = &FOwnDef->Def;
  }
  UseProp(row);
}

TVqEWSData::TVqEWSData(TVqEWSBaseDataList& AOwner, const TVqEWSGetDataElm& AData, PVqEWSPropDef APropDef)
    : FOwner(&AOwner), FData(AData) {
  if (!APropDef) RaiseNoDefinition();
  UseProp(APropDef);
}

TVqEWSData::TVqEWSData(TVqEWSBaseDataList& AOwner, const TVqEWSGetDataElm& AData, const TVqEWSFieldDef& AFieldDef)
    : FOwner(&AOwner), FData(AData) {
  UseField(AFieldDef);
}

TVqEWSData::TVqEWSData(TVqEWSBaseDataList& AOwner, const TVqEWSGetDataElm& AData, const VqEWSField& AField)
    : FOwner(&AOwner), FData(AData), FURIType(AField.GetURIType()) {
  const PVqEWSPropDef def = AField.GetPropDef();
  if (!def) throw EVqException("The member is linked to no definition!");
  if (FURIType == fdtField) FFieldURI = AField.GetUnindexedFieldURI();
  if (FURIType == fdtIndexedField) {
    FDictionaryURI = AField.GetDictionaryURI();
    FFieldIndex = AField.GetFieldIndex().ToString();
  }
  SetPropDef(def);
}

TVqEWSData::~TVqEWSData() = default;

void TVqEWSData::Discard() noexcept {
  FOwner = nullptr;
  FData = nullptr;
  FSelection.reset();
}

void TVqEWSData::UseProp(PVqEWSPropDef APropDef) {
  if (!APropDef->Extended) {
    const string className = Record(desCurrent).ClassName();
    if (const PVqEWSFieldDef field = GetFieldDef(className, APropDef->NodeName.ToString(), false))
      return UseField(*field);
  }
  FURIType = APropDef->Extended ? fdtExtendedField : fdtField;
  SetPropDef(APropDef);
}

// The field's row is kept rather than its URI's enumeration value: not every URI is one.
void TVqEWSData::UseField(const TVqEWSFieldDef& AFieldDef) {
  if (!AFieldDef.PropDef)
    throw EVqException(Format("The field definition \"%s\" has no property!", {AFieldDef.FieldDefName.ToString()}));
  FURIType = AFieldDef.FieldType;
  FFieldURIText = AFieldDef.UnindexedFieldURI;
  FHasFieldURIText = FURIType != fdtExtendedField;
  if (FURIType == fdtIndexedField) FFieldIndex = AFieldDef.FieldIndex.ToString();
  SetPropDef(AFieldDef.PropDef);
}

void TVqEWSData::SetPropDef(PVqEWSPropDef APropDef) {
  if (!APropDef) RaiseNoDefinition();
  const TVqEWSPropDef& def = *APropDef;
  const TVqEWSBaseDataList& owner = Owner();
  FDef = APropDef;
  if (FOwnDef && FDef != &FOwnDef->Def) FOwnDef.reset();
  FMemberClass = nullptr;
  FPropDefNodeType = def.NodeType;
  if (def.Extended) {
    FURIType = fdtExtendedField;
    FPropertyType = def.PropType;
  }
  FPath = GetNodePath(def);
  // Behind a node name that ends in it already. Meant so, see GetPath.
  if (FURIType == fdtIndexedField && !FFieldIndex.empty()) FPath += Format("/Entry[@Key=\"%s\"]", {FFieldIndex});
  FPropDefName = def.PropDefName.ToString();
  FPropSetId = def.PropertySetId;
  FPropertyTag = def.PropertyTag;
  if (def.PropKind == pkName)
    FPropertyId = def.Name.ToString();
  else
    FPropertyId = def.Id;
  FDPropSetId.reset();
  TDistinguishedPropertySet distinguished{};
  if (!def.DistinguishedPropertySetId.empty() &&
      VqTryTextToEnum(def.DistinguishedPropertySetId.ToString().Replace(":", "_"), distinguished))
    FDPropSetId = distinguished;

  FSelection.emplace(FPath);

  if (def.Extended) {
    FParentPropDef = nullptr;
    return;
  }
  const TVqEWSMemberTable& table = owner.CreatorTable();
  FProperty = table.Find(NodeNameToPropName(def.NodeName.ToString()).utf8());
  if (!FProperty) FProperty = table.FindLinked(def.PropDefName);
  FParentPropDef = def.ParentProp;
}

TVqEWSBaseDataList& TVqEWSData::Owner() const {
  if (!FOwner)
    throw EVqException(Format("The property \"%s\" was discarded when its list was rebuilt!", {FPropDefName}));
  return *FOwner;
}

TVqXMLSchemaElement& TVqEWSData::Record(TVqEWSGetDataElmSource ASource) const {
  Owner();
  TVqXMLSchemaElement* record = FData ? FData(ASource, true) : nullptr;
  if (!record) throw EVqException("The object has no data!");
  return *record;
}

TUnindexedFieldURI TVqEWSData::GetFieldURI() const {
  TUnindexedFieldURI uri = FFieldURI.value_or(TUnindexedFieldURI{});
  if (!FFieldURI && FHasFieldURIText) TryStringToFieldURI(FFieldURIText.ToString(), uri);
  return uri;
}

TDictionaryURI TVqEWSData::GetDictionaryURI() const {
  TDictionaryURI uri = FDictionaryURI.value_or(TDictionaryURI{});
  if (!FDictionaryURI && FHasFieldURIText) TryStringToFieldURI(FFieldURIText.ToString(), uri);
  return uri;
}

TVqEWSPropDef TVqEWSData::PropDef() const {
  TVqEWSPropDef def{.PropDefName = EWSShortName(FPropDefName), .Extended = FURIType == fdtExtendedField};
  if (!def.Extended) {
    def.NodeName = EWSShortName(FPath);
    def.NodeType = FPropDefNodeType;
    def.ParentProp = FParentPropDef;
    return def;
  }
  def.PropType = FPropertyType;
  if (FDPropSetId)
    def.DistinguishedPropertySetId = EWSShortName(VqEnumToText(*FDPropSetId).Replace("_", ":"));
  else
    def.DistinguishedPropertySetId = FDef->DistinguishedPropertySetId;
  def.PropertySetId = FPropSetId;
  def.PropertyTag = FPropertyTag;
  if (const auto* id = std::get_if<std::int32_t>(&FPropertyId)) {
    def.Id = *id;
  } else {
    def.PropKind = pkName;
    def.Name = EWSShortName(std::get<string>(FPropertyId));
  }
  return def;
}

// ---- Comparing

// Names are compared without prefix and case. An extended property that the server spells in another way is the same.
IVqDOMElement TVqEWSData::Select(const IVqDOMElement& ARoot) const {
  IVqDOMElement found = ARoot.SelectSingleElement(*FSelection, kSelectQuiet);
  if (!found && FDef->Extended) found = EwsValueOfExtendedProperty(EwsFindExtendedProperty(ARoot, *FDef));
  return found;
}

TVqEWSDataUpdateStatus TVqEWSData::GetUpdateStatus() {
  const IVqDOMElement oldElement = Select(Record(desOriginal).AsElement());
  const IVqDOMElement newElement = Select(Record(desCurrent).AsElement());
  const TVqRawElement oldNode = oldElement ? TVqRawElement(oldElement) : TVqRawElement();
  const TVqRawElement newNode = newElement ? TVqRawElement(newElement) : TVqRawElement();
  std::string oldScratch, newScratch;
  const std::string_view oldFull = oldNode ? oldNode.Text(oldScratch) : std::string_view();
  const std::string_view newFull = newNode ? newNode.Text(newScratch) : std::string_view();
  const std::string_view oldText = VqTrimControls(oldFull), newText = VqTrimControls(newFull);

  if (FDef->Extended || FParentPropDef) {
    if (oldText.empty()) return newText.empty() ? dusUnmodified : dusInserted;
    if (newText.empty()) return dusDeleted;
    if (oldNode.FirstChild() || newNode.FirstChild())
      return EwsSameParts(oldElement, newElement) ? dusUnmodified : dusModified;
    // Of an entry what is told beside the text counts, too: the name of an address, the way to it.
    if (FParentPropDef && !EwsSameAttributes(oldElement, newElement)) return dusModified;
    return oldText == newText ? dusUnmodified : dusModified;
  }
  if (FPropDefNodeType != pdntSimple) return dusUnmodified;
  // Elements that hold nothing, at any depth, count as not there: a getter made them on its way.
  const auto hasContent = [](const IVqDOMElement& element, std::string_view text) {
    return element.HasChildElements() ? static_cast<bool>(EwsFirstPart(element)) : !text.empty();
  };
  if (!oldNode) return newNode && hasContent(newElement, newFull) ? dusInserted : dusUnmodified;
  if (!newNode) return dusDeleted;
  const bool oldHasContent = hasContent(oldElement, oldFull);
  if (oldHasContent != hasContent(newElement, newFull)) return dusModified;
  if (oldNode.FirstChild() || newNode.FirstChild())
    return EwsSameParts(oldElement, newElement) ? dusUnmodified : dusModified;
  // Blanks count here, where a value was only tidied; above, where it came or went, they do not.
  return oldFull == newFull ? dusUnmodified : dusModified;
}

// ---- The value

bool TVqEWSData::AskFor(TVqXMLSchemaElement& ARecord, TVqShortString APropDefName) {
  const TVqGetSOAPElementEvent handler = ARecord.GetOnGetSOAPElement();  // the record may go while it runs
  if (!handler) return false;
  const TVqXMLSchemaInfo info("PROPDEF:" + APropDefName.ToString(), TVqDOMNodeType::ntElement);
  handler(nullptr, info);
  return true;
}

IVqDOMElement TVqEWSData::Find() {
  return Select(Record(desCurrent).AsElement());
}

IVqDOMElement TVqEWSData::GetValueNode() {
  if (IVqDOMElement node = Find()) return node;
  if (AsksForValue() && !FParentPropDef && AskFor(Record(desCurrent), FDef->PropDefName)) {
    if (IVqDOMElement node = Find()) return node;
    if (FURIType != fdtExtendedField)
      throw EVqException(Format("The result does not contain a value for for \"%s\"!", {FPath}));
  }
  return MakeValueNode(Record(desCurrent).AsElement());
}

IVqDOMElement TVqEWSData::MakeValueNode(const IVqDOMElement& AObject) {
  const string name = "t:" + FDef->NodeName.ToString();
  switch (FURIType) {
    case fdtIndexedField: {
      const IVqDOMElement entry = AppendValueElement(AppendValueElement(AObject, name), "t:Entry");
      entry.SetAttribute("Key", FFieldIndex);
      return entry;
    }
    case fdtExtendedField: {
      if (!FDef->Extended) break;  // linked to a member of the schema: the tree has that member
      IVqDOMElement property = EwsFindExtendedProperty(AObject, *FDef);  // without a value
      if (!property) {
        property = AppendValueElement(AObject, "t:ExtendedProperty");
        WriteExtendedFieldURI(FDef, property);
      }
      return property.AddElement(IsMultiValued(FPropertyType) ? "t:Values" : "t:Value");
    }
    case fdtField:
      break;
  }
  return AppendValueElement(AObject, name);
}

std::optional<TVqTypeInfo> TVqEWSData::FindTypeInfo() {
  Owner();
  if (FProperty) return FProperty->Type;
  if (FURIType != fdtExtendedField) {
    TVqXMLSchemaElement* record = FData ? FData(desCurrent, false) : nullptr;
    if (!record || FURIType != fdtField) return VqStringType;
    if (&record->GetSchemaClass() == FMemberClass) return FMemberType;
    if (const TVqTypeInfo type = record->GetTypeInfo(FPath); type.Kind != tkUnknown) {
      FMemberClass = &record->GetSchemaClass();
      return FMemberType = type;
    }
    if (FPropertyType == ptNull) return FParentPropDef ? std::optional(VqStringType) : std::nullopt;
  }
  const TVqTypeInfo type = EwsTypeOf(FPropertyType);
  if (type.Kind == tkUnknown) throw EVqException(Format("Failed to determine the type for %s!", {FPropDefName}));
  return type;
}

TVqTypeInfo TVqEWSData::GetTypeInfo() {
  if (const std::optional<TVqTypeInfo> type = FindTypeInfo()) return *type;
  throw EVqException(Format("%s (%s) is not a property of %s!", {FPath, FPropDefName, Record(desCurrent).ClassName()}));
}

TVqTypeInfo TVqEWSData::GetReadType() {
  return FindTypeInfo().value_or(VqStringType);
}

bool TVqEWSData::ReadsEmpty(const IVqDOMElement& ANode) const {
  if (!AbsentIsEmpty() || ANode.HasChildElements() || ANode.AttributeCount() != 0) return false;
  std::string scratch;
  return TVqRawElement(ANode).Text(scratch).empty();
}

string TVqEWSData::GetAsString() {
  const IVqDOMElement node = GetValueNode();
  const TVqRawElement raw(node);
  const bool hasParts = static_cast<bool>(raw.FirstChild());
  std::string scratch;
  const std::string_view text = hasParts ? std::string_view() : raw.Text(scratch);
  if (!hasParts && text.empty() && ReadsEmpty(node)) return {};
  const std::optional<TVqTypeInfo> type = FindTypeInfo();
  // Without a type the element tells: text, or parts.
  const bool isText = type ? type->IsSimple() || type->Kind == tkArray : !hasParts;
  if (!isText) return node.GetXML();
  return hasParts ? node.GetText() : detail::TextFromUtf8(text);
}

std::vector<string> TVqEWSData::GetAsStrings() {
  const IVqDOMElement node = GetValueNode();
  std::vector<string> values;
  for (const IVqDOMElement& value : node.GetChildElements()) values.push_back(value.GetText());
  if (values.empty() && !node.GetText().empty()) values.push_back(node.GetText());
  return values;
}

bool TVqEWSData::GetAsBoolean() {
  return GetValueNode().GetAsBoolean();
}
std::int32_t TVqEWSData::GetAsInteger() {
  return GetValueNode().GetAsInteger();
}
TDateTime TVqEWSData::GetAsDateTime() {
  return GetValueNode().GetAsDateTime();
}

// What cannot be written is told before the tree is touched: a refused value leaves nothing behind.
void TVqEWSData::Write(const string& AText) {
  detail::CheckText(AText);
  GetValueNode().SetText(AText);
  Written();
}

void TVqEWSData::SetAsString(const string& AValue) {
  const TVqTypeInfo type = GetReadType();
  const bool hasPrefix = AValue.StartsWith("0x");
  if (type.IsSimple()) {
    Write(AValue);
  } else if (type == VqByteArrayType) {
    // What is stored is the digits, without the prefix; other text is decoded only to see that it could be. Meant so:
    // requests carry the digits.
    if (!hasPrefix) VqHexDecode(AValue.utf8());
    Write(hasPrefix ? AValue.Copy(2) : AValue);
  } else if (type == VqBytesType) {
    Write(hasPrefix ? string(VqHexDecode(AValue.Copy(2).utf8())) : AValue);
  } else {
    throw EVqException(Format("The property \"%s\" cannot be written as a %s!", {FPath, "string"}));
  }
}

void TVqEWSData::SetAsStrings(const std::vector<string>& AValues) {
  if (!IsMultiValued(FPropertyType))
    throw EVqException(Format("The property \"%s\" cannot be written as a %s!", {FPath, "list of strings"}));
  for (const string& value : AValues) detail::CheckText(value);
  IVqDOMElement node = GetValueNode();
  if (node.GetLocalName() != "Values") {  // a server that gave the only one alone
    const IVqDOMElement property = node.GetParentElement();
    property.RemoveChild(node);
    node = property.AddElement("t:Values");
  }
  node.RemoveAllChildren();
  for (const string& value : AValues) node.AddElement("t:Value").SetText(value);
  Written();
}

void TVqEWSData::SetAsBoolean(bool AValue) {
  Write(VqBoolToXML(AValue));
}
void TVqEWSData::SetAsInteger(std::int32_t AValue) {
  Write(VqIntToXML(AValue));
}
void TVqEWSData::SetAsDateTime(TDateTime AValue) {
  Write(VqDateTimeToXML(AValue, kVqTimeZoneUtc));
}

IVqDOMElement TVqEWSData::RequiredNode() {
  const IVqDOMElement node = Select(Record(desCurrent).AsElement());
  if (!node && !AbsentIsEmpty())
    return Record(desCurrent).AsElement().SelectSingleElement(FPath, kSelectRequired);  // raises, naming the path
  return node;
}

void TVqEWSData::RaiseWrongType(std::string_view AExpected) {
  throw EVqException(Format("Failed to get the value for %s!\r\nType %s expected, but type %s returned!",
                            {FPath, string(AExpected), string(GetReadType().Name)}));
}

// ---- In requests

// "item:Subject". A member of the schema without a field of its own is named as one of every item.
string TVqEWSData::FieldURIText() const {
  if (FHasFieldURIText) return FFieldURIText.ToString();
  if (FFieldURI) return FieldURIToString(*FFieldURI);
  if (FDictionaryURI) return FieldURIToString(*FDictionaryURI);
  return "item:" + FDef->NodeName.ToString();
}

IVqDOMElement TVqEWSData::AddEWS(const IVqDOMElement& AParent) {
  Owner();
  if (FURIType == fdtExtendedField) return WriteExtendedFieldURI(FDef, AParent);
  string uri, index;
  if (FURIType == fdtField && FParentPropDef) {
    const PVqEWSFieldDef field = GetFirstFieldDef(FDef->PropDefName);
    if (field->FieldType != fdtIndexedField) throw EAssertionFailed("Assertion failure (ews/uVqEWSInterfaces)");
    uri = field->UnindexedFieldURI.ToString();
    index = field->FieldIndex.ToString();
  } else {
    uri = FieldURIText();
    index = FFieldIndex;
  }
  const bool indexed = FURIType == fdtIndexedField || FParentPropDef;
  const IVqDOMElement element = AParent.AddElement(indexed ? "t:IndexedFieldURI" : "t:FieldURI");
  element.SetAttribute("FieldURI", uri);
  if (indexed) element.SetAttribute("FieldIndex", index);
  return element;
}

// ---- Serialisation

string TVqEWSData::Serialize(TVqDataSerializationFormatType AFormat) {
  return TVqXMLSchemaElement(GetValueNode()).Serialize(AFormat);
}

void TVqEWSData::Deserialize(TVqDataSerializationFormatType AFormat, const string& AText) {
  TVqXMLSchemaElement(GetValueNode()).Deserialize(AFormat, AText);
}

string TVqEWSData::AsXML(const string& ATargetNamespace, bool AExcludeNamespaces) {
  return TVqXMLSchemaElement(GetValueNode()).AsXML(ATargetNamespace, AExcludeNamespaces);
}

string TVqEWSData::AsJSON() {
  return TVqXMLSchemaElement(GetValueNode()).AsJSON();
}

}  // namespace velmore
