// Reading a mailbox: pages of rows, loading an item, large content, deep folders.
//
// Each figure of ours stands beside a floor written by hand over pugixml, or beside OpenSSL, in the same run. What
// needs a server talks to a simulator in a process of its own, so that memory counted here is ours alone.

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <fstream>
#include <iostream>
#include <pugixml.hpp>
#include <sstream>

#include "bench/ForkedSimulator.h"
#include "bench/Measuring.h"
#include "ews/VelmoreEWS.h"
#include "ews/items/uVqEWSAttachments.h"
#include "ews/items/uVqEWSItem.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "ews/stores/uVqEWSFolder.h"
#include "ews/stores/uVqEWSMsgStore.h"
#include "platform/common/uVqNetEncoding.h"
#include "platform/soap/uVqSOAPTypes.h"

namespace {

using namespace velmore;

constexpr const char* kEnvelope =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><s:Envelope "
    "xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body>"
    "<m:%1 xmlns:m=\"http://schemas.microsoft.com/exchange/services/2006/messages\" "
    "xmlns:t=\"http://schemas.microsoft.com/exchange/services/2006/types\">%2</m:%1></s:Body></s:Envelope>";

std::string Envelope(const std::string& operation, const std::string& content) {
  std::string text = kEnvelope;
  for (std::size_t at; (at = text.find("%1")) != std::string::npos;) text.replace(at, 2, operation + "Response");
  text.replace(text.find("%2"), 2,
               "<m:ResponseMessages><m:" + operation +
                   "ResponseMessage ResponseClass=\"Success\"><m:ResponseCode>NoError"
                   "</m:ResponseCode>" +
                   content + "</m:" + operation + "ResponseMessage></m:ResponseMessages>");
  return text;
}

// ---- A page of rows

struct TColumn {
  const char* Name;
  const char* Value;
  const TVqEWSFieldDef* Field;
};
const TColumn kColumns[] = {
    {"t:ItemClass", "IPM.Note", &FLD_ITEM_ITEMCLASS},
    {"t:Subject", "Minutes of the meeting on the new building, with corrections", &FLD_ITEM_SUBJECT},
    {"t:Sensitivity", "Normal", &FLD_ITEM_SENSITIVITY},
    {"t:DateTimeReceived", "2026-03-02T09:00:00Z", &FLD_ITEM_DATETIMERECEIVED},
    {"t:Size", "12345", &FLD_ITEM_SIZE},
    {"t:Importance", "Normal", &FLD_ITEM_IMPORTANCE},
    {"t:DateTimeSent", "2026-03-02T08:59:58Z", &FLD_ITEM_DATETIMESENT},
    {"t:HasAttachments", "false", &FLD_ITEM_HASATTACHMENTS},
    {"t:DisplayTo", "Alice Arden; Bob Birch; Carol Cole", &FLD_ITEM_DISPLAYTO},
    {"t:IsRead", "true", &FLD_MESSAGE_ISREAD},
    {"t:InReplyTo", "&lt;a4be9c7d@mail.example.com&gt;", &FLD_ITEM_INREPLYTO},
    {"t:Culture", "en-US", &FLD_ITEM_CULTURE},
    {"t:LastModifiedName", "Alice Arden", &FLD_ITEM_LASTMODIFIEDNAME},
    {"t:ConversationTopic", "Minutes of the meeting", &FLD_MESSAGE_CONVERSATIONTOPIC},
    {"t:InternetMessageId", "&lt;77f0@mail.example.com&gt;", &FLD_MESSAGE_INTERNETMESSAGEID},
    {"t:DateTimeCreated", "2026-03-02T09:00:01Z", &FLD_ITEM_DATETIMECREATED},
    {"t:LastModifiedTime", "2026-03-02T09:00:02Z", &FLD_ITEM_LASTMODIFIEDTIME},
    {"t:DisplayCc", "", &FLD_ITEM_DISPLAYCC},
    {"t:IsDraft", "false", &FLD_ITEM_ISDRAFT},
    {"t:IsFromMe", "false", &FLD_ITEM_ISFROMME},
};

const TColumn kCalendarColumns[] = {
    {"t:Subject", "Stand-up of the two teams, with guests", &FLD_ITEM_SUBJECT},
    {"t:Start", "2026-03-02T09:00:00Z", &FLD_CALENDAR_START},
    {"t:End", "2026-03-02T09:15:00Z", &FLD_CALENDAR_END},
    {"t:IsAllDayEvent", "false", &FLD_CALENDAR_ISALLDAYEVENT},
    {"t:LegacyFreeBusyStatus", "Busy", &FLD_CALENDAR_LEGACYFREEBUSYSTATUS},
    {"t:Location", "Room 2, behind the stairs", &FLD_CALENDAR_LOCATION},
    {"t:IsMeeting", "true", &FLD_CALENDAR_ISMEETING},
    {"t:IsCancelled", "false", &FLD_CALENDAR_ISCANCELLED},
    {"t:CalendarItemType", "Occurrence", &FLD_CALENDAR_CALENDARITEMTYPE},
    {"t:MyResponseType", "Accept", &FLD_CALENDAR_MYRESPONSETYPE},
};

/// Rows of one kind, with their columns.
struct TRows {
  const char* Element;
  const TColumn* Columns;
};
constexpr TRows kMessages{"t:Message", kColumns};
constexpr TRows kOccurrences{"t:CalendarItem", kCalendarColumns};

std::string Page(const TRows& kind, std::int64_t rows, std::int64_t fields) {
  std::string items;
  for (std::int64_t row = 0; row < rows; ++row) {
    items += std::string("<") + kind.Element + "><t:ItemId Id=\"AAMkADAwATM0MDAAMS1kYgAtMDJiMC0wMAItMDAKAEYAAAN" +
             std::to_string(row) + "\" ChangeKey=\"CQAAABYAAAA\"/>";
    for (std::int64_t i = 0; i < fields; ++i) {
      const TColumn& column = kind.Columns[i];
      items += std::string("<") + column.Name + ">" + column.Value + "</" + column.Name + ">";
    }
    items += std::string("</") + kind.Element + ">";
  }
  return Envelope("FindItem", "<m:RootFolder TotalItemsInView=\"" + std::to_string(rows) +
                                  "\" IndexedPagingOffset=\"1000\" IncludesLastItemInRange=\"true\"><t:Items>" + items +
                                  "</t:Items></m:RootFolder>");
}

/// A table whose pages come out of memory.
class TBenchItems : public TVqEWSTable {
 public:
  TBenchItems(TVqComponent* creator, const std::string& bytes) : TVqEWSTable(creator, true), FBytes(bytes) {}

 protected:
  void GetNextPage() override {
    const auto response = MakeRef<TVqSOAPResponse>(FBytes, string());
    SetData(std::make_unique<TEwsArrayOfRealItems>(response->GetDocument().SelectSingleElement(
        "/Envelope/Body/FindItemResponse/ResponseMessages/FindItemResponseMessage/RootFolder/Items", kSelectRequired)));
  }

 private:
  const std::string& FBytes;
};

void Floor(benchmark::State& state, const TRows& kind) {
  const std::string page = Page(kind, state.range(0), state.range(1));
  for (auto _ : state) {
    std::string buffer = page;
    pugi::xml_document document;
    document.load_buffer_inplace(buffer.data(), buffer.size());
    const pugi::xml_node items = document.first_child()
                                     .child("s:Body")
                                     .first_child()
                                     .first_child()
                                     .first_child()
                                     .child("m:RootFolder")
                                     .child("t:Items");
    std::size_t length = 0;
    for (const pugi::xml_node row : items) {
      for (std::int64_t i = 0; i < state.range(1); ++i)
        length += string(std::string_view(row.child(kind.Columns[i].Name).child_value())).Length();
    }
    benchmark::DoNotOptimize(length);
  }
}
void Rows(benchmark::State& state, const TRows& kind) {
  const std::string page = Page(kind, state.range(0), state.range(1));
  TVqEWSServiceSession session;
  const auto store = MakeRef<TVqEWSMsgStore>(&session, "bench");
  for (auto _ : state) {
    const auto items = MakeRef<TBenchItems>(store.get(), page);
    std::vector<TVqEWSField*> fields;
    for (std::int64_t i = 0; i < state.range(1); ++i) fields.push_back(&items->GetFields().Add(*kind.Columns[i].Field));
    std::size_t length = 0;
    for (items->Open(); !items->Eof(); items->Next()) {
      for (TVqEWSField* field : fields) length += field->GetAsString().Length();
    }
    benchmark::DoNotOptimize(length);
  }
}
void PageFloor(benchmark::State& state) {
  Floor(state, kMessages);
}
void PageOfRows(benchmark::State& state) {
  Rows(state, kMessages);
}
void Pages(benchmark::internal::Benchmark* bench) {
  bench->Args({1000, 10})->Args({2000, 10})->Args({4000, 10})->Args({1000, 20})->Unit(benchmark::kMicrosecond);
}
BENCHMARK(PageFloor)->Apply(Pages);
BENCHMARK(PageOfRows)->Apply(Pages);

/// A year of a series, as a calendar view gives it.
void CalendarViewFloor(benchmark::State& state) {
  Floor(state, kOccurrences);
}
void CalendarView(benchmark::State& state) {
  Rows(state, kOccurrences);
}
BENCHMARK(CalendarViewFloor)->Args({1000, 10})->Unit(benchmark::kMicrosecond);
BENCHMARK(CalendarView)->Args({1000, 10})->Unit(benchmark::kMicrosecond);

// ---- Loading an item

std::string ItemReply() {
  std::string body;
  for (int i = 0; i < 200; ++i) body += "&lt;p&gt;A line of the body, number " + std::to_string(i) + ".&lt;/p&gt;\r\n";
  std::string members;
  for (const TColumn& column : kColumns)
    members += std::string("<") + column.Name + ">" + column.Value + "</" + column.Name + ">";
  std::string headers;
  for (int i = 0; i < 40; ++i)
    headers += "<t:InternetMessageHeader HeaderName=\"X-Header-" + std::to_string(i) +
               "\">from mail.example.com by other</t:InternetMessageHeader>";
  return Envelope("GetItem",
                  "<m:Items><t:Message><t:ItemId Id=\"AAMkAD\" ChangeKey=\"CQAA\"/><t:Body BodyType=\"HTML\">" + body +
                      "</t:Body><t:InternetMessageHeaders>" + headers + "</t:InternetMessageHeaders>" + members +
                      "</t:Message></m:Items>");
}

class TBenchItem : public TVqEWSPropObject<TEwsMessage> {
 public:
  explicit TBenchItem(TVqComponent* creator) : TVqEWSPropObject(creator, true) {}
  void Load(const std::string& reply) {
    FResponse = MakeRef<TVqSOAPResponse>(reply, string());
    SetPropData(FResponse->GetDocument()
                    .SelectSingleElement("/Envelope/Body/GetItemResponse/ResponseMessages/GetItemResponseMessage/Items",
                                         kSelectRequired)
                    .GetFirstChildElement());
  }
  std::size_t ReadTen() const {
    const TEwsMessage& data = NewData();
    return data.GetSubject().Length() + data.GetItemClass().Length() + data.GetDisplayTo().Length() +
           data.GetCulture().Length() + data.GetInReplyTo().Length() + data.GetLastModifiedName().Length() +
           static_cast<std::size_t>(data.GetSize()) + data.GetIsRead() + data.GetHasAttachments() +
           static_cast<std::size_t>(data.GetImportance());
  }
  void Compare() { benchmark::DoNotOptimize(&OldRecord()); }

 private:
  TVqRef<TVqSOAPResponse> FResponse;
};

void ItemParseFloor(benchmark::State& state) {
  const std::string reply = ItemReply();
  for (auto _ : state) {
    std::string buffer = reply;
    pugi::xml_document document;
    document.load_buffer_inplace(buffer.data(), buffer.size());
    benchmark::DoNotOptimize(document.first_child());
  }
}
BENCHMARK(ItemParseFloor)->Unit(benchmark::kMicrosecond);
void ItemParse(benchmark::State& state) {
  const std::string reply = ItemReply();
  for (auto _ : state) benchmark::DoNotOptimize(MakeRef<TVqSOAPResponse>(reply, string()));
}
BENCHMARK(ItemParse)->Unit(benchmark::kMicrosecond);
/// `Compared` 1: the copy as loaded is asked for, too.
void ItemLoad(benchmark::State& state) {
  const std::string reply = ItemReply();
  TVqEWSServiceSession session;
  const auto store = MakeRef<TVqEWSMsgStore>(&session, "bench");
  for (auto _ : state) {
    const auto item = MakeRef<TBenchItem>(store.get());
    item->Load(reply);
    benchmark::DoNotOptimize(item->ReadTen());
    if (state.range(0)) item->Compare();
  }
}
BENCHMARK(ItemLoad)->ArgName("Compared")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

// ---- Base64

void DecodeOpenSSL(benchmark::State& state) {
  const std::string text = VqBase64Encode(std::string(16 << 20, 'x'));
  std::string out(text.size(), '\0');
  for (auto _ : state) {
    benchmark::DoNotOptimize(EVP_DecodeBlock(reinterpret_cast<unsigned char*>(out.data()),
                                             reinterpret_cast<const unsigned char*>(text.data()),
                                             static_cast<int>(text.size())));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(DecodeOpenSSL)->Unit(benchmark::kMillisecond);

void DecodeOurs(benchmark::State& state) {
  const std::string text = VqBase64Encode(std::string(16 << 20, 'x'));
  for (auto _ : state) {
    TNowhere nowhere;
    VqBase64Decode(text, nowhere);
    benchmark::DoNotOptimize(nowhere.GetSize());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(DecodeOurs)->Unit(benchmark::kMillisecond);

// ---- With a server

constexpr std::size_t kLarge = 200'000'000;

/// Memory of this process in bytes: what it has now, or the most since ResetPeak.
std::size_t Memory(const char* name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name)) return std::stoull(line.substr(line.find_first_of("0123456789"))) * 1024;
  }
  return 0;
}
void ResetPeak() {
  std::ofstream("/proc/self/clear_refs") << "5";
}

void ReportPeak(benchmark::State& state, std::size_t before) {
  const double text = static_cast<double>(VqBase64Length(kLarge));
  state.counters["peak/base64"] = static_cast<double>(Memory("VmHWM:") - before) / text;
}

void SaveMessageOf200MB(benchmark::State& state) {
  const TForkedSimulator server([](simulator::Simulator& simulator) {
    std::string mime = "Subject: large\r\n\r\n";
    while (mime.size() < kLarge)
      mime += "A line of a message that is large beyond all measure, and has only lines like this.\r\n";
    return simulator.AddMessage("alice@example.com", "inbox", std::move(mime)).id;
  });
  TVqEWSServiceSession session;
  server.LogOn(session);
  const auto store = Supports<TVqEWSMsgStore>(session.OpenDefaultMsgStore());
  const auto item = session.OpenDefaultMsgStore()->GetFolder(dfininbox, "")->CreateItem(tItem);
  Supports<TVqEWSItem>(item)->SetId({server.Told(), ""});
  for (auto _ : state) {
    const std::size_t before = Memory("VmRSS:");
    ResetPeak();
    TNowhere nowhere;
    item->SaveToStream(nowhere);
    ReportPeak(state, before);
    if (nowhere.GetSize() < kLarge) state.SkipWithError("the content is short");
  }
}
BENCHMARK(SaveMessageOf200MB)->Unit(benchmark::kMillisecond)->Iterations(1);

void SaveAttachmentOf200MB(benchmark::State& state) {
  const TForkedSimulator server([](simulator::Simulator& simulator) {
    return simulator
        .AddItem("alice@example.com", "inbox",
                 "<t:Message><t:Subject>s</t:Subject><t:Attachments><t:FileAttachment><t:Name>large.bin</"
                 "t:Name><t:Content>" +
                     VqBase64Encode(std::string(kLarge, 'x')) +
                     "</t:Content></t:FileAttachment></t:Attachments></t:Message>")
        .id;
  });
  TVqEWSServiceSession session;
  server.LogOn(session);
  for (auto _ : state) {
    const auto item =
        MakeRef<TVqEWSItem>(Supports<TVqEWSMsgStore>(session.OpenDefaultMsgStore()).get(), TItemId{server.Told(), ""});
    const auto file = Supports<IVqEWSFileAttachment>(item->GetAttachments().GetAttachment(0));
    const std::size_t before = Memory("VmRSS:");
    ResetPeak();
    TNowhere nowhere;
    file->SaveToStream(nowhere);
    ReportPeak(state, before);
    if (nowhere.GetSize() != kLarge) state.SkipWithError("the content is short");
  }
}
BENCHMARK(SaveAttachmentOf200MB)->Unit(benchmark::kMillisecond)->Iterations(1);

void Walk100000Rows(benchmark::State& state) {
  const TForkedSimulator server([](simulator::Simulator& simulator) {
    for (int i = 0; i < 100'000; ++i)
      simulator.AddItem("alice@example.com", "inbox",
                        "<t:Message><t:Subject>Number " + std::to_string(i) + "</t:Subject></t:Message>");
    return std::string("-");
  });
  TVqEWSServiceSession session;
  server.LogOn(session);
  const auto inbox = session.OpenDefaultMsgStore()->GetFolder(dfininbox, "");
  for (auto _ : state) {
    const std::size_t before = Memory("VmRSS:");
    ResetPeak();
    auto items = inbox->GetItems();
    items->SetMaxEntriesPerPage(1000);
    std::vector<TVqEWSField*> fields;
    for (int i = 0; i < 10; ++i) fields.push_back(&items->GetFields().Add(*kColumns[i].Field));
    std::int64_t rows = 0;
    for (items->Open(); !items->Eof(); items->Next(), ++rows) {
      for (TVqEWSField* field : fields) benchmark::DoNotOptimize(field->GetAsString());
    }
    state.counters["rows"] = static_cast<double>(rows);
    state.counters["peakMB"] = static_cast<double>(Memory("VmHWM:") - before) / 1e6;
  }
}
BENCHMARK(Walk100000Rows)->Unit(benchmark::kMillisecond)->Iterations(1);

void Walk5000Folders(benchmark::State& state) {
  const TForkedSimulator server([](simulator::Simulator& simulator) {
    for (int i = 0; i < 5000; ++i) simulator.AddItem("alice@example.com", "Many/" + std::to_string(i), "<t:Message/>");
    return std::string("-");
  });
  TVqEWSServiceSession session;
  server.LogOn(session);
  const auto store = session.OpenDefaultMsgStore();
  TItemId many;
  auto top = store->GetFolder(dfinmsgfolderroot, "")->GetSubFolders();
  top->GetFields().Add(FLD_FOLDER_DISPLAYNAME);
  top->GetFields().Add(FLD_FOLDER_FOLDERID);
  for (top->Open(); !top->Eof(); top->Next()) {
    if (top->FieldByName(FLD_FOLDER_DISPLAYNAME).GetAsString() == "Many")
      many = top->FieldByName(FLD_FOLDER_FOLDERID).GetValue<TItemId>();
  }
  const auto parent = store->GetFolder(many);
  for (auto _ : state) {
    auto folders = parent->GetSubFolders();
    TVqEWSField& name = folders->GetFields().Add(FLD_FOLDER_DISPLAYNAME);
    std::int64_t rows = 0;
    for (folders->Open(); !folders->Eof(); folders->Next(), ++rows) benchmark::DoNotOptimize(name.GetAsString());
    state.counters["rows"] = static_cast<double>(rows);
  }
}
BENCHMARK(Walk5000Folders)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace
