#include "ews/schema/uVqEWSProps.h"

#include <algorithm>
#include <string>
#include <unordered_map>

#include "ews/schema/uVqEWSPropsRows_p.h"
#include "platform/common/uVqSysUtils.h"

namespace velmore {

// ---- Property sets

constexpr TGUID PS_MAPI{"00020328-0000-0000-C000-000000000046"};
constexpr TGUID PS_PUBLIC_STRINGS{"00020329-0000-0000-C000-000000000046"};
constexpr TGUID PSETID_PublicStrings{"00020329-0000-0000-C000-000000000046"};
constexpr TGUID PS_INTERNET_HEADERS{"00020386-0000-0000-C000-000000000046"};
constexpr TGUID PSETID_InternetHeaders{"00020386-0000-0000-C000-000000000046"};
constexpr TGUID PSETID_Appointment{"00062002-0000-0000-C000-000000000046"};
constexpr TGUID PSETID_Task{"00062003-0000-0000-C000-000000000046"};
constexpr TGUID PSETID_Address{"00062004-0000-0000-C000-000000000046"};
constexpr TGUID PSETID_Common{"00062008-0000-0000-C000-000000000046"};
constexpr TGUID PSETID_Log{"0006200A-0000-0000-C000-000000000046"};
constexpr TGUID PSETID_Note{"0006200E-0000-0000-C000-000000000046"};
constexpr TGUID PSETID_Sharing{"00062040-0000-0000-C000-000000000046"};
constexpr TGUID PSETID_PostRss{"00062041-0000-0000-C000-000000000046"};
constexpr TGUID PSETID_Messaging{"41F28F13-83F4-4114-A584-EEDB5A6B0BFF"};
constexpr TGUID PSETID_Attachment{"96357F7F-59E1-47D0-99A7-46515C183B54"};
constexpr TGUID PSETID_CalendarAssistant{"11000E07-B51B-40D6-AF21-CAA85EDAB1D0"};
constexpr TGUID PSETID_UnifiedMessaging{"4442858E-A9E3-4E80-B900-317A210CC15B"};
constexpr TGUID PSETID_Meeting{"6ED8DA90-450B-101B-98DA-00AA003F1305"};
constexpr TGUID PSETID_AirSync{"71035549-0739-4DCB-9163-00F0580DBBDF"};
constexpr TGUID PSETID_Velmore{"52A474EE-E1A3-4E63-8FFC-FCDACB06A7FC"};
constexpr TGUID GUID_PKMDocSummaryInformation{"D5CDD502-2E9C-101B-9397-08002B2CF9AE"};
constexpr TGUID PSETID_Exchange1{"48862A09-F786-0114-0281-000000000000"};

namespace {

// ---- The look-up structures

// The library's rows are found through the tables that the compiler made; only what an application registers is kept
// here. The order of a walk is the order of registration: the families, then the application's rows.
template <typename TDef>
class TDictionary {
 public:
  explicit TDictionary(std::initializer_list<const props::TFamily<TDef>*> AFamilies) : FFamilies(AFamilies) {}

  const TDef* Find(std::string_view AKey) const {
    for (const auto* family : FFamilies)
      if (AKey.starts_with(family->Prefix))
        if (const TDef* row = family->Find(AKey)) return row;
    const auto added = FAdded.find(AKey);
    return added == FAdded.end() ? nullptr : added->second;
  }

  bool Add(const TDef* ARow) {
    const std::string_view key = props::KeyOf(*ARow);
    if (Find(key)) return false;
    FAdded.emplace(key, ARow);
    FAddedRows.push_back(ARow);
    return true;
  }

  // The first row that the condition holds for.
  const TDef* FirstOf(const auto& ACondition) const {
    for (const auto* family : FFamilies)
      for (const TDef* row : family->Rows)
        if (ACondition(*row)) return row;
    for (const TDef* row : FAddedRows)
      if (ACondition(*row)) return row;
    return nullptr;
  }

 private:
  std::vector<const props::TFamily<TDef>*> FFamilies;
  std::unordered_map<std::string_view, const TDef*> FAdded;
  std::vector<const TDef*> FAddedRows;
};

using TChildren = std::unordered_map<PVqEWSPropDef, TVqEWSPropDefArray>;

// Made at the first look-up and never freed, so that objects that are destroyed at the program's end may still look up.
TDictionary<TVqEWSPropDef>& PropDefs() {
  static auto& dictionary = *new TDictionary<TVqEWSPropDef>{&props::FamilyPR, &props::FamilyEPR, &props::FamilyMPR};
  return dictionary;
}

TDictionary<TVqEWSFieldDef>& FieldDefs() {
  static auto& dictionary = *new TDictionary<TVqEWSFieldDef>{&props::FamilyFLD, &props::FamilyEFLD, &props::FamilyMFLD};
  return dictionary;
}

TChildren& Children() {
  static auto& children = *[] {
    auto* parts = new TChildren;
    for (const PVqEWSPropDef row : props::FamilyPR.Rows)
      if (row->ParentProp) (*parts)[row->ParentProp].push_back(row);
    return parts;
  }();
  return children;
}

// Names of classes and members are ASCII but for an application's own.
std::string UpperName(const string& AName) {
  std::string name = AName.utf8();
  if (std::any_of(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; }))
    return UpperCase(AName).utf8();
  for (char& c : name)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return name;
}

std::string FieldScheme(const string& AClassName) {
  static constexpr struct {
    const char* ClassName;
    const char* Scheme;
  } schemes[] = {{"TEwsFolder", "FOLDER"},
                 {"TEwsMessage", "MESSAGE"},
                 {"TEwsCalendarItem", "CALENDAR"},
                 {"TEwsTask", "TASK"},
                 {"TEwsContactItem", "CONTACT"},
                 {"TEwsMeetingMessage", "MEETING"},
                 {"TEwsMeetingRequestMessage", "MEETINGREQUEST"}};
  for (const auto& scheme : schemes)
    if (AClassName == scheme.ClassName) return scheme.Scheme;
  return UpperName(AClassName);
}

// The extended rows by what names them in a request: an item with sixty such properties would else walk six thousand
// rows sixty times.
class TExtendedRows {
 public:
  explicit TExtendedRows(const TDictionary<TVqEWSPropDef>& ARows) {
    ARows.FirstOf([this](const TVqEWSPropDef& row) {
      Add(&row);
      return false;
    });
  }

  void Add(PVqEWSPropDef ARow) {
    if (!ARow->Extended) return;
    for (std::string& key : KeysOf(*ARow)) FPlaces.try_emplace(std::move(key), FRows.size());
    FRows.push_back(ARow);
  }

  // The first row that shares a name with the definition. The type is not compared: a tag or an id names one property,
  // whatever type a caller believes it to have.
  PVqEWSPropDef Find(const TVqEWSPropDef& APropDef) const {
    std::size_t first = FRows.size();
    for (const std::string& key : KeysOf(APropDef))
      if (const auto place = FPlaces.find(key); place != FPlaces.end()) first = std::min(first, place->second);
    return first == FRows.size() ? nullptr : FRows[first];
  }

 private:
  static std::vector<std::string> KeysOf(const TVqEWSPropDef& ARow) {
    std::vector<std::string> keys;
    if (ARow.PropertyTag != 0) keys.push_back(std::to_string(ARow.PropertyTag));
    const std::string member =
        ARow.PropKind == pkId ? '#' + std::to_string(ARow.Id) : ':' + ARow.Name.ToString().utf8();
    if (!ARow.DistinguishedPropertySetId.empty())
      keys.push_back(UpperName(ARow.DistinguishedPropertySetId.ToString()) + member);
    if (ARow.PropertySetId)
      keys.push_back(std::string(reinterpret_cast<const char*>(ARow.PropertySetId), sizeof(TGUID)) + member);
    return keys;
  }

  std::vector<PVqEWSPropDef> FRows;
  std::unordered_map<std::string, std::size_t> FPlaces;
};

// Rows by the name of what they stand for in an answer: for each element that no field of its kind is known for.
class TRowsByName {
 public:
  explicit TRowsByName(const TDictionary<TVqEWSPropDef>& ARows) {
    ARows.FirstOf([this](const TVqEWSPropDef& row) {
      Add(&row);
      return false;
    });
  }

  void Add(PVqEWSPropDef ARow) {
    FByName.try_emplace(ARow->Extended ? ARow->PropDefName.view() : ARow->NodeName.view(), ARow);
    if (ARow->Extended && ARow->PropDefName.view().starts_with(kHead))
      FByTail.try_emplace(UpperName(string(ARow->PropDefName.view().substr(kHead.size()))), ARow);
  }

  // The first row of that element, or of that name; else the first whose name is that one behind "EPR_", in whatever
  // case.
  PVqEWSPropDef Find(const string& AName) const {
    if (const auto row = FByName.find(AName.utf8()); row != FByName.end()) return row->second;
    const auto row = FByTail.find(UpperName(AName));
    return row == FByTail.end() ? nullptr : row->second;
  }

 private:
  static constexpr std::string_view kHead = "EPR_";

  std::unordered_map<std::string_view, PVqEWSPropDef> FByName;
  std::unordered_map<std::string, PVqEWSPropDef> FByTail;
};

TRowsByName& RowsByName() {
  static auto& rows = *new TRowsByName(PropDefs());
  return rows;
}

TExtendedRows& ExtendedRows() {
  static auto& rows = *new TExtendedRows(PropDefs());
  return rows;
}

}  // namespace

// ---- Registration

void RegisterProp(PVqEWSPropDef APropDef) {
  if (!APropDef || APropDef->PropDefName.empty())
    throw EVqException("A property definition without a name cannot be registered!");
  TExtendedRows& extended = ExtendedRows();
  TRowsByName& byName = RowsByName();
  if (!PropDefs().Add(APropDef)) return;
  extended.Add(APropDef);
  byName.Add(APropDef);
  if (!APropDef->Extended && APropDef->ParentProp) Children()[APropDef->ParentProp].push_back(APropDef);
}

void RegisterField(PVqEWSFieldDef AFieldDef) {
  if (!AFieldDef || AFieldDef->FieldDefName.empty())
    throw EVqException("A field definition without a name cannot be registered!");
  if (!AFieldDef->PropDef)
    throw EVqException(Format("The field definition \"%s\" has no property!", {AFieldDef->FieldDefName.ToString()}));
  FieldDefs().Add(AFieldDef);
}

// ---- Look-up of properties

PVqEWSPropDef GetPropDef(std::string_view APropDefName, bool ARaise) {
  if (const PVqEWSPropDef row = PropDefs().Find(APropDefName)) return row;
  if (ARaise) throw EVqException(Format("There is no property definition \"%s\"!", {string(APropDefName)}));
  return nullptr;
}

PVqEWSPropDef GetPropDef(const TVqEWSPropDef& APropDef) {
  PVqEWSPropDef found = nullptr;
  if (!APropDef.PropDefName.empty()) found = GetPropDef(APropDef.PropDefName, false);
  if (!found && APropDef.Extended) found = ExtendedRows().Find(APropDef);
  if (!found) throw EVqException(Format("There is no property definition \"%s\"!", {APropDef.PropDefName.ToString()}));
  return found;
}

PVqEWSPropDef GetPropDef(const string& AClassName, const string& AName, bool ARaise) {
  if (!AClassName.empty())
    if (const PVqEWSFieldDef field = GetFieldDef(AClassName, AName, false)) return field->PropDef;

  const PVqEWSPropDef found = RowsByName().Find(AName);
  if (!found && ARaise)
    throw EVqException(Format("There is no property definition for \"%s:%s\"!", {AClassName, AName}));
  return found;
}

const TVqEWSPropDefArray& GetKeyPropDefs(PVqEWSPropDef APropDef) {
  static const TVqEWSPropDefArray none;
  const TChildren& children = Children();
  const auto parts = children.find(APropDef);
  return parts == children.end() ? none : parts->second;
}

// ---- Look-up of fields

PVqEWSFieldDef GetFieldDef(std::string_view AFieldDefName, bool ARaise) {
  if (const PVqEWSFieldDef row = FieldDefs().Find(AFieldDefName)) return row;
  if (ARaise) throw EVqException(Format("There is no field definition \"%s\"!", {string(AFieldDefName)}));
  return nullptr;
}

PVqEWSFieldDef GetFieldDef(const TVqEWSFieldDef& AFieldDef) {
  return GetFieldDef(AFieldDef.FieldDefName, true);
}

PVqEWSFieldDef GetFieldDef(const string& AClassName, const string& AName, bool ARaise) {
  const std::string scheme = FieldScheme(AClassName);
  const std::string name = UpperName(AName);
  PVqEWSFieldDef found = nullptr;
  if (scheme == "CONTACT") {
    for (const char* head : {"FLD_CONTACTS_", "FLD_PERSONA_", "FLD_PERSON_"})
      if (!found) found = GetFieldDef(head + name, false);
  } else {
    found = GetFieldDef("FLD_" + scheme + "_" + name, false);
  }
  if (!found) found = GetFieldDef("FLD_ITEM_" + name, false);
  if (!found && ARaise) throw EVqException(Format("There is no field definition for \"%s.%s\"!", {AClassName, AName}));
  return found;
}

PVqEWSFieldDef GetFirstFieldDef(std::string_view APropDefName) {
  const PVqEWSFieldDef found =
      FieldDefs().FirstOf([&](const TVqEWSFieldDef& row) { return row.PropDef->PropDefName == APropDefName; });
  if (!found) throw EVqException(Format("There is no field definition for \"%s\"!", {string(APropDefName)}));
  return found;
}

// ---- Walks

void ForEachPropDef(const std::function<bool(const TVqEWSPropDef&)>& AVisit) {
  PropDefs().FirstOf([&](const TVqEWSPropDef& row) { return !AVisit(row); });
}

void ForEachFieldDef(const std::function<bool(const TVqEWSFieldDef&)>& AVisit) {
  FieldDefs().FirstOf([&](const TVqEWSFieldDef& row) { return !AVisit(row); });
}

}  // namespace velmore
