// A contact with all members set: loaded, read, one member changed, the update composed. Beside it stands what any
// client must do: parsing the reply once.

#include <benchmark/benchmark.h>

#include <pugixml.hpp>

#include "bench/ForkedSimulator.h"
#include "ews/items/uVqEWSContact.h"
#include "platform/common/uVqNetEncoding.h"
#include "platform/xml/uVqXMLUtils.h"

namespace {

using namespace velmore;

struct TComposed {};

/// A contact that is loaded from bytes, and whose save ends where the request would go out.
class TOfflineContact : public TVqEWSContact {
 public:
  using TVqEWSContact::TVqEWSContact;
  std::int32_t Fields = 0;

  void LoadFrom(std::string reply) {
    FReply = MakeRef<TVqSOAPResponse>(std::move(reply), "m:GetItemResponse");
    SetPropData(FReply->GetBody().SelectSingleElement(".//Contact", kSelectRequired));
  }

 protected:
  ~TOfflineContact() override = default;
  void BeforeSaveChanges(IVqSOAPRequest& ASOAPRequest) override {
    TVqEWSContact::BeforeSaveChanges(ASOAPRequest);
    Fields = ASOAPRequest.GetMethod().CreateElementList("ItemChanges/ItemChange/Updates/*", kSelectQuiet).Count();
    std::string out;
    benchmark::DoNotOptimize(out = ASOAPRequest.GetMethod().GetXMLAsUtf8());
    throw TComposed();
  }

 private:
  TVqRef<TVqSOAPResponse> FReply;
};

template <typename T>
T Sample() {
  if constexpr (std::is_same_v<T, string>) {
    return "A value of an ordinary length";
  } else if constexpr (std::is_same_v<T, TBytes>) {
    return TBytes(64, 7);
  } else if constexpr (std::is_same_v<T, TDateTime>) {
    return 46000.0;
  } else {
    return static_cast<T>(1);
  }
}

#define FILL_Own(...)
#define FILL_Read(...)
#define FILL_Child(...)
#define FILL_Write(name, type, ...) contact.Set##name(Sample<type>());

/// All members and entries of dictionaries.
void Fill(IVqEWSContact& contact) {
#define VQ_MEMBER(access, ...) FILL_##access(__VA_ARGS__)
#include "ews/tables/MemberRowsContact.inc"
  contact.SetIsPrivate(true);
  contact.SetSubject("A value");
  contact.SetBodyText("Notes");
  for (int key = 0; key < 23; ++key)
    contact.GetPhoneNumbers().GetEntry(static_cast<TPhoneNumberKey>(key)).SetValue("+43 1 234 567");
  for (int key = 0; key < 3; ++key) {
    contact.GetEmailAddresses().GetEntry(static_cast<TEmailAddressKey>(key)).SetValue("ann@example.com");
    contact.GetImAddresses().GetEntry(static_cast<TImAddressKey>(key)).SetValue("ann@chat.example");
    TEwsPhysicalAddressDictionaryEntry& address =
        contact.GetPhysicalAddresses().GetEntry(static_cast<TPhysicalAddressKey>(key));
    address.SetStreet("Main street 1");
    address.SetCity("Graz");
    address.SetState("Styria");
    address.SetPostalCode("8010");
    address.SetCountryOrRegion("Austria");
    contact.GetUrls().GetEntry(static_cast<TContactUrlKey>(key)).SetAddress("https://example.com");
    contact.GetAbchEmailAddresses().GetEmail(static_cast<TAbchEmailAddressType>(key)).SetAddress("ann@example.com");
    contact.GetChildren().GetString_().Add("Child");
    contact.GetCompanies().GetString_().Add("Company");
    contact.GetUserSMIMECertificate().GetBase64Binary().Add("QUFBQQ==");
    contact.GetMSExchangeCertificate().GetBase64Binary().Add("QUFBQQ==");
    contact.GetDirectReports().GetMailbox().Add().SetEmailAddress("bob@example.com");
  }
  TEwsContactItem record(contact.AsElement());  // what servers alone write
  record.SetFileAsMapping(famLastCommaFirst);
  record.GetCompleteName().AsElement().AddElement("t:FullName").SetText("Ann Example");
  contact.GetManagerMailbox().GetMailbox().SetEmailAddress("carol@example.com");
}

#define READ_Own(...)
#define READ_Read(name, ...) benchmark::DoNotOptimize(contact.Get##name());
#define READ_Write(name, ...) benchmark::DoNotOptimize(contact.Get##name());
#define READ_Child(name, ...) benchmark::DoNotOptimize(&contact.Get##name());

void ReadAll(IVqEWSContact& contact) {
#define VQ_MEMBER(access, ...) READ_##access(__VA_ARGS__)
#include "ews/tables/MemberRowsContact.inc"
  for (int key = 0; key < 23; ++key) benchmark::DoNotOptimize(contact.GetPhoneNumbers().GetItem(key).GetValue());
  for (int key = 0; key < 3; ++key) {
    benchmark::DoNotOptimize(contact.GetEmailAddresses().GetItem(key).GetValue());
    benchmark::DoNotOptimize(contact.GetImAddresses().GetItem(key).GetValue());
    benchmark::DoNotOptimize(contact.GetPhysicalAddresses().GetItem(key).GetCity());
  }
}

/// The reply that loads the contact.
std::string ReplyFor(IVqEWSContact& filled) {
  return "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" "
         "xmlns:m=\"http://schemas.microsoft.com/exchange/services/2006/messages\" "
         "xmlns:t=\"http://schemas.microsoft.com/exchange/services/2006/types\"><s:Body><m:GetItemResponse>"
         "<m:ResponseMessages><m:GetItemResponseMessage ResponseClass=\"Success\"><m:ResponseCode>NoError"
         "</m:ResponseCode><m:Items><t:Contact><t:ItemId Id=\"AAA\" ChangeKey=\"BBB\"/>" +
         filled.AsElement().GetInnerXML().utf8() +
         "</t:Contact></m:Items></m:GetItemResponseMessage></m:ResponseMessages></m:GetItemResponse></s:Body>"
         "</s:Envelope>";
}

/// A session and the reply, for each benchmark.
struct TWorld {
  TForkedSimulator Server{[](simulator::Simulator&) { return std::string(); }};
  TVqEWSServiceSession Session;
  TVqRef<IVqEWSMsgStore> Store;
  std::string Reply;

  TWorld() {
    Server.LogOn(Session);
    Store = Session.OpenDefaultMsgStore();
    const auto filled = Make();
    Fill(*filled);
    Reply = ReplyFor(*filled);
  }
  TVqRef<TOfflineContact> Make() {
    return MakeRef<TOfflineContact>(dynamic_cast<TVqComponent*>(Store.get()), TItemId());
  }
};

void ParseTheReplyOnce(benchmark::State& state) {
  TWorld world;
  for (auto _ : state) {
    std::string bytes = world.Reply;
    pugi::xml_document document;
    document.load_buffer_inplace(bytes.data(), bytes.size());
    benchmark::DoNotOptimize(document);
  }
  state.counters["bytes"] = static_cast<double>(world.Reply.size());
}
BENCHMARK(ParseTheReplyOnce)->Unit(benchmark::kMicrosecond);

void ParseTheReplyOnceIntoADocument(benchmark::State& state) {
  TWorld world;
  for (auto _ : state) benchmark::DoNotOptimize(MakeRef<TVqSOAPResponse>(world.Reply, "m:GetItemResponse"));
}
BENCHMARK(ParseTheReplyOnceIntoADocument)->Unit(benchmark::kMicrosecond);

void Step(benchmark::State& state, int steps) {
  TWorld world;
  const auto contact = world.Make();
  for (auto _ : state) {
    contact->LoadFrom(world.Reply);
    if (steps > 1) ReadAll(*contact);
    if (steps < 3) continue;
    contact->SetJobTitle("Another");
    try {
      contact->SaveChanges(soAutoResolve);
    } catch (const TComposed&) {
    }
  }
  if (steps == 3) state.counters["fields"] = contact->Fields;
}
void LoadAContact(benchmark::State& state) {
  Step(state, 1);
}
BENCHMARK(LoadAContact)->Unit(benchmark::kMicrosecond);
void LoadAndReadAContact(benchmark::State& state) {
  Step(state, 2);
}
BENCHMARK(LoadAndReadAContact)->Unit(benchmark::kMicrosecond);
void LoadReadChangeAndComposeAContact(benchmark::State& state) {
  Step(state, 3);
}
BENCHMARK(LoadReadChangeAndComposeAContact)->Unit(benchmark::kMicrosecond);

}  // namespace
