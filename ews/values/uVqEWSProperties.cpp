#include "ews/values/uVqEWSProperties.h"

#include <algorithm>

#include "ews/schema/internal/uVqEWSWellKnownSets.h"
#include "ews/values/internal/uVqEWSEmptyElements.h"
#include "platform/xml/internal/uVqXMLDOMAccess.h"
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
    def.PropertySetId = EwsFindWellKnownSet(distinguished);  // rows have the ids of sets, servers their names
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

// ---- TVqEWSProperty

TVqEWSDataUpdateStatus TVqEWSProperty::GetUpdateStatus() {
  Owner();
  return FExplicit.IsSet && !TakenBack() ? FExplicit.Status : TVqEWSData::GetUpdateStatus();
}

void TVqEWSProperty::SetUpdateStatus(TVqEWSDataUpdateStatus AValue) {
  Record(desCurrent);  // first: a load forgets explicit statuses
  FExplicit = {AValue, true, AValue == dusDeleted ? CurrentMarkup() : string()};
}

void TVqEWSProperty::SetExplicit(bool AValue, TVqEWSDataUpdateStatus AStatus) {
  SetUpdateStatus(AValue ? AStatus : dusUnmodified);
  FExplicit.IsSet = AValue;
}

void TVqEWSProperty::Written() {
  if (FExplicit.IsSet && FExplicit.Status == dusDeleted) SetDeleted(false);
}

// A setter of the object knows nothing of this entry: what stands there now and did not when it was deleted was set
// behind the deletion.
bool TVqEWSProperty::TakenBack() {
  if (FExplicit.Status != dusDeleted) return false;
  const string now = CurrentMarkup();
  return !now.empty() && now != FExplicit.DeletedValue;
}

string TVqEWSProperty::CurrentMarkup() {
  const IVqDOMElement node = Find();
  return node && !EwsIsEmpty(node) ? node.GetXML() : string();
}

// ---- TVqEWSProperties: the list

std::int32_t TVqEWSProperties::Count() {
  const TVqXMLSchemaElement& record = CurrentRecord();
  const IVqDOMElement element = record.AsElement();
  if (Size() == element.ElementCount()) return Size();
  if (element == FBuiltFrom && element.GetOwnerDocument().GetModificationCount() == FBuiltModification &&
      Version() == FBuiltVersion) {
    Renew();
  } else {
    Rebuild(record);
  }
  return Size();
}

namespace {

// What an element stands for; none for one that no definition is known for.
PVqEWSPropDef RowOf(const string& AClassName, const IVqDOMElement& AElement) {
  const string name = AElement.GetLocalName();
  return name == "ExtendedProperty" ? RowOfExtendedProperty(AElement) : GetPropDef(AClassName, name, false);
}

}  // namespace

void TVqEWSProperties::Follow() {
  const TVqXMLSchemaElement& record = CurrentRecord();
  const string className = record.ClassName();
  for (const IVqDOMElement& child : record.AsElement().GetChildElements()) {
    const PVqEWSPropDef def = RowOf(className, child);
    if (def && !Find(GetNodePath(def))) return Rebuild(record);
  }
}

void TVqEWSProperties::ForEachChange(const std::function<void(TVqEWSProperty&)>& AVisit) {
  if (Size() == 0) return VisitDifferences(AVisit);
  Follow();
  const std::int32_t count = Count();  // once: it compares the list with the tree, which does not change here
  for (std::int32_t i = 0; i < count; ++i) AVisit(GetItem(i));
}

// The trees stand side by side but for what was changed. A child that is the same inside as the one beside it is
// unmodified, and so is all that it stands for.
void TVqEWSProperties::VisitDifferences(const std::function<void(TVqEWSProperty&)>& AVisit) {
  using detail::TVqRawElement;
  const TVqXMLSchemaElement& record = CurrentRecord();
  const IVqDOMElement now = record.AsElement(), loaded = GetData()(desOriginal, true)->AsElement();
  const string className = record.ClassName();
  std::vector<PVqEWSPropDef> defs;  // all of them first, as an answer that cannot be listed is not half visited
  const auto add = [&](PVqEWSPropDef def) {
    if (std::ranges::find(defs, def) == defs.end()) defs.push_back(def);
  };
  bool inStep = true;
  TVqRawElement beside = TVqRawElement(loaded).FirstChild();
  for (TVqRawElement child = TVqRawElement(now).FirstChild(); child; child = child.Next()) {
    if (!beside || beside.Name() != child.Name()) beside = TVqRawElement(loaded).Child(child.Name());
    const bool same = beside && detail::SameInnerXML(beside, child);
    if (beside) beside = beside.Next();
    inStep = inStep && same;
    // Of an extended property that no row has, a save tells even if it is the same; and where they are out of step, the
    // one beside it may be another one.
    const bool extended = child.LocalName() == "ExtendedProperty";
    if (same && !extended) continue;
    const PVqEWSPropDef def = RowOf(className, detail::MakeElement(now, child));
    if (!def || inStep) continue;
    if (def->NodeType == pdntSimple) add(def);
    if (def->NodeType == pdntArray)
      for (const PVqEWSPropDef part : GetKeyPropDefs(def)) add(part);
  }
  for (const PVqEWSPropDef def : defs) AVisit(*MakeProperty(*def));
}

void TVqEWSProperties::Rebuild(const TVqXMLSchemaElement& ARecord) {
  // All definitions first: an answer that cannot be listed leaves the list, and the statuses, as they were.
  const string className = ARecord.ClassName();
  std::vector<PVqEWSPropDef> defs;
  for (const IVqDOMElement& child : ARecord.AsElement().GetChildElements()) {
    if (const PVqEWSPropDef def = RowOf(className, child)) defs.push_back(def);
  }

  std::vector<TSavedStatus> saved;
  for (std::int32_t i = 0; i < Size(); ++i)
    if (At(i).GetExplicitUpdateStatus()) saved.push_back(TSavedStatus(At(i)));
  std::unordered_map<string, const TSavedStatus*> savedByPath;
  for (const TSavedStatus& status : saved) savedByPath.emplace(status.Path, &status);
  Clear();

  const auto add = [&](const TVqEWSPropDef& def) -> TVqEWSProperty& {
    TVqEWSProperty& property = Entry(def);
    if (const auto status = savedByPath.find(property.GetPath()); status != savedByPath.end())
      property.FExplicit = status->second->Status;
    return property;
  };
  for (const PVqEWSPropDef def : defs) {
    TVqEWSProperty& property = add(*def);
    // What has parts is never sent as a whole: its parts stand beside it in the list.
    if (def->NodeType != pdntSimple) property.SetUpdateStatus(dusUnmodified);
    if (def->NodeType == pdntArray)
      for (const PVqEWSPropDef part : GetKeyPropDefs(def)) add(*part);
  }
  // A load leaves extended properties out: what is to be deleted need not stand in the tree.
  for (const TSavedStatus& status : saved)
    if (status.Status.Status == dusDeleted && !Find(GetNodePath(status.Def))) add(status.Def);

  FBuiltFrom = ARecord.AsElement();
  FBuiltModification = FBuiltFrom.GetOwnerDocument().GetModificationCount();
  FBuiltVersion = Version();
}

TVqEWSProperties::TSavedStatus::TSavedStatus(const TVqEWSProperty& AProperty)
    : Path(AProperty.GetPath()), Status(AProperty.FExplicit), Def(AProperty.GetRow()) {
  if (!Def.PropertySetId) return;
  Set = std::make_unique<TGUID>(*Def.PropertySetId);  // an application's definition goes with its entry
  Def.PropertySetId = Set.get();
}

// The same entries as before, as nothing has changed: only those that someone may hold are made anew.
void TVqEWSProperties::Renew() {
  RenewHandedOut([&](TVqEWSProperty& old) {
    std::unique_ptr<TVqEWSProperty> property = MakeProperty(old.GetRow());
    property->FExplicit = old.FExplicit;
    if (old.GetNodeType() != pdntSimple) property->SetUpdateStatus(dusUnmodified);
    return property;
  });
}

void TVqEWSProperties::ResetExplicitStatuses() noexcept {
  FBuiltFrom = nullptr;
  for (std::int32_t i = 0; i < Size(); ++i) {
    At(i).SetExplicitUpdateStatus(false);
    At(i).FOfEarlierData = true;
  }
}

bool TVqEWSProperties::HasProperty(const TVqEWSPropDef& APropDef) {
  const TVqEWSProperty* entry = Find(GetNodePath(APropDef));
  if (!APropDef.Extended)
    return entry || CurrentRecord().FindSchemaInfo("t:" + APropDef.NodeName.ToString()).has_value();
  if (entry && !entry->FOfEarlierData) return true;

  const auto isThere = [&] {
    return static_cast<bool>(
        EwsValueOfExtendedProperty(EwsFindExtendedProperty(CurrentRecord().AsElement(), APropDef)));
  };
  if (isThere()) return true;  // needs no round trip
  return TVqEWSData::AskFor(CurrentRecord(), APropDef.PropDefName) && isThere();
}

// ---- TVqEWSProperties: its entries

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
// booleans and dates count as inserted; a text stays unmodified, as it is empty. Meant so: who
// does not want to make anything asks HasProperty.
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
      AProperty.SetAsDateTime({});
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
