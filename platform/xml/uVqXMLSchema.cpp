#include "platform/xml/uVqXMLSchema.h"

#include <algorithm>

#include "platform/xml/uVqXMLDOMData_p.h"
#include "platform/xml/uVqXMLSchema_p.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {

using detail::TVqRawElement;

// ---- Classes

bool TVqXMLSchemaClass::InheritsFrom(const TVqXMLSchemaClass& AOther) const noexcept {
  const TVqXMLSchemaClass* level = this;
  while (level && level != &AOther) level = level->FBase;
  return level != nullptr;
}

const TVqXMLSchemaMember& TVqXMLSchemaClass::GetMember(std::int32_t AIndex) const {
  const TVqXMLSchemaClass* level = this;
  while (AIndex < level->FFirstIndex && level->FBase) level = level->FBase;
  const std::int32_t own = AIndex - level->FFirstIndex;
  if (own < 0 || own >= level->FOwnCount) throw EListError("Invalid Schema Index");
  return level->FMembers[own];
}

const detail::TVqXMLNameIndex& TVqXMLSchemaClass::NameIndex() const {
  const detail::TVqXMLNameIndex* index = FIndex.load(std::memory_order_acquire);
  if (!index) {
    auto made = std::make_unique<const detail::TVqXMLNameIndex>(*this);
    if (FIndex.compare_exchange_strong(index, made.get(), std::memory_order_acq_rel)) index = made.release();
  }
  return *index;
}

std::int32_t TVqXMLSchemaClass::FindMember(std::string_view AName) const {
  return NameIndex().Find(AName);
}

TVqXMLSchemaInfo TVqXMLSchemaClass::GetInfo(std::int32_t AIndex) const {
  using enum TVqXMLSchemaRule;
  const TVqXMLSchemaMember& row = GetMember(AIndex);
  const bool attribute = row.NodeType == TVqDOMNodeType::ntAttribute;
  const bool required = row.Rule == Required;
  const std::int32_t min = (required && !attribute) || row.Rule == NonEmpty ? 1 : 0;
  const std::int32_t max = row.Rule == Many || row.Rule == NonEmpty ? -1 : row.Rule == UpTo3 ? 3 : 1;
  const std::int32_t choice = row.Rule == Choice0 ? 0 : row.Rule == Choice1 ? 1 : -1;
  return {AIndex, row.NodeType, row.Name, min, max, required && attribute, choice, row.Type};
}

TVqTypeInfo TVqXMLSchemaClass::GetTypeInfo(std::string_view AName) const {
  const std::int32_t index = FindMember(AName);
  return index < 0 ? TVqTypeInfo{} : GetMember(index).Type;
}

IVqDOMElement TVqXMLSchemaClass::ChildOf(const IVqDOMElement& AParent, std::string_view AName) const {
  if (const TVqRawElement child = TVqRawElement(AParent).Child(AName)) return detail::MakeElement(AParent, child);
  return InsertInto(AParent, AName);
}

IVqDOMElement TVqXMLSchemaClass::InsertInto(const IVqDOMElement& AParent, std::string_view AName) const {
  const detail::TVqXMLNameIndex& names = NameIndex();
  return detail::InsertAtRank(AParent, AName, names.FindExact(AName),
                              [&names](std::string_view name) { return names.FindExact(name); });
}

// ---- Values

namespace detail {
namespace {

template <typename T, typename F>
void ReadUnlessEmpty(std::string_view text, T& value, F convert) {
  text = VqTrimSpace(text);
  value = text.empty() ? T{} : convert(text);
}

}  // namespace

void ReadValue(std::string_view text, string& value) {
  value = TextFromUtf8(text);
}
void ReadValue(std::string_view text, bool& value) {
  ReadUnlessEmpty(text, value, VqXMLToBool);
}
void ReadValue(std::string_view text, std::int32_t& value) {
  ReadUnlessEmpty(text, value, VqXMLToInt);
}
void ReadValue(std::string_view text, std::int64_t& value) {
  ReadUnlessEmpty(text, value, VqXMLToInt64);
}
void ReadValue(std::string_view text, double& value) {
  ReadUnlessEmpty(text, value, VqXMLToDouble);
}
void ReadValue(std::string_view text, TDateTime& value) {
  ReadUnlessEmpty(text, value, [](std::string_view t) { return VqXMLToDateTime(t); });
}
void ReadValue(std::string_view text, TGUID& value) {
  ReadUnlessEmpty(text, value, VqXMLToGuid);
}
void ReadValue(std::string_view text, TBytes& value) {
  ReadUnlessEmpty(text, value, VqXMLToBytes);
}

string WriteValue(const string& value) {
  return value;
}
string WriteValue(bool value) {
  return VqBoolToXML(value);
}
string WriteValue(std::int32_t value) {
  return VqIntToXML(value);
}
string WriteValue(std::int64_t value) {
  return VqInt64ToXML(value);
}
string WriteValue(double value) {
  return VqDoubleToXML(value);
}
string WriteValue(TDateTime value) {
  return VqDateTimeToXML(value);
}
string WriteValue(const TGUID& value) {
  return VqGuidToXML(value);
}
string WriteValue(const TBytes& value) {
  return VqBytesToXML(value);
}

std::int32_t ReadEnum(std::string_view text, const TVqEnumInfo& info) noexcept {
  return std::max(VqEnumValueOf(info, VqTrimSpace(text)), 0);
}

void RaiseMisfit(const string& number) {
  throw EConvertError(number + " does not fit into the type of number asked for.");
}

void RaiseNoSchemaClass() {
  throw EVqException("Only TVqXMLSchemaElement class types are supported!");
}

}  // namespace detail

// ---- The record

constinit const TVqXMLSchemaClass detail::RootSchemaClass("TVqXMLSchemaElement", nullptr, nullptr, 0, 0,
                                                          &MakeRecord<TVqXMLSchemaElement>);
constinit const TVqXMLSchemaClass detail::SimpleContentSchemaClass(
    "TVqXMLSchemaSimpleContentElement", &RootSchemaClass, nullptr, 0, 0,
    &MakeRecord<TVqXMLSchemaSimpleContentElement<string>>);

const TVqXMLSchemaClass& TVqXMLSchemaElement::SchemaClass() noexcept {
  return detail::RootSchemaClass;
}
const TVqXMLSchemaClass& TVqXMLSchemaElement::GetSchemaClass() const noexcept {
  return detail::RootSchemaClass;
}

TVqXMLSchemaElement::~TVqXMLSchemaElement() {
  delete FExtras;
}

std::unique_ptr<TVqXMLSchemaElement> TVqXMLSchemaClass::CreateRecord(const IVqDOMElement& AElement) const {
  return std::unique_ptr<TVqXMLSchemaElement>(FFactory(AElement));
}

void TVqXMLSchemaElement::RaiseDiscarded() {
  throw EVqException("This record was discarded: its place in the tree was written over, deleted or loaded again.");
}

detail::TVqXMLSchemaExtras& TVqXMLSchemaElement::Extras() const {
  if (!FExtras) FExtras = new detail::TVqXMLSchemaExtras;
  return *FExtras;
}

void TVqXMLSchemaElement::Discard() noexcept {
  FDiscarded = true;
  FElement = {};
  DiscardChildren();
}

void TVqXMLSchemaElement::DiscardChildren() noexcept {
  if (!FExtras) return;
  // Moved aside, not destroyed: whoever still holds a reference gets an exception instead of freed memory.
  for (auto& child : FExtras->Children) {
    child.Record->Discard();
    FExtras->ParkedRecords.push_back(std::move(child.Record));
  }
  FExtras->Children.clear();
  for (auto& array : FExtras->Arrays) {
    array.Array->Discard();
    FExtras->ParkedArrays.push_back(std::move(array.Array));
  }
  FExtras->Arrays.clear();
}

void TVqXMLSchemaElement::AssignTo(TVqXMLSchemaElement& ATarget) const {
  const IVqDOMElement source = Element();
  const IVqDOMElement target = ATarget.Element();
  if (source == target) return;
  ATarget.DiscardChildren();
  detail::AssignContent(target, source);
}

void TVqXMLSchemaElement::AssignTo(TVqXMLSchemaElement* ATarget) const {
  if (!ATarget) throw EVqException("There is no record to copy to.");
  AssignTo(*ATarget);
}

// ---- Members

struct TVqXMLSchemaElement::TMember {
  std::string_view Name;
  bool IsAttribute = false;
  const TVqXMLSchemaInfo* Info = nullptr;  // of a member that the application registered
  std::int32_t Index = -1;

  // The first child element of its name in a record that has an element.
  TVqRawElement PlaceIn(const TVqXMLSchemaElement& record) const {
    const TVqRawElement element(record.Element());
    if (!record.FExtras || Info) return element.Child(Name);
    const TVqXMLSchemaClass& schema = record.GetSchemaClass();
    return record.FExtras->Places.Find(element, schema.NameIndex(), schema.GetMemberCount(), Name, Index);
  }
};

void TVqXMLSchemaElement::Prepare() const {
  if (FPrepared) return;
  FPrepared = true;
  // Registration is lazy, as a constructor cannot reach what a derived class overrides.
  const_cast<TVqXMLSchemaElement*>(this)->AfterConstruction();
}

void TVqXMLSchemaElement::AddSchemaInfo(std::int32_t AIndex, TVqDOMNodeType ANodeType, const string& AName,
                                        std::int32_t AMinOccurs, std::int32_t AMaxOccurs, bool ARequired,
                                        std::int32_t AChoiceGroup) {
  if (AIndex < 0 || AIndex < GetSchemaClass().GetMemberCount()) throw EListError("Invalid Schema Index");
  auto& own = Extras().OwnMembers;
  for (const auto& member : own) {
    if (member->Info.GetIndex() == AIndex) throw EListError("Invalid Schema Index");
  }
  own.push_back(std::make_unique<detail::TVqXMLOwnMember>(
      TVqXMLSchemaInfo(AIndex, ANodeType, AName, AMinOccurs, AMaxOccurs, ARequired, AChoiceGroup), AName.utf8()));
}

TVqXMLSchemaElement::TMember TVqXMLSchemaElement::MemberByIndex(std::int32_t index) const {
  Prepare();
  if (FExtras && !FExtras->OwnMembers.empty()) {
    for (const auto& own : FExtras->OwnMembers) {
      if (own->Info.GetIndex() == index) return own->AsMember<TMember>();
    }
  }
  const TVqXMLSchemaMember& row = GetSchemaClass().GetMember(index);
  return {row.Name, row.NodeType == TVqDOMNodeType::ntAttribute, nullptr, index};
}

bool TVqXMLSchemaElement::MemberByName(std::string_view name, TMember& member) const {
  Prepare();
  if (FExtras) {
    const auto& own = FExtras->OwnMembers;
    for (const bool exact : {true, false}) {
      for (auto i = own.rbegin(); i != own.rend(); ++i) {
        if (name == (exact ? std::string_view((*i)->Name) : detail::LocalName((*i)->Name))) {
          member = (*i)->AsMember<TMember>();
          return true;
        }
      }
    }
  }
  const std::int32_t index = GetSchemaClass().FindMember(name);
  if (index < 0) return false;
  member = MemberByIndex(index);
  return true;
}

TVqXMLSchemaInfo TVqXMLSchemaElement::InfoOf(const TMember& member) const {
  return member.Info ? *member.Info : GetSchemaClass().GetInfo(member.Index);
}

std::optional<TVqXMLSchemaInfo> TVqXMLSchemaElement::FindSchemaInfo(const TVqUtf8View& AName) const {
  TMember member;
  if (!MemberByName(AName.View(), member)) return std::nullopt;
  return InfoOf(member);
}

TVqTypeInfo TVqXMLSchemaElement::GetTypeInfo(const TVqUtf8View& AName) const {
  return GetSchemaClass().GetTypeInfo(AName.View());
}

std::int32_t TVqXMLSchemaElement::RankOf(std::string_view name) const {
  const TVqXMLSchemaClass& schema = GetSchemaClass();
  if (FExtras) {
    const auto& own = FExtras->OwnMembers;
    for (std::size_t i = own.size(); i-- > 0;) {
      if (own[i]->Name == name) return schema.GetMemberCount() + static_cast<std::int32_t>(i);
    }
  }
  return schema.NameIndex().FindExact(name);
}

IVqDOMNode TVqXMLSchemaElement::NodeOf(const TMember& member) const {
  const IVqDOMElement& element = Element();
  if (!element) return {};
  if (member.IsAttribute) return element.GetAttributeNode(member.Name);
  const TVqRawElement child = member.PlaceIn(*this);
  return child ? detail::MakeElement(element, child) : IVqDOMElement();
}

IVqDOMNode TVqXMLSchemaElement::MakeNode(const TMember& member) const {
  const IVqDOMElement& element = Element();
  if (!element) throw EVqException(Format("%s has no element to write \"%s\" to.", {ClassName(), string(member.Name)}));
  if (member.IsAttribute) return element.AddAttribute(member.Name);
  return detail::InsertAtRank(element, member.Name, RankOf(member.Name),
                              [this](std::string_view name) { return RankOf(name); });
}

IVqDOMNode TVqXMLSchemaElement::GetNode(const TVqUtf8View& AName) {
  TMember member;
  if (!MemberByName(AName.View(), member)) return {};
  if (IVqDOMNode node = NodeOf(member)) return node;
  return MakeNode(member);
}

IVqDOMNode TVqXMLSchemaElement::FindNode(const TVqUtf8View& AName) const {
  TMember member;
  return MemberByName(AName.View(), member) ? NodeOf(member) : IVqDOMNode();
}

void TVqXMLSchemaElement::RemoveNode(const TVqUtf8View& AName) {
  TMember member;
  if (!MemberByName(AName.View(), member)) return;
  const IVqDOMNode node = NodeOf(member);
  if (!node) return;
  if (member.IsAttribute) {
    Element().RemoveAttribute(member.Name);
  } else {
    Element().RemoveChild(node);
  }
}

IVqDOMNode TVqXMLSchemaElement::GetNodeByIndex(std::int32_t AIndex, bool ACreate) {
  const TMember member = MemberByIndex(AIndex);
  IVqDOMNode node = NodeOf(member);
  return node || !ACreate ? node : MakeNode(member);
}

// ---- Loading on demand

void TVqXMLSchemaElement::SetOnGetSOAPElement(TVqGetSOAPElementEvent AHandler) {
  if (AHandler || FExtras) Extras().OnGetSOAPElement = std::move(AHandler);
}

const TVqGetSOAPElementEvent& TVqXMLSchemaElement::GetOnGetSOAPElement() const noexcept {
  static const TVqGetSOAPElementEvent kNone;
  return FExtras ? FExtras->OnGetSOAPElement : kNone;
}

bool TVqXMLSchemaElement::Demand(const TMember& member) const {
  if (!FExtras || !FExtras->OnGetSOAPElement) return false;
  const TVqGetSOAPElementEvent handler = FExtras->OnGetSOAPElement;  // it may set another one while it runs
  handler(const_cast<TVqXMLSchemaElement*>(this), InfoOf(member));
  return true;
}

// ---- Values of members

std::string_view TVqXMLSchemaElement::ReadText(std::int32_t index, std::string& scratch) const {
  const TMember member = MemberByIndex(index);
  const auto look = [&]() -> std::optional<std::string_view> {
    const IVqDOMElement& element = Element();
    if (!element) return std::nullopt;
    if (member.IsAttribute) return TVqRawElement(element).Attribute(member.Name);
    if (const TVqRawElement child = member.PlaceIn(*this)) return child.Text(scratch);
    return std::nullopt;
  };
  auto text = look();
  if (!text && Demand(member)) text = look();
  return text.value_or(std::string_view());
}

std::int32_t TVqXMLSchemaElement::ReadEnumValue(std::int32_t index, const TVqEnumInfo& info) const {
  std::string scratch;
  return detail::ReadEnum(ReadText(index, scratch), info);
}

template <typename T>
T TVqXMLSchemaElement::ReadSimple(std::int32_t index) const {
  std::string scratch;
  T value{};
  detail::ReadValue(ReadText(index, scratch), value);
  return value;
}

string TVqXMLSchemaElement::GetStringValue(std::int32_t AIndex) const {
  std::string scratch;
  return detail::TextFromUtf8(ReadText(AIndex, scratch));
}
std::int32_t TVqXMLSchemaElement::GetIntValue(std::int32_t AIndex) const {
  return ReadSimple<std::int32_t>(AIndex);
}
std::int64_t TVqXMLSchemaElement::GetLongValue(std::int32_t AIndex) const {
  return ReadSimple<std::int64_t>(AIndex);
}
double TVqXMLSchemaElement::GetDoubleValue(std::int32_t AIndex) const {
  return ReadSimple<double>(AIndex);
}
bool TVqXMLSchemaElement::GetBooleanValue(std::int32_t AIndex) const {
  return ReadSimple<bool>(AIndex);
}
TDateTime TVqXMLSchemaElement::GetDatetimeValue(std::int32_t AIndex) const {
  return ReadSimple<TDateTime>(AIndex);
}
TGUID TVqXMLSchemaElement::GetGuidValue(std::int32_t AIndex) const {
  return ReadSimple<TGUID>(AIndex);
}

TDateTime TVqXMLSchemaElement::GetDateValue(std::int32_t AIndex) const {
  std::string scratch;
  const std::string_view text = VqTrimSpace(ReadText(AIndex, scratch));
  return text.empty() ? TDateTime() : VqXMLToDate(text);
}

TDateTime TVqXMLSchemaElement::GetTimeValue(std::int32_t AIndex) const {
  std::string scratch;
  const std::string_view text = VqTrimSpace(ReadText(AIndex, scratch));
  // A time of day is on the wall of whoever reads it: no zone is applied in either direction.
  return text.empty() ? TDateTime() : VqXMLToTime(text, kVqTimeZoneNone);
}

double TVqXMLSchemaElement::GetDurationValue(std::int32_t AIndex) const {
  std::string scratch;
  const std::string_view text = VqTrimSpace(ReadText(AIndex, scratch));
  return text.empty() ? 0 : VqXMLToDuration(text);
}

void TVqXMLSchemaElement::SetValue(std::int32_t AIndex, const TVqUtf8View& AValue) {
  const TMember member = MemberByIndex(AIndex);
  if (const IVqDOMNode node = NodeOf(member)) {
    node.SetText(AValue);
  } else {
    detail::CheckText(AValue);  // a text that XML cannot carry leaves no empty member behind
    MakeNode(member).SetText(AValue);
  }
}
void TVqXMLSchemaElement::WriteString(std::int32_t index, const string& value) {
  SetValue(index, TVqUtf8View(value));
}
void TVqXMLSchemaElement::WriteEnumValue(std::int32_t index, const TVqEnumInfo& info, std::int32_t value) {
  SetValue(index, TVqUtf8View(VqEnumTextOf(info, value)));
}
void TVqXMLSchemaElement::SetIntValue(std::int32_t AIndex, std::int32_t AValue) {
  SetValue(AIndex, TVqUtf8View(VqIntToXML(AValue)));
}
void TVqXMLSchemaElement::SetLongValue(std::int32_t AIndex, std::int64_t AValue) {
  SetValue(AIndex, TVqUtf8View(VqInt64ToXML(AValue)));
}
void TVqXMLSchemaElement::SetDoubleValue(std::int32_t AIndex, double AValue) {
  SetValue(AIndex, TVqUtf8View(VqDoubleToXML(AValue)));
}
void TVqXMLSchemaElement::SetBooleanValue(std::int32_t AIndex, bool AValue) {
  SetValue(AIndex, TVqUtf8View(VqBoolToXML(AValue)));
}
void TVqXMLSchemaElement::SetDateValue(std::int32_t AIndex, TDateTime AValue) {
  SetValue(AIndex, TVqUtf8View(VqDateToXML(AValue)));
}
void TVqXMLSchemaElement::SetTimeValue(std::int32_t AIndex, TDateTime AValue) {
  SetValue(AIndex, TVqUtf8View(VqTimeToXML(AValue, kVqTimeZoneNone)));
}
void TVqXMLSchemaElement::SetDatetimeValue(std::int32_t AIndex, TDateTime AValue) {
  SetValue(AIndex, TVqUtf8View(VqDateTimeToXML(AValue)));
}
void TVqXMLSchemaElement::SetDurationValue(std::int32_t AIndex, double ADays) {
  SetValue(AIndex, TVqUtf8View(VqDurationToXML(ADays)));
}
void TVqXMLSchemaElement::SetGuidValue(std::int32_t AIndex, const TGUID& AValue) {
  SetValue(AIndex, TVqUtf8View(VqGuidToXML(AValue)));
}

// ---- Children, arrays, choices

namespace {

// The record of this node among those already made, if it is one of the wanted class; else a new one, kept.
template <typename TIsWanted>
TVqXMLSchemaElement& RecordOf(detail::TVqXMLSchemaExtras& extras, const IVqDOMNode& node,
                              TVqXMLSchemaClass::TFactory factory, TIsWanted isWanted) {
  for (const auto& child : extras.Children) {
    if (child.Record->AsElement() == node && (child.Factory == factory || isWanted(*child.Record)))
      return *child.Record;
  }
  std::unique_ptr<TVqXMLSchemaElement> record(factory(node.AsElement()));
  extras.Children.push_back({std::move(record), factory});
  return *extras.Children.back().Record;
}

}  // namespace

IVqDOMNode TVqXMLSchemaElement::NodeOrDemand(std::int32_t index) const {
  const TMember member = MemberByIndex(index);
  IVqDOMNode node = NodeOf(member);
  if (!node && Demand(member)) node = NodeOf(member);
  return node;
}

IVqDOMNode TVqXMLSchemaElement::NodeForRecord(std::int32_t index) const {
  const TMember member = MemberByIndex(index);
  if (member.IsAttribute) throw EVqException(Format("\"%s\" is an attribute, not a record.", {string(member.Name)}));
  const IVqDOMNode node = NodeOrDemand(index);
  return node ? node : MakeNode(member);
}

TVqXMLSchemaElement& TVqXMLSchemaElement::ReadChild(std::int32_t index, TVqXMLSchemaClass::TFactory factory,
                                                    bool (*isInstance)(const TVqXMLSchemaElement&)) const {
  return RecordOf(Extras(), NodeForRecord(index), factory, isInstance);
}

TVqXMLSchemaElement& TVqXMLSchemaElement::GetRecord(std::int32_t AIndex, const TVqXMLSchemaClass& AClass) const {
  return RecordOf(Extras(), NodeForRecord(AIndex), AClass.FFactory,
                  [&](const TVqXMLSchemaElement& record) { return record.GetSchemaClass().InheritsFrom(AClass); });
}

void TVqXMLSchemaElement::WriteChild(std::int32_t index, const TVqXMLSchemaElement& source) {
  // A handle of its own: the source may be among the children that go below.
  const IVqDOMElement from = source.Element();  // NOLINT(performance-unnecessary-copy-initialization)
  if (!from) throw EVqException("The record to copy from has no element.");
  const IVqDOMElement target = GetNodeByIndex(index, true).AsElement();
  // All children go, those of other members too: references to them are not to survive a written class.
  DiscardChildren();
  if (target != from) detail::AssignContent(target, from);
}

detail::TVqXMLSchemaArray& TVqXMLSchemaElement::ReadArray(std::int32_t index, detail::ArrayFactory factory) const {
  const IVqDOMElement& element = Element();
  auto& arrays = Extras().Arrays;
  for (const auto& array : arrays) {
    if (array.Index == index && array.Factory == factory) return *array.Array;
  }
  std::unique_ptr<detail::TVqXMLSchemaArray> made(factory(element, MemberByIndex(index).Name));
  arrays.push_back({index, factory, std::move(made)});
  return *arrays.back().Array;
}

std::int32_t TVqXMLSchemaElement::ChoiceOf(std::int32_t group, const TVqEnumInfo& info) const {
  Prepare();
  const TVqXMLSchemaClass& schema = GetSchemaClass();
  const IVqDOMElement& element = Element();
  const auto valueOf = [&](std::string_view name) { return std::max(VqEnumValueOf(info, detail::LocalName(name)), 0); };
  for (std::int32_t i = 0; i < schema.GetMemberCount(); ++i) {
    const TVqXMLSchemaMember& row = schema.GetMember(i);
    const bool inGroup =
        (group == 0 && row.Rule == TVqXMLSchemaRule::Choice0) || (group == 1 && row.Rule == TVqXMLSchemaRule::Choice1);
    if (inGroup && element && TVqRawElement(element).Child(row.Name)) return valueOf(row.Name);
  }
  if (FExtras) {
    for (const auto& own : FExtras->OwnMembers) {
      if (own->Info.GetChoiceGroup() == group && element && TVqRawElement(element).Child(own->Name)) {
        return valueOf(own->Name);
      }
    }
  }
  return 0;
}

}  // namespace velmore
