// Holds every row against its table, and the tables against their known sizes.

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <type_traits>

#include "ews/schema/uVqEWSPropsEFLD.h"
#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "ews/schema/uVqEWSPropsMFLD.h"
#include "ews/schema/uVqEWSPropsMPR.h"
#include "ews/schema/uVqEWSPropsPR.h"
#include "platform/common/uVqSysUtils.h"

namespace velmore {
namespace {

static_assert(std::is_trivially_copyable_v<TVqEWSPropDef> && std::is_trivially_destructible_v<TVqEWSPropDef>);
static_assert(std::is_trivially_copyable_v<TVqEWSFieldDef> && std::is_trivially_destructible_v<TVqEWSFieldDef>);

int Count(const char* AHead) {
  int count = 0;
  ForEachPropDef([&](const TVqEWSPropDef& row) {
    count += row.PropDefName.view().starts_with(AHead);
    return true;
  });
  ForEachFieldDef([&](const TVqEWSFieldDef& row) {
    count += row.FieldDefName.view().starts_with(AHead);
    return true;
  });
  return count;
}

void ExpectMember(const TVqEWSPropDef& ARow, std::string_view AKey, std::string_view ANode,
                  TVqEWSPropDefNodeType ANodeType, PVqEWSPropDef AParent) {
  EXPECT_EQ(GetPropDef(AKey, false), &ARow) << AKey;
  EXPECT_EQ(ARow.PropDefName.view(), AKey);
  EXPECT_FALSE(ARow.Extended) << AKey;
  EXPECT_EQ(ARow.NodeName.view(), ANode);
  EXPECT_EQ(ARow.NodeType, ANodeType) << AKey;
  EXPECT_EQ(ARow.ParentProp, AParent) << AKey;
  EXPECT_EQ(ARow.PropType, ptNull) << AKey;
  EXPECT_EQ(ARow.PropertySetId, nullptr) << AKey;
  EXPECT_EQ(ARow.PropertyTag, 0) << AKey;
}

void ExpectExtended(const TVqEWSPropDef& ARow, std::string_view AKey, TVqEWSPropType AType, const TGUID* ASet, int ATag,
                    TVqEWSPropKind AKind, int AId, std::string_view AName) {
  EXPECT_EQ(GetPropDef(AKey, false), &ARow) << AKey;
  EXPECT_EQ(ARow.PropDefName.view(), AKey);
  EXPECT_TRUE(ARow.Extended) << AKey;
  EXPECT_EQ(ARow.PropType, AType) << AKey;
  EXPECT_EQ(ARow.PropertySetId, ASet) << AKey;
  EXPECT_EQ(ARow.PropertyTag, ATag) << AKey;
  EXPECT_EQ(ARow.PropKind, AKind) << AKey;
  EXPECT_EQ(ARow.Id, AId) << AKey;
  EXPECT_EQ(ARow.Name.view(), AName) << AKey;
  EXPECT_TRUE(ARow.DistinguishedPropertySetId.empty()) << AKey;
  EXPECT_TRUE(ARow.NodeName.empty()) << AKey;
  EXPECT_EQ(ARow.ParentProp, nullptr) << AKey;
}

void ExpectField(const TVqEWSFieldDef& ARow, std::string_view AKey, PVqEWSPropDef APropDef, TVqEWSFieldDefType AType,
                 std::string_view AURI, std::string_view AIndex) {
  EXPECT_EQ(GetFieldDef(AKey, false), &ARow) << AKey;
  EXPECT_EQ(ARow.FieldDefName.view(), AKey);
  EXPECT_EQ(ARow.PropDef, APropDef) << AKey;
  EXPECT_EQ(ARow.FieldType, AType) << AKey;
  EXPECT_EQ(ARow.UnindexedFieldURI.view(), AURI) << AKey;
  EXPECT_EQ(ARow.FieldURI().view(), AURI) << AKey;
  EXPECT_EQ(ARow.FieldIndex.view(), AIndex) << AKey;
}

TEST(PropertyRows, EachFamilyHasItsRows) {
  EXPECT_EQ(Count("PR_"), 1417);
  EXPECT_EQ(Count("EPR_"), 670);
  EXPECT_EQ(Count("MPR_"), 1944);
  EXPECT_EQ(Count("FLD_"), 523);
  EXPECT_EQ(Count("EFLD_"), 669);
  EXPECT_EQ(Count("MFLD_"), 1347);
  EXPECT_EQ(Count("MPR_EMS_AB_"), 598);
}

TEST(PropertyRows, MembersOfTheSchemaAreAsInTheTable) {
  using std::string_view;
  using namespace std::string_view_literals;
#define VQ_PROP(AName, ANode) ExpectMember(AName, #AName, ANode, pdntSimple, nullptr);
#define VQ_KEYED_PROP(AName, AKey, ANode) ExpectMember(AName, AKey##sv, ANode, pdntSimple, nullptr);
#define VQ_PARENT_PROP(AName, ANode, ANodeType) ExpectMember(AName, #AName, ANode, ANodeType, nullptr);
#define VQ_PART_PROP(AName, ANode, AParent) ExpectMember(AName, #AName, ANode, pdntSimple, &AParent);
#include "ews/tables/PropRowsPR.inc"
#undef VQ_PROP
#undef VQ_KEYED_PROP
#undef VQ_PARENT_PROP
#undef VQ_PART_PROP
}

TEST(PropertyRows, MembersAreNamedAfterTheirElement) {
  ForEachPropDef([](const TVqEWSPropDef& row) {
    if (row.Extended || row.ParentProp || &row == &PR_START_DATE || &row == &PR_END_DATE || &row == &PR_FOLDERID)
      return true;
    EXPECT_EQ(row.PropDefName.ToString(), "PR_" + UpperCase(row.NodeName.ToString()));
    return true;
  });
}

/// A row of an extended property, which makes the property and, but for the lone ones, its field. An array of these is
/// compiled in a second where a call for each row takes minutes with sanitizers.
struct TExtendedRow {
  const TVqEWSPropDef& Prop;
  PVqEWSFieldDef Field;
  std::string_view Tail;
  TVqEWSPropType Type;
  const TGUID* Set;
  int Tag;
  TVqEWSPropKind Kind;
  int Id;
  std::string_view Name;

  void Expect(const std::string& AFamily, const std::string& AFieldFamily) const {
    ExpectExtended(Prop, AFamily + std::string(Tail), Type, Set, Tag, Kind, Id, Name);
    const std::string field = AFieldFamily + std::string(Tail);
    if (Field)
      ExpectField(*Field, field, &Prop, fdtExtendedField, "", "");
    else
      EXPECT_EQ(GetFieldDef(field, false), nullptr);
  }
};

TEST(PropertyRows, NamedPropertiesAndTheirFieldsAreAsInTheTable) {
  static const TExtendedRow kRows[] = {
#define VQ_ID_PROP(ATail, ASet, AId, AType) {EPR_##ATail, &EFLD_##ATail, #ATail, AType, &ASet, 0, pkId, AId, ""},
#define VQ_NAMED_PROP(ATail, ASet, APropertyName, AType) \
  {EPR_##ATail, &EFLD_##ATail, #ATail, AType, &ASet, 0, pkName, 0, APropertyName},
#define VQ_LONE_ID_PROP(ATail, ASet, AId, AType) {EPR_##ATail, nullptr, #ATail, AType, &ASet, 0, pkId, AId, ""},
#include "ews/tables/PropRowsEPR.inc"
#undef VQ_ID_PROP
#undef VQ_NAMED_PROP
#undef VQ_LONE_ID_PROP
  };
  for (const TExtendedRow& row : kRows) row.Expect("EPR_", "EFLD_");
}

TEST(PropertyRows, MapiPropertiesAndTheirFieldsAreAsInTheTable) {
  static const TExtendedRow kRows[] = {
#define VQ_TAG_PROP(ATail, ATag, AType) {MPR_##ATail, &MFLD_##ATail, #ATail, AType, nullptr, ATag, pkId, 0, ""},
#define VQ_LONE_TAG_PROP(ATail, ATag, AType) {MPR_##ATail, nullptr, #ATail, AType, nullptr, ATag, pkId, 0, ""},
#include "ews/tables/PropRowsMPR.inc"
#undef VQ_TAG_PROP
#undef VQ_LONE_TAG_PROP
  };
  for (const TExtendedRow& row : kRows) row.Expect("MPR_", "MFLD_");
}

TEST(PropertyRows, FieldsAreAsInTheTable) {
#define VQ_FIELD(AName, AURI, APropDef) ExpectField(AName, #AName, &APropDef, fdtField, AURI, "");
#define VQ_INDEXED_FIELD(AName, AURI, AIndex, APropDef) \
  ExpectField(AName, #AName, &APropDef, fdtIndexedField, AURI, AIndex);
#include "ews/tables/FieldRowsFLD.inc"
#undef VQ_FIELD
#undef VQ_INDEXED_FIELD
}

TEST(PropertyRows, KindsOfFieldsHaveTheirCounts) {
  std::map<TVqEWSFieldDefType, int> count;
  ForEachFieldDef([&](const TVqEWSFieldDef& row) {
    ++count[row.FieldType];
    return true;
  });
  EXPECT_EQ(count[fdtField], 494);
  EXPECT_EQ(count[fdtIndexedField], 29);
  EXPECT_EQ(count[fdtExtendedField], 669 + 1347);
}

TEST(PropertyRows, SomePropertiesAreSharedByFieldsAndMostMembersHaveNone) {
  std::map<PVqEWSPropDef, int> fields;
  ForEachFieldDef([&](const TVqEWSFieldDef& row) {
    ++fields[row.PropDef];
    return true;
  });
  int shared = 0, without = 0;
  ForEachPropDef([&](const TVqEWSPropDef& row) {
    shared += fields[&row] > 1;
    without += !row.Extended && fields[&row] == 0;
    return true;
  });
  EXPECT_EQ(shared, 42);
  EXPECT_EQ(without, 942);
  EXPECT_EQ(fields[&PR_DISPLAYNAME], 5);
  EXPECT_EQ(fields[&PR_FIELDURI], 0);
}

TEST(PropertyRows, RegistrationOrderIsFamilyByFamily) {
  std::vector<std::string> heads;
  const auto visit = [&](std::string_view key) {
    const std::string head(key.substr(0, key.find('_')));
    if (heads.empty() || heads.back() != head) heads.push_back(head);
    return true;
  };
  ForEachPropDef(
      [&](const TVqEWSPropDef& row) { return row.PropDefName.view().starts_with("TEST_") || visit(row.PropDefName); });
  ForEachFieldDef([&](const TVqEWSFieldDef& row) {
    return row.FieldDefName.view().starts_with("TEST_") || visit(row.FieldDefName);
  });
  EXPECT_EQ(heads, (std::vector<std::string>{"PR", "EPR", "MPR", "FLD", "EFLD", "MFLD"}));
}

// Known values, apart from the tables.
TEST(PropertyRows, KnownRowsHaveTheirKnownValues) {
  EXPECT_EQ(PR_SUBJECT.NodeName, "Subject");
  EXPECT_EQ(PR_REQUESTSERVERVERSION.NodeName, "RequestServerVersion");
  EXPECT_EQ(PR_ISEQUALTO.NodeName, "IsEqualTo");
  EXPECT_EQ(MPR_SUBJECT.PropertyTag, 0x37);
  EXPECT_EQ(MPR_SUBJECT.PropType, ptString);
  EXPECT_EQ(MPR_ENTRYID.PropertyTag, 0xFFF);
  EXPECT_EQ(MPR_ENTRYID.PropType, ptBinary);
  EXPECT_EQ(MPR_BODY.PropertyTag, 0x1000);
  EXPECT_EQ(MPR_RTF_COMPRESSED.PropertyTag, 0x1009);
  EXPECT_EQ(MPR_RTF_COMPRESSED.PropType, ptBinary);
  EXPECT_EQ(MPR_TITLE.PropertyTag, 0x3A17);
  EXPECT_EQ(MPR_DISPLAY_NAME_PREFIX.PropertyTag, 0x3A45);
  EXPECT_EQ(MPR_NULL.PropertyTag, 0);
  EXPECT_EQ(MPR_NULL.PropType, ptNull);
  EXPECT_EQ(*EPR_COMMON_PRIVATE.PropertySetId, PSETID_Common);
  EXPECT_EQ(EPR_COMMON_PRIVATE.Id, 0x8506);
  EXPECT_EQ(EPR_COMMON_PRIVATE.PropType, ptBoolean);
  EXPECT_EQ(EPR_NAMEORIGINALSPAMCONFIDENCELEVEL.PropKind, pkName);
  EXPECT_EQ(EPR_NAMEORIGINALSPAMCONFIDENCELEVEL.Name, "OriginalScl");
  EXPECT_EQ(FLD_ITEM_SUBJECT.UnindexedFieldURI, "item:Subject");
  EXPECT_EQ(FLD_ITEM_SUBJECT.PropDef, &PR_SUBJECT);
  EXPECT_EQ(FLD_TASK_STARTDATE.PropDef, &PR_START_DATE);
  EXPECT_EQ(EFLD_COMMON_PRIVATE.PropDef, &EPR_COMMON_PRIVATE);
  EXPECT_EQ(MFLD_BODY.PropDef, &MPR_BODY);
}

TEST(PropertyRows, StartDateAndEndDateStayApartFromStartAndEnd) {
  EXPECT_EQ(PR_START_DATE.NodeName, "StartDate");
  EXPECT_EQ(PR_END_DATE.NodeName, "EndDate");
  EXPECT_EQ(PR_START.NodeName, "Start");
  EXPECT_EQ(PR_END.NodeName, "End");
  EXPECT_EQ(GetPropDef("PR_STARTDATE", false), nullptr);
  EXPECT_EQ(GetPropDef("PR_ENDDATE", false), nullptr);
}

TEST(PropertyRows, FieldsOfTheCompleteNameHaveTheUrisOfTheContactsOwnMembers) {
  const std::map<PVqEWSFieldDef, std::pair<std::string, PVqEWSPropDef>> expected{
      {&FLD_CONTACTS_COMPLETENAME_TITLE, {"", &PR_COMPLETENAME_TITLE}},
      {&FLD_CONTACTS_COMPLETENAME_FIRSTNAME, {"contacts:GivenName", &PR_COMPLETENAME_FIRSTNAME}},
      {&FLD_CONTACTS_COMPLETENAME_MIDDLENAME, {"contacts:MiddleName", &PR_COMPLETENAME_MIDDLENAME}},
      {&FLD_CONTACTS_COMPLETENAME_LASTNAME, {"contacts:Surname", &PR_COMPLETENAME_LASTNAME}},
      {&FLD_CONTACTS_COMPLETENAME_SUFFIX, {"contacts:Generation", &PR_COMPLETENAME_SUFFIX}},
      {&FLD_CONTACTS_COMPLETENAME_INITIALS, {"contacts:Initials", &PR_COMPLETENAME_INITIALS}},
      {&FLD_CONTACTS_COMPLETENAME_FULLNAME, {"contacts:DisplayName", &PR_COMPLETENAME_FULLNAME}}};
  for (const auto& [field, values] : expected) {
    EXPECT_EQ(field->UnindexedFieldURI, values.first);
    EXPECT_EQ(field->PropDef, values.second);
    EXPECT_EQ(field->FieldType, fdtField);
    EXPECT_EQ(field->PropDef->ParentProp, &PR_COMPLETENAME);
  }
  EXPECT_EQ(FLD_CONTACTS_GIVENNAME.PropDef, &PR_GIVENNAME);
  EXPECT_EQ(FLD_CONTACTS_DISPLAYNAME.PropDef, &PR_DISPLAYNAME);
}

TEST(PropertyRows, DictionariesHaveARowForEachKey) {
  EXPECT_EQ(PR_EMAILADDRESS2.NodeName, "EmailAddresses/Entry[@Key=\"EmailAddress2\"]");
  EXPECT_EQ(PR_PHONENUMBER_TTYTDDPHONE.NodeName, "PhoneNumbers/Entry[@Key=\"TtyTddPhone\"]");
  EXPECT_EQ(PR_PHYSICALADDRESS_HOME.NodeName, "PhysicalAddresses/Entry[@Key=\"Home\"]");
  EXPECT_EQ(FLD_CONTACTS_EMAILADDRESS3.FieldURI(), "contacts:EmailAddress");
  EXPECT_EQ(FLD_CONTACTS_EMAILADDRESS3.FieldIndex, "EmailAddress3");
  EXPECT_EQ(FLD_CONTACTS_PHONENUMBER_HOMEPHONE.FieldURI(), "contacts:PhoneNumber");
  EXPECT_EQ(FLD_CONTACTS_PHYSICALADDRESS_OTHER.FieldIndex, "Other");
  EXPECT_EQ(GetKeyPropDefs(&PR_COMPLETENAME).size(), 7u);
  EXPECT_EQ(GetKeyPropDefs(&PR_EMAILADDRESSES).size(), 3u);
  EXPECT_EQ(GetKeyPropDefs(&PR_PHONENUMBERS).size(), 23u);
  EXPECT_EQ(GetKeyPropDefs(&PR_PHYSICALADDRESSES).size(), 3u);
  EXPECT_EQ(GetKeyPropDefs(&PR_EMAILADDRESSES)[1], &PR_EMAILADDRESS2);
  EXPECT_TRUE(GetKeyPropDefs(&PR_SUBJECT).empty());
  EXPECT_TRUE(GetKeyPropDefs(nullptr).empty());
}

// Published lists give one property several names, now and then with another type or id.
TEST(PropertyRows, AliasesKeepTheirOwnIdsAndTypes) {
  EXPECT_EQ(EPR_COMMON_TASKMODE.Id, EPR_TASKMODE.Id);
  EXPECT_EQ(EPR_COMMON_TASKMODE.PropType, ptInteger);
  EXPECT_EQ(EPR_TASKMODE.PropType, ptLong);
  std::set<int> ids;
  ForEachPropDef([&](const TVqEWSPropDef& row) {
    if (row.PropertySetId == &PSETID_Appointment) ids.insert(row.Id);
    return true;
  });
  EXPECT_TRUE(ids.contains(0x823D) && ids.contains(0x825D));
}

TEST(PropertyRows, EveryEprHasAFieldButComment) {
  ForEachPropDef([](const TVqEWSPropDef& row) {
    if (!row.PropDefName.view().starts_with("EPR_")) return true;
    const auto field = GetFieldDef("EFLD_" + std::string(row.PropDefName.view().substr(4)), false);
    if (&row == &EPR_COMMENT)
      EXPECT_EQ(field, nullptr);
    else
      EXPECT_TRUE(field && field->PropDef == &row) << row.PropDefName.view();
    return true;
  });
}

TEST(PropertyRows, OfTheAddressBooksRowsOneHasAField) {
  int fields = 0;
  ForEachFieldDef([&](const TVqEWSFieldDef& row) {
    fields += row.FieldDefName.view().starts_with("MFLD_EMS_AB_");
    return true;
  });
  EXPECT_EQ(fields, 1);
  EXPECT_EQ(MFLD_EMS_AB_DISPLAY_NAME_PRINTABLE.PropDef, &MPR_EMS_AB_DISPLAY_NAME_PRINTABLE);
  EXPECT_EQ(MFLD_EMS_SCRIPT_BLOB.PropDef, &MPR_EMS_SCRIPT_BLOB);
  EXPECT_EQ(MFLD_EMS_TEMPLATE_BLOB.PropDef, &MPR_EMS_TEMPLATE_BLOB);
}

TEST(PropertyRows, TheLibrarysOwnSetHasFiveRows) {
  const std::vector<std::pair<PVqEWSPropDef, TVqEWSPropType>> rows{{&EPR_SEND_INVITATIONS_AND_UPDATES, ptBoolean},
                                                                   {&EPR_SENDUSINGACCOUNT, ptBoolean},
                                                                   {&EPR_SENDUSINGOUTLOOK, ptBoolean},
                                                                   {&EPR_CERTTHUMBPRINT, ptString},
                                                                   {&EPR_COMMENT, ptString}};
  for (std::size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(*rows[i].first->PropertySetId, PSETID_Velmore);
    EXPECT_EQ(rows[i].first->Id, static_cast<int>(i) + 1);
    EXPECT_EQ(rows[i].first->PropType, rows[i].second);
  }
}

TEST(PropertyRows, SetsHaveTheirPublishedIds) {
  EXPECT_EQ(PropSetIDToString(PS_MAPI), "00020328-0000-0000-c000-000000000046");
  EXPECT_EQ(PropSetIDToString(PS_PUBLIC_STRINGS), "00020329-0000-0000-c000-000000000046");
  EXPECT_EQ(PSETID_PublicStrings, PS_PUBLIC_STRINGS);
  EXPECT_EQ(PropSetIDToString(PS_INTERNET_HEADERS), "00020386-0000-0000-c000-000000000046");
  EXPECT_EQ(PSETID_InternetHeaders, PS_INTERNET_HEADERS);
  EXPECT_EQ(PropSetIDToString(PSETID_Appointment), "00062002-0000-0000-c000-000000000046");
  EXPECT_EQ(PropSetIDToString(PSETID_Task), "00062003-0000-0000-c000-000000000046");
  EXPECT_EQ(PropSetIDToString(PSETID_Address), "00062004-0000-0000-c000-000000000046");
  EXPECT_EQ(PropSetIDToString(PSETID_Common), "00062008-0000-0000-c000-000000000046");
  EXPECT_EQ(PropSetIDToString(PSETID_Log), "0006200a-0000-0000-c000-000000000046");
  EXPECT_EQ(PropSetIDToString(PSETID_Note), "0006200e-0000-0000-c000-000000000046");
  EXPECT_EQ(PropSetIDToString(PSETID_Sharing), "00062040-0000-0000-c000-000000000046");
  EXPECT_EQ(PropSetIDToString(PSETID_PostRss), "00062041-0000-0000-c000-000000000046");
  EXPECT_EQ(PropSetIDToString(PSETID_Messaging), "41f28f13-83f4-4114-a584-eedb5a6b0bff");
  EXPECT_EQ(PropSetIDToString(PSETID_Attachment), "96357f7f-59e1-47d0-99a7-46515c183b54");
  EXPECT_EQ(PropSetIDToString(PSETID_CalendarAssistant), "11000e07-b51b-40d6-af21-caa85edab1d0");
  EXPECT_EQ(PropSetIDToString(PSETID_UnifiedMessaging), "4442858e-a9e3-4e80-b900-317a210cc15b");
  EXPECT_EQ(PropSetIDToString(PSETID_Meeting), "6ed8da90-450b-101b-98da-00aa003f1305");
  EXPECT_EQ(PropSetIDToString(PSETID_AirSync), "71035549-0739-4dcb-9163-00f0580dbbdf");
  EXPECT_EQ(PropSetIDToString(PSETID_Velmore), "52a474ee-e1a3-4e63-8ffc-fcdacb06a7fc");
  EXPECT_EQ(PropSetIDToString(GUID_PKMDocSummaryInformation), "d5cdd502-2e9c-101b-9397-08002b2cf9ae");
  EXPECT_EQ(PropSetIDToString(PSETID_Exchange1), "48862a09-f786-0114-0281-000000000000");
}

TEST(PropertyRows, TypesHaveTheirOrderAndTheirWireTexts) {
  const char* texts[] = {"Null",
                         "ApplicationTime",
                         "ApplicationTimeArray",
                         "Binary",
                         "BinaryArray",
                         "Boolean",
                         "CLSID",
                         "CLSIDArray",
                         "Currency",
                         "CurrencyArray",
                         "Double",
                         "DoubleArray",
                         "Error",
                         "Float",
                         "FloatArray",
                         "Integer",
                         "IntegerArray",
                         "Long",
                         "LongArray",
                         "Object",
                         "ObjectArray",
                         "Short",
                         "ShortArray",
                         "SystemTime",
                         "SystemTimeArray",
                         "String",
                         "StringArray"};
  for (int i = 0; i <= ptStringArray; ++i) EXPECT_EQ(PropTypeToString(static_cast<TVqEWSPropType>(i)), texts[i]);
  EXPECT_EQ(std::size(texts), 27u);
  EXPECT_EQ(int{ptNull}, 0);
  EXPECT_EQ(int{ptInteger}, 15);
  EXPECT_EQ(int{ptStringArray}, 26);
  EXPECT_THROW(PropTypeToString(static_cast<TVqEWSPropType>(27)), EVqException);
}

}  // namespace
}  // namespace velmore
