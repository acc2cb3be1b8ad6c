// XML: our document against the bare parser, on pages of 1,200 rows as m:FindItem answers them (0.8 MB each).
//
// 16 different pages take turns, so that no run of branches is learnt by heart. The allocator keeps what it has: else
// what is measured is how often it gives memory back to the system, which differs from run to run.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <atomic>
#include <cstring>
#include <pugixml.hpp>
#include <random>
#include <string>
#include <vector>

#include "platform/xml/uVqXMLDOM.h"
#include "platform/xml/uVqXMLQuickScan_p.h"
#include "platform/xml/uVqXMLScan_p.h"

using namespace velmore;

namespace {

std::size_t Allocated = 0;

std::string Page(unsigned seed, int rows) {
  std::mt19937 random(seed);
  const auto below = [&](unsigned range) { return static_cast<unsigned>(random() % range); };
  const auto id = [&](unsigned length) {
    static const char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    while (length-- > 0) text += kDigits[below(64)];
    return text;
  };
  static const char* const kWords[] = {"meeting", "figures", "quarterly", "the",  "of",  "budget",        "Anfrage",
                                       "re",      "holiday", "report",    "plan", "for", "M\xC3\xBCller", "&amp;"};
  std::string page =
      "<?xml version=\"1.0\" encoding=\"utf-8\"?><s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\">"
      "<s:Header><h:ServerVersionInfo MajorVersion=\"15\" MinorVersion=\"20\" "
      "xmlns:h=\"http://schemas.microsoft.com/exchange/services/2006/types\"/></s:Header><s:Body>"
      "<m:FindItemResponse xmlns:m=\"http://schemas.microsoft.com/exchange/services/2006/messages\" "
      "xmlns:t=\"http://schemas.microsoft.com/exchange/services/2006/types\"><m:ResponseMessages>"
      "<m:FindItemResponseMessage ResponseClass=\"Success\"><m:ResponseCode>NoError</m:ResponseCode>"
      "<m:RootFolder IndexedPagingOffset=\"1000\" TotalItemsInView=\"5321\"><t:Items>";
  for (int row = 0; row < rows; ++row) {
    page += "<t:Message><t:ItemId Id=\"" + id(152) + "\" ChangeKey=\"" + id(40) + "\"/><t:Subject>";
    for (unsigned words = 1 + below(9); words > 0; --words) page += std::string(kWords[below(14)]) + " ";
    page += "</t:Subject><t:Sensitivity>Normal</t:Sensitivity><t:DateTimeReceived>2024-0" +
            std::to_string(1 + below(9)) + "-1" + std::to_string(below(10)) +
            "T11:30:00Z</t:DateTimeReceived><t:Size>" + std::to_string(below(3000000)) + "</t:Size>";
    if (below(3) != 0) page += "<t:Importance>Normal</t:Importance>";
    page += "<t:HasAttachments>" + std::string(below(2) != 0 ? "true" : "false") + "</t:HasAttachments>";
    if (below(4) != 0) {
      page += "<t:From><t:Mailbox><t:Name>" + std::string(kWords[below(14)]) + "</t:Name></t:Mailbox></t:From>";
    }
    page += "<t:IsRead>" + std::string(below(2) != 0 ? "true" : "false") + "</t:IsRead>";
    if (below(2) != 0) {
      page += "<t:ExtendedProperty><t:ExtendedFieldURI PropertyTag=\"0x1035\" PropertyType=\"String\"/><t:Value>&lt;" +
              id(20 + below(30)) + "@example.org&gt;</t:Value></t:ExtendedProperty>";
    }
    page += "</t:Message>";
  }
  return page +
         "</t:Items></m:RootFolder></m:FindItemResponseMessage></m:ResponseMessages></m:FindItemResponse></s:Body>"
         "</s:Envelope>";
}

const std::vector<std::string>& Pages() {
  static const std::vector<std::string> pages = [] {
    mallopt(M_MMAP_THRESHOLD, 256 << 20);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    std::vector<std::string> made;
    for (unsigned seed = 0; seed < 16; ++seed) made.push_back(Page(seed, 1200));
    return made;
  }();
  return pages;
}

void ParseFloor(benchmark::State& state) {
  std::size_t i = 0;
  for (auto _ : state) {
    const std::string& page = Pages()[i++ % 16];
    pugi::xml_document document;
    benchmark::DoNotOptimize(document.load_buffer(page.data(), page.size()).status);
  }
}
BENCHMARK(ParseFloor)->Unit(benchmark::kMicrosecond);

void Parse(benchmark::State& state) {
  std::size_t i = 0;
  for (auto _ : state) {
    TVqDOMDocument document;
    document.LoadFromBytes(Pages()[i++ % 16]);
  }
}
BENCHMARK(Parse)->Unit(benchmark::kMicrosecond);

/// The quick look alone, with each instruction set that this machine has: what a parse takes longer on a machine that
/// has not the first of them is the difference.
const bool kScans = [] {
  for (const detail::TVqScanKernel& kernel : detail::ScanKernels()) {
    benchmark::RegisterBenchmark((std::string("Scan/") + kernel.Name).c_str(), [&kernel](benchmark::State& state) {
      std::size_t i = 0;
      bool clean = true;
      for (auto _ : state) {
        const std::string_view page = Pages()[i++ % 16];
        clean = detail::QuickScan(page.substr(detail::ReadDeclaration(page).End), {}, &kernel).Clean && clean;
      }
      if (!clean) state.SkipWithError("the strict reading would have been asked");
    })->Unit(benchmark::kMicrosecond);
  }
  return true;
}();

void ParseAndRenamePrefixes(benchmark::State& state) {
  std::size_t i = 0;
  for (auto _ : state) {
    TVqDOMDocument document;
    document.LoadFromBytes(Pages()[i++ % 16]);
    document.RenamePrefixes({{"http://schemas.microsoft.com/exchange/services/2006/messages", "m"},
                             {"http://schemas.microsoft.com/exchange/services/2006/types", "t"}});
  }
}
BENCHMARK(ParseAndRenamePrefixes)->Unit(benchmark::kMicrosecond);

void SetCounting() {
  pugi::set_memory_management_functions(
      [](std::size_t size) {
        Allocated += size;
        return std::malloc(size);
      },
      std::free);
}

/// Bytes that a document holds, the text it was read from included; the times mean nothing.
void MemoryFloor(benchmark::State& state) {
  SetCounting();
  for (auto _ : state) {
    Allocated = 0;
    pugi::xml_document document;
    document.load_buffer(Pages()[0].data(), Pages()[0].size());
    state.counters["bytes"] = static_cast<double>(Allocated);
  }
}
BENCHMARK(MemoryFloor)->Iterations(1);

void Memory(benchmark::State& state) {
  SetCounting();
  for (auto _ : state) {
    Allocated = Pages()[0].size();  // the copy of the text is ours, not the parser's
    TVqDOMDocument document;
    document.LoadFromBytes(Pages()[0]);
    state.counters["bytes"] = static_cast<double>(Allocated);
  }
}
BENCHMARK(Memory)->Iterations(1);

std::string Thirty() {
  std::string text = "<t:Message>";
  for (int i = 0; i < 30; ++i) text += "<t:Member" + std::to_string(i) + "/>";
  return text + "</t:Message>";
}

void SelectFloor(benchmark::State& state) {
  pugi::xml_document document;
  document.load_string(Thirty().c_str());
  const pugi::xml_node parent = document.first_child();
  const std::string name = "t:Member" + std::to_string(state.range(0));
  for (auto _ : state) {
    pugi::xml_node found;
    for (pugi::xml_node child = parent.first_child(); child; child = child.next_sibling()) {
      if (std::strcmp(child.name(), name.c_str()) == 0) {
        found = child;
        break;
      }
    }
    benchmark::DoNotOptimize(found.internal_object());
  }
}
BENCHMARK(SelectFloor)->Arg(2)->Arg(15)->Arg(29);

void Select(benchmark::State& state, TVqDOMSelectOptions options, const char* prefix) {
  TVqDOMDocument document(Thirty());
  const IVqDOMElement parent = document.GetDocumentElement();
  const TVqDOMSelection selection(prefix + ("Member" + std::to_string(state.range(0))));
  for (auto _ : state) benchmark::DoNotOptimize(static_cast<bool>(parent.SelectSingleElement(selection, options)));
}
BENCHMARK_CAPTURE(Select, Qualified, TVqDOMSelectOptions(0), "t:")->Arg(2)->Arg(15)->Arg(29);
BENCHMARK_CAPTURE(Select, LocalName, kSelectQuiet, "")->Arg(2)->Arg(15)->Arg(29);

void SelectByText(benchmark::State& state) {
  TVqDOMDocument document(Thirty());
  const IVqDOMElement parent = document.GetDocumentElement();
  const std::string expression = "Member" + std::to_string(state.range(0));
  for (auto _ : state) {
    benchmark::DoNotOptimize(static_cast<bool>(parent.SelectSingleElement(expression, kSelectQuiet)));
  }
}
BENCHMARK(SelectByText)->Arg(2)->Arg(15)->Arg(29);

/// All rows by position: twice the rows, twice the time.
void EveryItem(benchmark::State& state) {
  const std::string page = Page(1, static_cast<int>(state.range(0)));
  TVqDOMDocument document(page);
  const IVqDOMElement items = document.SelectSingleElement("//Items", kSelectRequired);
  for (auto _ : state) {
    const std::int32_t count = items.ElementCount();
    for (std::int32_t i = 0; i < count; ++i) {
      benchmark::DoNotOptimize(static_cast<bool>(items.GetChildElements().GetItem(i)));
    }
  }
}
BENCHMARK(EveryItem)->Arg(1000)->Arg(2000)->Unit(benchmark::kMicrosecond);

}  // namespace
