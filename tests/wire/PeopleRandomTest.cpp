// Contacts, distribution lists and tasks under random edits of all their members, with a plain model beside them: what
// is saved is what the model says, for the object and for whoever opens the item next. Both forms of requests, five
// versions; what goes over the wire in the schema's form is held against the published schema.

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <set>

#include "platform/xml/uVqXMLUtils.h"
#include "tests/wire/PeopleTestSupport.h"
#include "tests/wire/WireFormsTestSupport.h"

namespace velmore::testing {
namespace {

constexpr TServerVersion Any = Exchange2007;

/// What an item should hold, as text by name; what is not there is empty.
using TModel = std::map<std::string, std::string>;

std::string Number(unsigned seed) {
  return std::to_string(seed);
}

// ---- Values of a type, made of a number, and as text. The empty value has no text.

template <typename T>
T Value(unsigned seed) {
  static const char* const kTexts[] = {"plain ", "\xC3\xA9 & <t> \"q\" 'a' ", "\xF0\x9F\x98\x80 ", "a ]]> b ",
                                       "x,y;z "};
  if constexpr (std::is_same_v<T, string>) {
    return seed % 3 == 0 ? string() : string(kTexts[seed % std::size(kTexts)] + Number(seed));
  } else if constexpr (std::is_same_v<T, bool>) {
    return seed % 2 == 1;
  } else if constexpr (std::is_enum_v<T>) {
    return static_cast<T>(static_cast<int>(seed) % VqEnumInfoOf(T{}).Count);
  } else if constexpr (std::is_same_v<T, TDateTime>) {
    return std::round((40000.0 + seed % 4000) * 86400 + seed % 86400) / 86400;
  } else if constexpr (std::is_same_v<T, double>) {
    return seed % 101;
  } else if constexpr (std::is_same_v<T, TBytes>) {
    const std::string text = "bytes " + Number(seed);
    return TBytes(text.begin(), text.end());
  } else {
    return static_cast<T>(seed % 100000);
  }
}

template <typename T>
std::string Text(const T& value) {
  if (value == T{}) return {};
  if constexpr (std::is_same_v<T, string>) {
    return value.utf8();
  } else if constexpr (std::is_same_v<T, bool>) {
    return "true";
  } else if constexpr (std::is_enum_v<T>) {
    return VqEnumToText(value).utf8();
  } else if constexpr (std::is_same_v<T, TDateTime>) {
    return VqDateTimeToXML(value).utf8();
  } else if constexpr (std::is_same_v<T, TBytes>) {
    return std::string(value.begin(), value.end());
  } else {
    return std::to_string(value);
  }
}

// ---- Edits: each changes a member of an item, and the model

template <typename TItem>
struct TEdit {
  std::string Name;
  TServerVersion Needs;  // for the setter
  std::function<void(TItem&, unsigned seed, TModel&)> Apply;
};
template <typename TItem>
struct TReader {
  TServerVersion Needs;
  std::function<void(TItem&, TModel&)> Read;
};
template <typename TItem>
struct TKind {
  std::vector<TEdit<TItem>> Edits;
  std::vector<TReader<TItem>> Readers;
  std::set<std::string> Derived;  // what the server makes of the rest
};

#define EDIT_Own(item, name, ...)
#define EDIT_Read(item, name, ...)
#define EDIT_Child(item, name, ...)
#define EDIT_Array(item, name, ...)
#define EDIT_Write(item, name, type, member, needs, needsToSet, field)                                   \
  if (!without.count(#name)) {                                                                           \
    kind.Edits.push_back({#name, needsToSet, [](item& i, unsigned seed, TModel& model) {                 \
                            i.Set##name(Value<type>(seed));                                              \
                            model[#name] = Text(Value<type>(seed));                                      \
                          }});                                                                           \
    kind.Readers.push_back({needs, [](item& i, TModel& model) { model[#name] = Text(i.Get##name()); }}); \
  }

/// An entry of a dictionary that has a text.
template <typename TItem, typename TKey, typename TGet>
void AddEntries(TKind<TItem>& kind, const std::string& name, TServerVersion needs, int keys, TGet get) {
  for (int i = 0; i < keys; ++i) {
    const auto key = static_cast<TKey>(i);
    const std::string entry = name + "." + VqEnumToText(key).utf8();
    kind.Edits.push_back({entry, needs, [=](TItem& item, unsigned seed, TModel& model) {
                            get(item).GetEntry(key).SetValue(Value<string>(seed));
                            model[entry] = Text(Value<string>(seed));
                          }});
    kind.Readers.push_back(
        {needs, [=](TItem& item, TModel& model) { model[entry] = Text(string(get(item).GetEntry(key).GetValue())); }});
  }
}

/// A list of texts, which is emptied or extended.
template <typename TItem, typename TGet>
void AddList(TKind<TItem>& kind, const std::string& name, TServerVersion needs, TGet get) {
  kind.Edits.push_back({name, needs, [=](TItem& item, unsigned seed, TModel& model) {
                          auto& list = get(item);
                          if (seed % 3 == 0) {
                            list.Clear();
                            model[name].clear();
                          } else {
                            list.Add(string("QUFB" + Number(1000 + seed % 9000)));  // base-64 as well
                            model[name] += "QUFB" + Number(1000 + seed % 9000) + ";";
                          }
                        }});
  kind.Readers.push_back({needs, [=](TItem& item, TModel& model) {
                            std::string text;
                            for (const auto& entry : get(item)) text += string(entry).utf8() + ";";
                            model[name] = text;
                          }});
}

TKind<IVqEWSContact> ContactKind() {
  using I = IVqEWSContact;
  TKind<I> kind;
  // What servers keep to themselves; and what contacts of the published schema do not have.
  const std::set<std::string> without = {"HasPicture", "ContactSource", "DisplayNamePrefix", "BusinessHomePage"};
#define VQ_MEMBER(access, ...) EDIT_##access(I, __VA_ARGS__)
#include "ews/tables/MemberRowsContact.inc"
  // A URI: the schema takes no other text.
  kind.Edits.push_back({"BusinessHomePage", Any, [](I& item, unsigned seed, TModel& model) {
                          const std::string uri =
                              seed % 3 == 0 ? std::string() : "https://example.com/?a=b&n=" + Number(seed);
                          item.SetBusinessHomePage(uri);
                          model["BusinessHomePage"] = uri;
                        }});
  kind.Readers.push_back(
      {Any, [](I& item, TModel& model) { model["BusinessHomePage"] = Text(item.GetBusinessHomePage()); }});
  AddEntries<I, TEmailAddressKey>(
      kind, "EmailAddresses", Any, 3, [](I & i) -> auto& { return i.GetEmailAddresses(); });
  AddEntries<I, TPhoneNumberKey>(
      kind, "PhoneNumbers", Any, 19, [](I & i) -> auto& { return i.GetPhoneNumbers(); });
  AddEntries<I, TImAddressKey>(
      kind, "ImAddresses", Any, 3, [](I & i) -> auto& { return i.GetImAddresses(); });
  for (int i = 0; i < 3; ++i) {
    const auto key = static_cast<TPhysicalAddressKey>(i);
    const std::string name = "PhysicalAddresses." + VqEnumToText(key).utf8();
    kind.Edits.push_back({name, Any, [=](I& item, unsigned seed, TModel& model) {
                            TEwsPhysicalAddressDictionaryEntry& entry = item.GetPhysicalAddresses().GetEntry(key);
                            const string value = Value<string>(seed);
                            const std::string text = Text(value);
                            switch (seed % 5) {
                              case 0:
                                entry.SetStreet(value);
                                model[name + "/Street"] = text;
                                break;
                              case 1:
                                entry.SetCity(value);
                                model[name + "/City"] = text;
                                break;
                              case 2:
                                entry.SetState(value);
                                model[name + "/State"] = text;
                                break;
                              case 3:
                                entry.SetCountryOrRegion(value);
                                model[name + "/CountryOrRegion"] = text;
                                break;
                              default:
                                entry.SetPostalCode(value);
                                model[name + "/PostalCode"] = text;
                            }
                          }});
    kind.Readers.push_back({Any, [=](I& item, TModel& model) {
                              TEwsPhysicalAddressDictionaryEntry& entry = item.GetPhysicalAddresses().GetEntry(key);
                              model[name + "/Street"] = Text(entry.GetStreet());
                              model[name + "/City"] = Text(entry.GetCity());
                              model[name + "/State"] = Text(entry.GetState());
                              model[name + "/CountryOrRegion"] = Text(entry.GetCountryOrRegion());
                              model[name + "/PostalCode"] = Text(entry.GetPostalCode());
                            }});
  }
  for (int i = 0; i < 10; ++i) {
    const auto key = static_cast<TContactUrlKey>(i);
    const std::string name = "Urls." + VqEnumToText(key).utf8();
    kind.Edits.push_back({name, Exchange2013_SP1, [=](I& item, unsigned seed, TModel& model) {
                            item.GetUrls().GetEntry(key).SetAddress(Value<string>(seed));
                            model[name] = Text(Value<string>(seed));
                          }});
    kind.Readers.push_back({Exchange2013_SP1, [=](I& item, TModel& model) {
                              model[name] = Text(item.GetUrls().GetEntry(key).GetAddress());
                            }});
  }
  for (int i = 0; i < 4; ++i) {
    const auto key = static_cast<TAbchEmailAddressType>(i);
    const std::string name = "AbchEmailAddresses." + VqEnumToText(key).utf8();
    kind.Edits.push_back({name, Exchange2016, [=](I& item, unsigned seed, TModel& model) {
                            item.GetAbchEmailAddresses().GetEmail(key).SetAddress("x" + Value<string>(seed));
                            model[name] = Text("x" + Value<string>(seed));
                          }});
    kind.Readers.push_back({Exchange2016, [=](I& item, TModel& model) {
                              model[name] = Text(item.GetAbchEmailAddresses().GetEmail(key).GetAddress());
                            }});
  }
  AddList(
      kind, "Children", Any, [](I & i) -> auto& { return i.GetChildren().GetString_(); });
  AddList(
      kind, "Companies", Any, [](I & i) -> auto& { return i.GetCompanies().GetString_(); });
  AddList(
      kind, "UserSMIMECertificate", Exchange2013,
      [](I & i) -> auto& { return i.GetUserSMIMECertificate().GetBase64Binary(); });
  AddList(
      kind, "MSExchangeCertificate", Exchange2013,
      [](I & i) -> auto& { return i.GetMSExchangeCertificate().GetBase64Binary(); });
  kind.Edits.push_back({"ManagerMailbox", Exchange2013, [](I& item, unsigned seed, TModel& model) {
                          item.GetManagerMailbox().GetMailbox().SetEmailAddress("m" + Number(seed) + "@example.com");
                          model["ManagerMailbox"] = "m" + Number(seed) + "@example.com";
                        }});
  kind.Readers.push_back({Exchange2013, [](I& item, TModel& model) {
                            model["ManagerMailbox"] = Text(item.GetManagerMailbox().GetMailbox().GetEmailAddress());
                          }});
  kind.Edits.push_back({"DirectReports", Exchange2013, [](I& item, unsigned seed, TModel& model) {
                          item.GetDirectReports().GetMailbox().Add().SetEmailAddress("r" + Number(seed) +
                                                                                     "@example.com");
                          model["DirectReports"] += "r" + Number(seed) + "@example.com;";
                        }});
  kind.Readers.push_back({Exchange2013, [](I& item, TModel& model) {
                            std::string text;
                            for (TEwsEmailAddressType& one : item.GetDirectReports().GetMailbox())
                              text += one.GetEmailAddress().utf8() + ";";
                            model["DirectReports"] = text;
                          }});
  kind.Edits.push_back({"IsPrivate", Any, [](I& item, unsigned seed, TModel& model) {
                          item.SetIsPrivate(seed % 2 == 0);
                          model["IsPrivate"] = seed % 2 == 0 ? "true" : "";
                        }});
  kind.Readers.push_back({Any, [](I& item, TModel& model) { model["IsPrivate"] = Text(item.GetIsPrivate()); }});
  kind.Edits.push_back({"UserPhoto", Exchange2010, [](I& item, unsigned seed, TModel& model) {
                          TVqMemoryStream photo(seed % 4 == 0 ? std::string() : "photo " + Number(seed));
                          item.SetUserPhoto(&photo);
                          model["UserPhoto"] = seed % 4 == 0 ? std::string() : "photo " + Number(seed);
                        }});
  kind.Readers.push_back({Exchange2010, [](I& item, TModel& model) {
                            TVqMemoryStream photo;
                            item.GetUserPhoto(photo);
                            model["UserPhoto"] = photo.TakeBytes();
                          }});
  kind.Derived = {"FileAs", "DisplayName"};
  return kind;
}

TKind<IVqEWSDistributionList> ListKind() {
  using I = IVqEWSDistributionList;
  TKind<I> kind;
  const std::set<std::string> without = {"ContactSource"};
#define VQ_MEMBER(access, ...) EDIT_##access(I, __VA_ARGS__)
#include "ews/tables/MemberRowsDistributionList.inc"
  kind.Edits.push_back({"Members", Exchange2010, [](I& item, unsigned seed, TModel& model) {
                          const auto members = item.GetMembers();
                          std::string& text = model["Members"];
                          if (seed % 4 == 0 && members->Count() > 0) {
                            members->Delete(0);
                            text.erase(0, text.find(';') + 1);
                          } else if (seed % 16 == 1) {
                            members->Clear();
                            text.clear();
                          } else {
                            members->AddMailbox("N " + Number(seed), "n" + Number(seed) + "@elsewhere.example");
                            text += "n" + Number(seed) + "@elsewhere.example;";
                          }
                        }});
  kind.Readers.push_back({Exchange2010, [](I& item, TModel& model) {
                            std::string text;
                            for (std::int32_t i = 0; i < item.GetMembers()->Count(); ++i)
                              text += item.GetMembers()->GetItem(i)->GetMailbox()->GetEmailAddress().utf8() + ";";
                            model["Members"] = text;
                          }});
  kind.Derived = {"FileAs", "DisplayName"};
  return kind;
}

TKind<IVqEWSTask> TaskKind() {
  using I = IVqEWSTask;
  TKind<I> kind;
  const std::set<std::string> without = {"AssignedTime", "DelegationState", "Delegator",        "IsAssignmentEditable",
                                         "IsComplete",   "IsTeamTask",      "StatusDescription"};
#define VQ_MEMBER(access, ...) EDIT_##access(I, __VA_ARGS__)
#include "ews/tables/MemberRowsTask.inc"
  kind.Edits.push_back({"DueDate", Any, [](I& item, unsigned seed, TModel& model) {
                          item.SetDueDate(Value<TDateTime>(seed));
                          model["DueDate"] = Text(Value<TDateTime>(seed));
                        }});
  kind.Readers.push_back({Any, [](I& item, TModel& model) { model["DueDate"] = Text(item.GetDueDate()); }});
  AddList(
      kind, "Companies", Any, [](I & i) -> auto& { return i.GetCompanies().GetString_(); });
  AddList(
      kind, "Contacts", Any, [](I & i) -> auto& { return i.GetContacts().GetString_(); });
  kind.Edits.push_back({"Recurrence", Any, [](I& item, unsigned seed, TModel& model) {
                          TEwsTaskRecurrence& recurrence = item.GetRecurrence();
                          recurrence.GetDailyRecurrence().SetInterval(static_cast<std::int32_t>(1 + seed % 90));
                          recurrence.GetNoEndRecurrence().SetStartDate(46000.0);
                          model["Recurrence"] = Number(1 + seed % 90);
                        }});
  kind.Readers.push_back({Any, [](I& item, TModel& model) {
                            const std::int32_t interval = item.GetRecurrence().GetDailyRecurrence().GetInterval();
                            model["Recurrence"] = interval == 0 ? std::string() : std::to_string(interval);
                          }});
  kind.Derived = {"Status", "PercentComplete", "CompleteDate"};
  return kind;
}

// ---- The test

/// In which form the requests are: the library's own, the schema's from the start, or the schema's once the server has
/// refused the other one.
enum class Form { own, strict, learnt };
struct TWorld {
  const char* Version;
  Form Requests;
};
void PrintTo(const TWorld& world, std::ostream* out) {
  *out << world.Version << " " << static_cast<int>(world.Requests);
}

class PeopleRandom : public PeopleTest, public ::testing::WithParamInterface<TWorld> {
 protected:
  PeopleRandom()
      : PeopleTest([] {
          simulator::Options options = Refusing(GetParam().Version);
          options.accept_departures = GetParam().Requests == Form::own;
          return options;
        }()) {
    Session().SetStrictSchema(GetParam().Requests == Form::strict);
  }

  ~PeopleRandom() override {
    if (GetParam().Requests != Form::strict) return;
    EXPECT_TRUE(Server().GetCounters().departures.empty());
    if (!HasPublishedSchema()) return;
    std::set<std::string> seen;
    for (const auto& exchange : Server().Exchanges()) {
      if (exchange.operation.empty() || !seen.insert(BodyOf(exchange.request_body)).second) continue;
      EXPECT_EQ(SchemaProblemsOf(exchange.request_body), "") << exchange.request_body;
    }
    EXPECT_GT(seen.size(), Session().GetLeanRoundTrips() ? 5u : 10u);
  }

  /// What an item holds, as far as these members go.
  template <typename TItem>
  static TModel Read(TItem& item, const TKind<TItem>& kind, const std::vector<std::size_t>& members,
                     TServerVersion version) {
    TModel model;
    for (const std::size_t member : members) {
      const TReader<TItem>& reader = kind.Readers[member];  // each edit has its reader
      if (version >= reader.Needs) reader.Read(item, model);
    }
    return model;
  }
  /// The model where this version can be asked, without what is empty.
  static TModel Known(const TModel& model, const TModel& read) {
    TModel known;
    for (const auto& [name, text] : model)
      if (!text.empty() && read.count(name)) known[name] = text;
    return known;
  }
  static TModel Filled(const TModel& model) { return Known(model, model); }

  /// Some members at a time, so that each is changed again and again: set, changed, emptied.
  template <typename TItem>
  void Run(const TKind<TItem>& kind, std::uint32_t seed, const std::function<TVqRef<TItem>()>& make) {
    const TServerVersion version = Session().GetServerVersion();
    std::mt19937 random(seed);
    ASSERT_EQ(kind.Edits.size(), kind.Readers.size());
    std::vector<std::size_t> all;
    for (std::size_t i = 0; i < kind.Edits.size(); ++i) {
      if (version >= kind.Edits[i].Needs) all.push_back(i);
    }
    std::shuffle(all.begin(), all.end(), random);
    const std::size_t rounds = all.size() / 15 + 1;
    for (std::size_t round = 0; round < rounds; ++round) {
      SCOPED_TRACE("round " + std::to_string(round));
      std::vector<std::size_t> members;
      for (std::size_t i = round; i < all.size(); i += rounds) members.push_back(all[i]);
      TVqRef<TItem> item = make();
      TModel model = Read(*item, kind, members, version);
      for (int save = 0; save < 4; ++save) {
        SCOPED_TRACE("save " + std::to_string(save));
        std::string edits;
        for (auto i = random() % 40; i > 0; --i) {
          const TEdit<TItem>& edit = kind.Edits[members[random() % members.size()]];
          edit.Apply(*item, static_cast<unsigned>(random() % 100000), model);
          edits += edit.Name + " ";
        }
        SCOPED_TRACE(edits);
        if (random() % 3 == 0) Read(*item, kind, members, version);  // leaves no trace
        ASSERT_NO_THROW(item->SaveChanges(soAutoResolve)) << Request("UpdateItem");
        const auto fresh = Fresh(*item);
        const TModel held = Read(*item, kind, members, version), told = Read(*fresh, kind, members, version);
        std::set<std::string> derived = kind.Derived;
        if (!model["Recurrence"].empty()) derived.insert({"StartDate", "DueDate"});  // a series that is done goes on
        for (const std::string& name : derived) {
          if (const auto text = told.find(name); text != told.end()) model[name] = text->second;
        }
        ASSERT_EQ(Known(model, told), Filled(told)) << Request("UpdateItem");
        ASSERT_EQ(Filled(held), Filled(told));
        if (random() % 2 == 0) item = fresh;
      }
      // All that nobody touched is as it was: what was only read is not sent.
      Read(*item, kind, all, version);
      ASSERT_NO_THROW(item->SaveChanges(soNeverOverwrite));
      if (GetParam().Requests == Form::own) {
        EXPECT_EQ(Updates(), "");
      }
    }
  }
};

TEST_P(PeopleRandom, Contacts) {
  Run<IVqEWSContact>(ContactKind(), 20260301, [&] { return NewContact(); });
}

TEST_P(PeopleRandom, DistributionLists) {
  Run<IVqEWSDistributionList>(ListKind(), 20260302, [&] { return NewList(); });
}

TEST_P(PeopleRandom, Tasks) {
  Run<IVqEWSTask>(TaskKind(), 20260303, [&] { return NewTask(); });
}

std::vector<TWorld> Worlds() {
  std::vector<TWorld> worlds;
  for (const char* version :
       {"Exchange2007_SP1", "Exchange2010_SP2", "Exchange2013", "Exchange2013_SP1", "Exchange2016"}) {
    for (const Form form : {Form::own, Form::strict, Form::learnt}) worlds.push_back({version, form});
  }
  return worlds;
}
INSTANTIATE_TEST_SUITE_P(Worlds, PeopleRandom, ::testing::ValuesIn(Worlds()), [](const auto& world) {
  const Form form = world.param.Requests;
  return std::string(world.param.Version) + (form == Form::own ? "_Own" : form == Form::strict ? "_Strict" : "_Learnt");
});

}  // namespace
}  // namespace velmore::testing
