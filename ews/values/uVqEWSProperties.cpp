#include "ews/values/uVqEWSProperties.h"

#include "platform/xml/uVqXMLUtils.h"

namespace velmore {
namespace {

// The row of an extended property as an answer has it.
PVqEWSPropDef RowOfExtendedProperty(const IVqDOMElement& AProperty) {
  const IVqDOMElement uri = AProperty.SelectSingleElement("ExtendedFieldURI", kSelectRequired);
  const auto attribute = [&](const char* name) { return uri.GetAttribute(name).utf8(); };
  TVqEWSPropDef def{.Extended = true};
  TGUID set;
  std::string distinguished, name;
  if (uri.HasAttribute("PropertyTag"))
    def.PropertyTag = static_cast<std::uint16_t>(VqXMLToInt(attribute("PropertyTag")));
  if (uri.HasAttribute("DistinguishedPropertySetId")) {
    distinguished = attribute("DistinguishedPropertySetId");
    def.DistinguishedPropertySetId = TVqShortString::View(distinguished);
  }
  if (uri.HasAttribute("PropertySetId")) {
    set = VqXMLToGuid(attribute("PropertySetId"));
    def.PropertySetId = &set;
  }
  if (uri.HasAttribute("PropertyName")) {
    name = attribute("PropertyName");
    def.PropKind = pkName;
    def.Name = TVqShortString::View(name);
  }
  if (uri.HasAttribute("PropertyId")) {
    def.PropKind = pkId;
    def.Id = VqXMLToInt(attribute("PropertyId"));
  }
  return GetPropDef(def);
}

}  // namespace

// ---- TVqEWSProperty --------------------------------------------------------

TVqEWSDataUpdateStatus TVqEWSProperty::GetUpdateStatus() {
  Owner();
  return FExplicitUpdateStatus ? FUpdateStatus : TVqEWSData::GetUpdateStatus();
}

void TVqEWSProperty::SetUpdateStatus(TVqEWSDataUpdateStatus AValue) {
  Owner();
  FUpdateStatus = AValue;
  FExplicitUpdateStatus = true;
}

void TVqEWSProperty::SetExplicit(bool AValue, TVqEWSDataUpdateStatus AStatus) {
  Owner();
  FUpdateStatus = AValue ? AStatus : dusUnmodified;
  FExplicitUpdateStatus = AValue;
}

// ---- TVqEWSProperties: the list --------------------------------------------

std::int32_t TVqEWSProperties::Count() {
  const TVqXMLSchemaElement& record = CurrentRecord();
  const IVqDOMElement element = record.AsElement();
  if (Size() == element.ElementCount()) return Size();
  const std::uint32_t modification = element.GetOwnerDocument().GetModificationCount();
  if (element == FBuiltFrom && modification == FBuiltModification && Version() == FBuiltVersion) {
    Renew();
  } else {
    Rebuild(record);
    FBuiltFrom = element;
    FBuiltModification = modification;
    FBuiltVersion = Version();
  }
  return Size();
}

void TVqEWSProperties::Rebuild(const TVqXMLSchemaElement& ARecord) {
  // All definitions first: an answer that cannot be listed leaves the list, and the statuses, as they were.
  const string className = ARecord.ClassName();
  std::vector<PVqEWSPropDef> defs;
  for (const IVqDOMElement& child : ARecord.AsElement().GetChildElements()) {
    const string name = child.GetLocalName();
    const PVqEWSPropDef def =
        name == "ExtendedProperty" ? RowOfExtendedProperty(child) : GetPropDef(className, name, false);
    if (def) defs.push_back(def);
  }

  std::unordered_map<string, TVqEWSDataUpdateStatus> saved;
  for (std::int32_t i = 0; i < Size(); ++i)
    if (At(i).GetExplicitUpdateStatus()) saved.emplace(At(i).GetPath(), At(i).GetUpdateStatus());
  Clear();

  const auto add = [&](const TVqEWSPropDef& def) -> TVqEWSProperty& {
    TVqEWSProperty& property = Entry(def);
    if (const auto status = saved.find(property.GetPath()); status != saved.end())
      property.SetUpdateStatus(status->second);
    return property;
  };
  for (const PVqEWSPropDef def : defs) {
    TVqEWSProperty& property = add(*def);
    // What has parts is never sent as a whole: its parts stand beside it in the list.
    if (def->NodeType != pdntSimple) property.SetUpdateStatus(dusUnmodified);
    if (def->NodeType == pdntArray)
      for (const PVqEWSPropDef part : GetKeyPropDefs(def)) add(*part);
  }
}

// The same entries as before, as nothing has changed: only those that someone may hold are made anew.
void TVqEWSProperties::Renew() {
  RenewHandedOut([&](TVqEWSProperty& old) {
    std::unique_ptr<TVqEWSProperty> property = MakeProperty(old.GetRow());
    if (old.GetNodeType() != pdntSimple)
      property->SetUpdateStatus(dusUnmodified);
    else if (old.GetExplicitUpdateStatus())
      property->SetUpdateStatus(old.GetUpdateStatus());
    return property;
  });
}

void TVqEWSProperties::ResetExplicitStatuses() noexcept {
  FBuiltFrom = nullptr;
  for (std::int32_t i = 0; i < Size(); ++i) At(i).SetExplicitUpdateStatus(false);
}

bool TVqEWSProperties::HasProperty(const TVqEWSPropDef& APropDef) {
  const string path = GetNodePath(APropDef);
  if (Find(path)) return true;
  if (!APropDef.Extended) return CurrentRecord().FindSchemaInfo("t:" + APropDef.NodeName.ToString()).has_value();

  // What is there already needs no round trip.
  if (CurrentRecord().AsElement().SelectSingleElement(path, kSelectQuiet)) return true;
  if (!TVqEWSData::AskFor(CurrentRecord(), APropDef.PropDefName)) return false;
  return static_cast<bool>(CurrentRecord().AsElement().SelectSingleElement(path, kSelectQuiet));
}

// ---- TVqEWSProperties: its entries -----------------------------------------

// A member of the creator's class that is linked to the definition says how it is asked for.
std::unique_ptr<TVqEWSProperty> TVqEWSProperties::MakeProperty(const TVqEWSPropDef& APropDef) {
  if (!APropDef.Extended) {
    const TVqEWSMemberTable& table = CreatorTable();
    const TVqEWSMemberInfo* named = table.Find(APropDef.NodeName);
    const TVqEWSMemberInfo* linked =
        named ? named->IsLinkedTo(APropDef.PropDefName) ? named : nullptr : table.FindLinked(APropDef.PropDefName);
    if (linked) return Make(linked->Field);
  }
  return Make(APropDef);
}

TVqEWSProperty& TVqEWSProperties::Entry(const TVqEWSPropDef& APropDef) {
  if (APropDef.PropDefName.empty()) {
    const string text = APropDef.Extended ? string("extended property") : APropDef.NodeName.ToString();
    throw EVqException(Format("Failed to locate the Property Definition for \"%s\"!", {text}));
  }
  const PVqEWSPropDef row = GetPropDef(APropDef.PropDefName, false);
  const TVqEWSPropDef& def = row ? *row : APropDef;
  if (TVqEWSProperty* property = Find(GetNodePath(def))) return *property;
  return Store(MakeProperty(def));
}

TVqEWSProperty& TVqEWSProperties::CreateItem(const TVqEWSPropDef& APropDef) {
  return *FindItem(Entry(APropDef).GetRow());
}

// A property that was just made gets a value to start from. The node is in the tree from now on, so that numbers,
// booleans and dates count as inserted; a text stays unmodified, as it is empty. Meant so.
TVqEWSProperty& TVqEWSProperties::Filled(TVqEWSProperty& AProperty) {
  const IVqDOMElement node = AProperty.GetValueNode();
  if (node.HasChildElements() || !node.GetText().empty()) return AProperty;
  switch (AProperty.GetTypeInfo().Kind) {
    case tkInteger:
      AProperty.SetAsInteger(0);
      break;
    case tkFloat:
      AProperty.SetAsString("0");
      break;
    case tkString:
      AProperty.SetAsString("");
      break;
    case tkBoolean:
      AProperty.SetAsBoolean(false);
      break;
    case tkDateTime:
      AProperty.SetAsDateTime(0);
      break;
    default:
      break;
  }
  return AProperty;
}

TVqEWSProperty& TVqEWSProperties::GetByPath(const string& APath) {
  if (TVqEWSProperty* property = FindItem(APath)) return *property;
  return Filled(CreateItem(APath));
}

TVqEWSProperty& TVqEWSProperties::GetByField(const TVqEWSFieldDef& AFieldDef) {
  return GetByProp(*DefinitionOf(AFieldDef));
}

TVqEWSProperty& TVqEWSProperties::GetByProp(const TVqEWSPropDef& APropDef) {
  if (TVqEWSProperty* property = FindItem(APropDef)) return *property;
  return Filled(CreateItem(APropDef));
}

}  // namespace velmore
