// Every request that the library can compose, in both forms: the strict ones are valid against the published schema,
// the default ones differ from them in the known departures and in nothing else.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <set>

#include "ews/model/uVqEWSWireForm.h"
#include "ews/schema/uVqEWSPropsPR.h"
#include "ews/values/uVqEWSFields.h"
#include "ews/values/uVqEWSProperties.h"
#include "platform/soap/uVqSOAPClient.h"
#include "tests/wire/SaveTestSupport.h"
#include "tests/wire/WireFormsTestSupport.h"
#include "tests/wire/WireFormsTourTestSupport.h"

namespace velmore::testing {
namespace {

constexpr int kRounds = 3;

/// VELMORE_SEED plays a failure again, or tries others.
unsigned Seed() {
  const char* seed = std::getenv("VELMORE_SEED");
  return seed ? static_cast<unsigned>(std::strtoul(seed, nullptr, 10)) : 20261120;
}

std::string OperationOf(const std::string& envelope) {
  const std::size_t body = envelope.find("<m:", envelope.find("Body>"));
  return envelope.substr(body + 3, envelope.find_first_of(" />", body) - body - 3);
}

/// Where two texts part, with what stands before it.
std::string DifferenceOf(const std::string& a, const std::string& b) {
  const auto at = static_cast<std::size_t>(std::ranges::mismatch(a, b).in1 - a.begin());
  const std::size_t from = at < 300 ? 0 : at - 300;
  return "by default: ..." + a.substr(from, 500) + "\nstrict:     ..." + b.substr(from, 500);
}

// A refusal of the library's own form names the remedy besides.
std::vector<std::string> WithoutHints(std::vector<std::string> refusals) {
  for (std::string& refusal : refusals)
    refusal.resize(std::min(refusal.size(), refusal.find(" The session's SchemaFallback")));
  return refusals;
}

class WireForms : public ::testing::TestWithParam<std::string> {
 protected:
  static void Play(TWireTour& tour) {
    for (int i = 0; i < kRounds; ++i) tour.Round();
  }
};

TEST_P(WireForms, DifferInTheKnownDeparturesAndStrictOnesAreValid) {
  SCOPED_TRACE("VELMORE_SEED=" + std::to_string(Seed()));
  TWireTour own(GetParam(), false, Seed(), false), strict(GetParam(), true, Seed(), true);
  Play(own);
  Play(strict);
  const std::vector<std::string> requests = strict.Requests();

  // All operations were there.
  std::set<std::string> operations;
  for (const std::string& request : requests) operations.insert(OperationOf(request));
  std::set<std::string> all = {"ConvertId",  "CopyItem",     "CreateAttachment", "CreateFolder",  "CreateItem",
                               "DeleteItem", "FindFolder",   "FindItem",         "GetAttachment", "GetFolder",
                               "GetItem",    "ResolveNames", "SendItem",         "UpdateItem",    "DeleteAttachment"};
  all.insert("GetUserAvailabilityRequest");
  if (GetParam() != "Exchange2007")
    all.merge(std::set<std::string>{"GetUserOofSettingsRequest", "SetUserOofSettingsRequest"});
  if (!GetParam().starts_with("Exchange2007") && GetParam() != "Exchange2009") all.insert("GetServerTimeZones");
  // These are asked of every server that tells whose mailbox it is; what it does not know it refuses.
  all.merge(std::set<std::string>{"GetRoomLists", "GetRooms"});
  if (GetParam() != "Exchange2007") all.merge(std::set<std::string>{"GetMailTips", "GetUserPhoto"});
  all.merge(std::set<std::string>{"DeleteFolder", "SyncFolderItems", "SyncFolderHierarchy"});
  if (GetParam() >= "Exchange2010_SP1") all.insert("EmptyFolder");
  if (GetParam() >= "Exchange2013") all.merge(std::set<std::string>{"GetUserConfiguration", "MarkAllItemsAsRead"});
  EXPECT_EQ(operations, all);
  for (const char* part : {"<t:CalendarItem>", "<t:RequiredAttendees>", "<t:Recurrence>"}) {
    // Who one is, without which nobody is invited, the first version does not tell.
    if (GetParam() == "Exchange2007" && part == std::string("<t:RequiredAttendees>")) continue;
    EXPECT_TRUE(std::ranges::any_of(requests, [&](const std::string& request) {
      return request.find(part) != std::string::npos;
    })) << part;
  }

  // The strict ones are valid.
  EXPECT_TRUE(strict.Server().GetCounters().departures.empty());
  const std::set<std::string> distinct(requests.begin(), requests.end());
  if (HasPublishedSchema()) {
    for (const std::string& request : distinct) {
      const std::string problems = SchemaProblemsOf(request);
      EXPECT_EQ(problems, "") << request;
      if (!problems.empty()) break;  // one is enough to read
    }
    RecordProperty("validated", static_cast<int>(distinct.size()));
    std::cout << "[  NOTE    ] " << GetParam() << ": " << distinct.size() << " distinct requests validated\n";
  }

  // What was refused in one form was refused in the other.
  const std::vector<std::string> refused = WithoutHints(own.Refusals());
  const auto first = std::ranges::mismatch(refused, strict.Refusals());
  if (first.in1 != refused.end() && first.in2 != strict.Refusals().end()) {
    ASSERT_EQ(*first.in1, *first.in2);
  }

  // The others are the same but for the departures, all of which were there.
  TNormalForm ofOwn(GetParam()), ofStrict(GetParam());
  const std::vector<std::string> a = ofOwn.Of(own.Requests()), b = ofStrict.Of(requests);
  for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) ASSERT_TRUE(a[i] == b[i]) << DifferenceOf(a[i], b[i]);
  EXPECT_EQ(a.size(), b.size());
  EXPECT_TRUE(ofStrict.Departures().empty()) << ofStrict.Departures().begin()->first;
  std::set<std::string> departures = {"IndexedField", "RecipientId", "EmptyAddress",
                                      "EmptyUpdates", "EmptyMember", "MachineZone"};
  if (GetParam() != "Exchange2007") departures.insert("PhotoSize");
  if (!all.contains("GetServerTimeZones")) departures.insert("LateAttachmentMember");
  if (GetParam() > "Exchange2013") departures.insert("ChangeKeyElement");  // older servers get no keys here
  std::set<std::string> seen;
  for (const auto& [name, count] : ofOwn.Departures()) seen.insert(name);
  EXPECT_EQ(seen, departures);
  EXPECT_TRUE(own.Server().GetCounters().departures.contains("AppendedMember"));

  // And so is what they did.
  EXPECT_EQ(own.Mailboxes(), strict.Mailboxes());
  EXPECT_EQ(refused, strict.Refusals());
}

// A session that nothing is set on, and a server that takes the schema's form alone: the same is done, in the same
// requests, and nothing is done twice.
TEST_P(WireForms, ADefaultThatHealsDoesWhatTheStrictOneDoes) {
  SCOPED_TRACE("VELMORE_SEED=" + std::to_string(Seed()));
  TWireTour healed(GetParam(), false, Seed(), true), strict(GetParam(), true, Seed(), true);
  healed.Round();
  strict.Round();
  EXPECT_GT(healed.Server().GetCounters().refused, 0u);
  EXPECT_EQ(healed.Refusals(), strict.Refusals());
  EXPECT_EQ(healed.Mailboxes(), strict.Mailboxes());
  TNormalForm form(GetParam());
  const std::vector<std::string> a = form.Of(healed.Requests(false)), b = form.Of(strict.Requests(false));
  for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) ASSERT_TRUE(a[i] == b[i]) << DifferenceOf(a[i], b[i]);
  EXPECT_EQ(a.size(), b.size());

  // A request that an application sends again stays in the form that it was brought into.
  TVqSOAPClient soap(nullptr);
  for (const std::string& envelope : healed.Requests()) {
    const auto request = soap.CreateRequest("m:Any", "");
    request->LoadEnvelope(*MakeRef<TVqSOAPResponse>(envelope, ""));
    EwsToStrictSchema(*request);
    const std::string once = request->GetDocument().GetXMLAsUtf8();
    EwsToStrictSchema(*request);
    ASSERT_EQ(request->GetDocument().GetXMLAsUtf8(), once);
  }
}

// ---- All rows

/// Each row of the tables once. The simulator may refuse what it is asked; the form is what counts here.
class StrictForm : public SaveTest {
 protected:
  StrictForm() : SaveTest(Refusing("Exchange2016")) {
    Session().SetStrictSchema(true);
    Store();
  }
  void TearDown() override {
    if (!HasPublishedSchema()) GTEST_SKIP() << "VELMORE_EWS_SCHEMA is not set";
    for (const auto& exchange : Server().Exchanges()) {
      if (exchange.operation.empty()) continue;
      ASSERT_EQ(SchemaProblemsOf(exchange.request_body), "") << exchange.request_body;
    }
  }
  template <typename TAction>
  static void Ask(TAction action) {
    try {
      action();
    } catch (const EVqException&) {
    }
  }
  static constexpr const char* kKinds[][2] = {
      {"drafts", "<t:Message><t:Subject>S</t:Subject></t:Message>"},
      {"contacts", "<t:Contact><t:DisplayName>C</t:DisplayName></t:Contact>"},
      {"tasks", "<t:Task><t:Subject>T</t:Subject></t:Task>"},
      {"calendar",
       "<t:CalendarItem><t:Subject>A</t:Subject><t:Start>2026-03-02T10:00:00Z</t:Start><t:End>2026-03-02T11:00:00Z"
       "</t:End></t:CalendarItem>"},
      {"inbox", "<t:PostItem><t:Subject>P</t:Subject></t:PostItem>"},
      {"contacts", "<t:DistributionList><t:DisplayName>L</t:DisplayName></t:DistributionList>"},
      {"inbox", "<t:Item><t:Subject>I</t:Subject></t:Item>"},
  };
};

TEST_F(StrictForm, HasEveryFieldOfATable) {
  std::vector<const TVqEWSFieldDef*> fields;
  ForEachFieldDef([&](const TVqEWSFieldDef& field) {
    fields.push_back(&field);
    return true;
  });
  ASSERT_GT(fields.size(), 2500u);
  const auto inbox = Inbox();
  for (std::size_t from = 0; from < fields.size(); from += 40) {
    const auto items = inbox->GetItems();
    for (std::size_t i = from; i < std::min(from + 40, fields.size()); ++i)
      Ask([&] { items->GetFields().Add(*fields[i]); });  // aliases stand for the same value, and a list has each once
    Ask([&] { items->Open(); });
  }
}

TEST_F(StrictForm, HasEveryMemberOfEveryKindOfItem) {
  for (const auto& [folder, xml] : kKinds) {
    const auto item = Store().GetItem(AddItem(folder, xml));
    const TVqXMLSchemaClass& members = *EwsFindItemClass(item->AsElement().GetLocalName());
    for (std::int32_t i = 0; i < members.GetMemberCount(); ++i) {
      const string name = members.GetMember(i).Name;
      Ask([&] { item->GetAdditionalProperties({name.StartsWith(u"t:") ? name.Copy(2) : name}); });
    }
  }
}

TEST_F(StrictForm, SavesEveryPropertyOfEveryKindOfItem) {
  std::vector<const TVqEWSPropDef*> rows;
  ForEachPropDef([&](const TVqEWSPropDef& row) {
    if (!row.Extended && row.PropDefName != PR_CULTURE.PropDefName) rows.push_back(&row);  // a culture takes no text
    return true;
  });
  for (const auto& [folder, xml] : kKinds) {
    const TItemId id = AddItem(folder, xml);
    for (const bool emptied : {false, true}) {
      auto item = Store().GetItem(id);
      for (const TVqEWSPropDef* row : rows) {
        if (!item->HasProperty(*row)) continue;
        if (emptied && row->PropDefName == PR_EFFECTIVERIGHTS.PropDefName) continue;  // the server's alone
        Ask([&] {
          TVqEWSProperty& property = item->PropertyByName(*row);
          const TVqTypeInfo type = property.GetTypeInfo();
          if (emptied)
            property.GetValueNode().SetText("");
          else if (type.Kind == tkInteger)
            property.SetAsInteger(3);
          else if (type.Kind == tkBoolean)
            property.SetAsBoolean(true);
          else if (type.Kind == tkDateTime)
            property.SetAsDateTime(46000.0);
          else if (type.Kind == tkString)
            property.SetAsString("text & <more>");
          else
            return;
          property.SetModified(true);
          item->SaveChanges(soAutoResolve);
        });
        item = Store().GetItem(id);
      }
    }
  }
}

// The entries of a contact's dictionaries, set and deleted.
TEST_F(StrictForm, SavesEveryEntryOfADictionary) {
  std::vector<const TVqEWSPropDef*> rows;
  ForEachFieldDef([&](const TVqEWSFieldDef& field) {
    if (field.FieldType == fdtIndexedField) rows.push_back(field.PropDef);
    return true;
  });
  ASSERT_GT(rows.size(), 20u);
  for (const TVqEWSPropDef* row : rows) {
    for (const bool set : {true, false}) {
      const auto item = Store().GetItem(AddItem(kKinds[1][0], kKinds[1][1]));
      Ask([&] {
        if (set)
          item->PropertyByName(*row).SetAsString("text & <more>");
        else
          item->DeleteProperty(*row);
        item->SaveChanges(soAutoResolve);
      });
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Versions, WireForms, ::testing::ValuesIn(simulator::VersionNames()),
                         [](const auto& info) { return info.param; });

}  // namespace
}  // namespace velmore::testing
