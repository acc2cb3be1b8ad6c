// Typed records against the same work done by hand on the parser's own nodes.

#include <benchmark/benchmark.h>

#include <pugixml.hpp>
#include <string>

#include "ews/schema/uVqEWSTypes.h"

using namespace velmore;

namespace {

// A page of a listing: `rows` messages with ten fields each.
std::string Page(std::int64_t rows) {
  std::string page = "<t:Items>";
  for (std::int64_t i = 0; i < rows; ++i) {
    const std::string n = std::to_string(i);
    page += "<t:Message><t:ItemId Id=\"AAMkAD" + n + "\" ChangeKey=\"CQAAAB" + n +
            "\"/><t:Subject>Minutes of the meeting, part " + n +
            "</t:Subject><t:Sensitivity>Normal</t:Sensitivity><t:DateTimeReceived>2024-02-29T11:00:00Z"
            "</t:DateTimeReceived><t:Size>4096</t:Size><t:Importance>High</t:Importance><t:DateTimeSent>"
            "2024-02-29T10:59:00Z</t:DateTimeSent><t:DisplayTo>Ann Example; Bob Example</t:DisplayTo>"
            "<t:HasAttachments>true</t:HasAttachments><t:IsRead>false</t:IsRead></t:Message>";
  }
  return page + "</t:Items>";
}

// The floor of a typed text: find the child, take its pointer, make 16-bit text of it.
void TextByHand(benchmark::State& state) {
  pugi::xml_document document;
  document.load_string(Page(1).c_str());
  const pugi::xml_node message = document.first_child().first_child();
  for (auto _ : state) {
    string text{std::string_view(message.child("t:Subject").child_value())};
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(TextByHand);

void TextByRecord(benchmark::State& state) {
  TEwsMessage message(VqCreateDOM(Page(1)).GetDocumentElement().GetFirstChildElement());
  for (auto _ : state) {
    string text = message.GetSubject();
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(TextByRecord);

void IntegerByRecord(benchmark::State& state) {
  TEwsMessage message(VqCreateDOM(Page(1)).GetDocumentElement().GetFirstChildElement());
  for (auto _ : state) benchmark::DoNotOptimize(message.GetSize());
}
BENCHMARK(IntegerByRecord);

void EnumerationByRecord(benchmark::State& state) {
  TEwsMessage message(VqCreateDOM(Page(1)).GetDocumentElement().GetFirstChildElement());
  for (auto _ : state) benchmark::DoNotOptimize(message.GetImportance());
}
BENCHMARK(EnumerationByRecord);

void ClassGetter(benchmark::State& state) {
  TEwsMessage message(VqCreateDOM(Page(1)).GetDocumentElement().GetFirstChildElement());
  for (auto _ : state) benchmark::DoNotOptimize(&message.GetItemId());
}
BENCHMARK(ClassGetter);

void MakeRecord(benchmark::State& state) {
  const IVqDOMElement element = VqCreateDOM(Page(1)).GetDocumentElement().GetFirstChildElement();
  for (auto _ : state) {
    TEwsMessage message(element);
    benchmark::DoNotOptimize(&message);
  }
}
BENCHMARK(MakeRecord);

// All rows of a page by position: linear, so that the time per row stays when the rows double.
void RowsByHand(benchmark::State& state) {
  pugi::xml_document document;
  document.load_string(Page(state.range(0)).c_str());
  for (auto _ : state) {
    for (const pugi::xml_node message : document.first_child().children("t:Message")) {
      string text{std::string_view(message.child("t:Subject").child_value())};
      benchmark::DoNotOptimize(text);
    }
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(RowsByHand)->Arg(1000)->Arg(2000);

void RowsByRecord(benchmark::State& state) {
  const IVqDOMDocument document = VqCreateDOM(Page(state.range(0)));
  for (auto _ : state) {
    TEwsArrayOfRealItems items(document.GetDocumentElement());
    auto& messages = items.GetMessage_();
    for (std::int32_t i = 0; i < messages.Count(); ++i) {
      string text = messages.GetItem(i).GetSubject();
      benchmark::DoNotOptimize(text);
    }
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(RowsByRecord)->Arg(1000)->Arg(2000);

// The same where each row makes an element, as class getters do: must not search the page again for each row.
void RowsThatMakeElements(benchmark::State& state) {
  const std::string page = Page(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    TEwsArrayOfRealItems items(VqCreateDOM(page).GetDocumentElement());
    state.ResumeTiming();
    auto& messages = items.GetMessage_();
    for (std::int32_t i = 0; i < messages.Count(); ++i) benchmark::DoNotOptimize(&messages.GetItem(i).GetBody());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(RowsThatMakeElements)->Arg(1000)->Arg(2000);

void RowsAdded(benchmark::State& state) {
  for (auto _ : state) {
    TEwsArrayOfRecipients recipients(VqCreateDOM("<t:ToRecipients/>").GetDocumentElement());
    for (std::int64_t i = 0; i < state.range(0); ++i) recipients.GetMailbox().Add().SetEmailAddress("ann@example.com");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(RowsAdded)->Arg(1000)->Arg(2000);

void MessageWritten(benchmark::State& state) {
  for (auto _ : state) {
    TEwsMessage message(VqCreateDOM("<t:Message/>").GetDocumentElement());
    message.SetSubject("Hello");
    message.GetBody().SetBodyType(btText);
    message.GetBody().SetValue("Text");
    message.SetImportance(icHigh);
    message.GetToRecipients().GetMailbox().Add().SetEmailAddress("ann@example.com");
    message.SetIsRead(true);
  }
}
BENCHMARK(MessageWritten);

}  // namespace
