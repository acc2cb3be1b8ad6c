// Saving: composing an update, and a message with a large attachment.
//
// Composing stands beside a floor written by hand over pugixml. What needs a server talks to a simulator in a process
// of its own, so that memory counted here is ours alone.

#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <sys/resource.h>

#include <cstring>
#include <fstream>
#include <pugixml.hpp>
#include <sstream>

#include "bench/ForkedSimulator.h"
#include "ews/VelmoreEWS.h"
#include "ews/items/uVqEWSAttachments.h"
#include "ews/items/uVqEWSMessage.h"
#include "ews/items/uVqEWSMessageEx.h"
#include "ews/schema/uVqEWSFieldURI.h"
#include "ews/stores/uVqEWSMsgStore.h"
#include "platform/common/uVqNetEncoding.h"

namespace {

using namespace velmore;

/// A mailbox with one message, whose id is told.
std::string AddMessage(simulator::Simulator& server) {
  return server.AddItem("alice@example.com", "inbox", "<t:Message><t:Subject>S</t:Subject></t:Message>").id;
}

// ---- Composing

struct TComposed {};

/// An item whose save ends where the request would go out.
template <typename TItem>
class TComposedItem : public TItem {
 public:
  using TItem::TItem;
  bool Composing = false;
  /// What stands in the item now counts as loaded.
  void TakeAsLoaded() { this->SetPropData(this->AsElement()); }

 protected:
  ~TComposedItem() override = default;
  void BeforeSaveChanges(IVqSOAPRequest& ASOAPRequest) override {
    TItem::BeforeSaveChanges(ASOAPRequest);
    benchmark::DoNotOptimize(ASOAPRequest.GetMethod());
    if (Composing) throw TComposed();
  }
};

using TComposedMail = TComposedItem<TVqEWSEMail>;
using TComposedMeeting = TComposedItem<TVqEWSCalendarItemEx>;

/// Members of the schema, or MAPI properties, until there are 60.
void Fill(const IVqDOMElement& item, bool extended) {
  const TVqXMLSchemaClass& members = TEwsMessage::SchemaClass();
  for (std::int32_t i = 0; !extended && i < members.GetMemberCount() && item.ElementCount() < 60; ++i) {
    const string name = members.GetMember(i).Name;
    if (!item.SelectSingleElement(name, kSelectQuiet) && !name.Contains("Extended")) item.AddElement(name).SetText("v");
  }
  ForEachPropDef([&](const TVqEWSPropDef& def) {
    if (item.ElementCount() < 60 && def.Extended && def.PropertyTag > 0 && def.PropType == ptString) {
      const IVqDOMElement property = item.AddElement("t:ExtendedProperty");
      WriteExtendedFieldURI(&def, property);
      property.AddElement("t:Value").SetText("v");
    }
    return item.ElementCount() < 60;
  });
}

void Compose(benchmark::State& state, bool extended) {
  const TForkedSimulator server(AddMessage);
  TVqEWSServiceSession session;
  server.LogOn(session);
  const auto store = session.OpenDefaultMsgStore();
  const auto mail = MakeRef<TComposedMail>(dynamic_cast<TVqComponent*>(store.get()), TItemId{server.Told(), ""});
  Fill(mail->AsElement(), extended);
  mail->TakeAsLoaded();
  mail->GetProperties().Count();
  mail->Composing = true;
  std::int64_t number = 0;
  for (auto _ : state) {
    mail->SetSubject("Changed " + IntToStr(++number));
    try {
      mail->SaveChanges(soAutoResolve);
    } catch (const TComposed&) {
    }
  }
  state.counters["members"] = mail->AsElement().ElementCount();
}
void ComposeOneChangeOf60(benchmark::State& state) {
  Compose(state, false);
}
BENCHMARK(ComposeOneChangeOf60)->Unit(benchmark::kMicrosecond);
/// Each of them is found by a path with conditions.
void ComposeOneChangeOf60Extended(benchmark::State& state) {
  Compose(state, true);
}
BENCHMARK(ComposeOneChangeOf60Extended)->Unit(benchmark::kMicrosecond);

/// One attendee of many is another one: found, changed, and the lists compared.
void ModifyOneAttendee(benchmark::State& state) {
  const TForkedSimulator server([](simulator::Simulator& simulator) {
    return simulator
        .AddItem("alice@example.com", "calendar",
                 "<t:CalendarItem><t:Subject>S</t:Subject><t:Start>2026-03-02T09:00:00Z</t:Start>"
                 "<t:End>2026-03-02T10:00:00Z</t:End></t:CalendarItem>")
        .id;
  });
  TVqEWSServiceSession session;
  server.LogOn(session);
  const auto store = session.OpenDefaultMsgStore();
  const auto meeting = MakeRef<TComposedMeeting>(dynamic_cast<TVqComponent*>(store.get()), TItemId{server.Told(), ""});
  const auto guests = session.CreateRecipients();
  for (std::int64_t i = 0; i < state.range(0); ++i) guests->AddMailbox("", "person" + IntToStr(i) + "@example.com");
  meeting->ModifyOptionalAttendees(guests);
  meeting->TakeAsLoaded();
  meeting->Composing = true;
  const auto changing = guests->GetItem(static_cast<std::int32_t>(state.range(0) / 2));
  std::int64_t number = 0;
  for (auto _ : state) {
    changing->SetEmailAddress("other" + IntToStr(++number) + "@example.com");
    meeting->ModifyOptionalAttendees(guests);
    try {
      meeting->SaveChanges(soAutoResolve);
    } catch (const TComposed&) {
    }
  }
  state.counters["per attendee"] = benchmark::Counter(
      static_cast<double>(state.range(0)), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(ModifyOneAttendee)->Arg(200)->Arg(2000)->Arg(20000)->Unit(benchmark::kMicrosecond);

/// The floor: 60 members of two trees compared one by one, and the request of one change made and written.
void ComposeByHand(benchmark::State& state) {
  pugi::xml_document before, now;
  for (pugi::xml_document* document : {&before, &now}) {
    auto item = document->append_child("t:Message");
    for (int i = 0; i < 60; ++i) item.append_child(("t:Member" + std::to_string(i)).c_str()).text().set("value");
  }
  int number = 0;
  for (auto _ : state) {
    now.first_child().child("t:Member7").text().set(++number);
    pugi::xml_document request;
    auto updates = request.append_child("s:Envelope")
                       .append_child("s:Body")
                       .append_child("m:UpdateItem")
                       .append_child("t:Updates");
    for (const pugi::xml_node member : now.first_child()) {
      if (std::strcmp(before.first_child().child(member.name()).text().get(), member.text().get()) == 0) continue;
      auto field = updates.append_child("t:SetItemField");
      field.append_child("t:FieldURI").append_attribute("FieldURI").set_value("item:Member");
      field.append_child("t:Message").append_copy(member);
    }
    std::ostringstream out;
    request.save(out, "", pugi::format_raw);
    benchmark::DoNotOptimize(out);
  }
}
BENCHMARK(ComposeByHand)->Unit(benchmark::kMicrosecond);

// ---- A large attachment

constexpr std::size_t kLarge = 100'000'000;

std::size_t Memory(const char* name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name)) return std::stoull(line.substr(line.find_first_of("0123456789"))) * 1024;
  }
  return 0;
}

/// So many bytes without holding them.
class TBytesFromNowhere : public TVqStream {
 public:
  using TVqStream::Write;
  std::size_t Read(void* buffer, std::size_t count) override {
    count = std::min<std::size_t>(count, kLarge - static_cast<std::size_t>(FPosition));
    std::memset(buffer, 'x', count);
    FPosition += count;
    return count;
  }
  void Write(const void*, std::size_t) override { throw std::runtime_error("not for writing"); }
  std::uint64_t GetPosition() const override { return FPosition; }
  void SetPosition(std::uint64_t AValue) override { FPosition = AValue; }
  std::uint64_t GetSize() const override { return kLarge; }

 private:
  std::uint64_t FPosition = 0;
};

/// Attached, saved with its message, and read back as an item: the most memory over the base64 text, which the item
/// holds once.
void MessageWith100MB(benchmark::State& state) {
  const TForkedSimulator server(AddMessage);
  TVqEWSServiceSession session;
  server.LogOn(session);
  const auto drafts = session.OpenDefaultMsgStore()->GetFolder(dfindrafts, "");
  const double text = static_cast<double>(VqBase64Length(kLarge));
  for (auto _ : state) {
    const std::size_t before = Memory("VmRSS:");
    std::ofstream("/proc/self/clear_refs") << "5";
    const auto mail = drafts->CreateItem(tMessage);
    mail->SetSubject("Large");
    TBytesFromNowhere content;
    mail->GetAttachments().AddAttachment("large.bin", "application/octet-stream", content);
    state.counters["attach/base64"] = static_cast<double>(Memory("VmHWM:") - before) / text;
    mail->SaveChanges(soAutoResolve);
    state.counters["save/base64"] = static_cast<double>(Memory("VmHWM:") - before) / text;
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    state.counters["maxrssMB"] = static_cast<double>(usage.ru_maxrss) / 1024;
  }
}
BENCHMARK(MessageWith100MB)->Unit(benchmark::kMillisecond)->Iterations(1);

void EncodeOurs(benchmark::State& state) {
  const std::string bytes(10'000'000, 'x');
  for (auto _ : state) benchmark::DoNotOptimize(VqBase64Encode(bytes));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(EncodeOurs)->Unit(benchmark::kMillisecond);

void EncodeOpenSSL(benchmark::State& state) {
  const std::string bytes(10'000'000, 'x');
  for (auto _ : state) {
    std::string out(VqBase64Length(bytes.size()) + 1, '\0');
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()), reinterpret_cast<const unsigned char*>(bytes.data()),
                    static_cast<int>(bytes.size()));
    benchmark::DoNotOptimize(out);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(EncodeOpenSSL)->Unit(benchmark::kMillisecond);

}  // namespace
