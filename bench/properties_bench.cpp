// The update status of one property on an item of 30 members, unchanged, beside selecting the two nodes by hand with
// the XML library and comparing their texts.

#include <benchmark/benchmark.h>

#include <cstring>
#include <pugixml.hpp>

#include "ews/schema/uVqEWSPropsMPR.h"
#include "ews/schema/uVqEWSPropsPR.h"
#include "ews/schema/uVqEWSTypes.h"
#include "ews/values/uVqEWSProperties.h"

namespace {

using namespace velmore;

std::string Item() {
  std::string xml = "<t:Message>";
  int members = 0;
  ForEachPropDef([&](const TVqEWSPropDef& row) {
    const std::string name(row.NodeName.view());
    xml += "<t:" + name + ">the text of a value</t:" + name + ">";
    return ++members < 28;
  });
  return xml +
         "<t:Preview>hello</t:Preview><t:ExtendedProperty><t:ExtendedFieldURI PropertyTag=\"0x1000\" "
         "PropertyType=\"String\"/><t:Value>v</t:Value></t:ExtendedProperty></t:Message>";
}

struct TItem : IVqEWSFieldSource {
  IVqDOMDocument OldDocument = VqCreateDOM(Item()), NewDocument = VqCreateDOM(Item());
  TEwsMessage Old{OldDocument.GetDocumentElement()}, New{NewDocument.GetDocumentElement()};
  TVqEWSProperties Properties{*this, [this](TVqEWSGetDataElmSource source, bool) -> TVqXMLSchemaElement* {
                                return source == desCurrent ? &New : &Old;
                              }};

  const TVqEWSMemberTable& MemberTable() const override {
    static constinit const TVqEWSMemberTable table{"TItem"};
    return table;
  }
};

void Status(benchmark::State& state, const TVqEWSPropDef& def) {
  TItem item;
  TVqEWSProperty& property = item.Properties.Add(def);
  for (auto _ : state) benchmark::DoNotOptimize(property.GetUpdateStatus());
}

void OurMember(benchmark::State& state) {
  Status(state, PR_PREVIEW);
}
void OurExtended(benchmark::State& state) {
  Status(state, MPR_BODY);
}

void ByHand(benchmark::State& state) {
  pugi::xml_document oldDocument, newDocument;
  oldDocument.load_string(Item().c_str());
  newDocument.load_string(Item().c_str());
  for (auto _ : state) {
    const char* oldText = oldDocument.document_element().child("t:Preview").child_value();
    const char* newText = newDocument.document_element().child("t:Preview").child_value();
    benchmark::DoNotOptimize(std::strcmp(oldText, newText));
  }
}

void IterateAll(benchmark::State& state) {
  TItem item;
  for (auto _ : state) {
    int changed = 0;
    for (std::int32_t i = 0; i < item.Properties.Count(); ++i)
      changed += item.Properties.GetItem(i).GetUpdateStatus() != dusUnmodified;
    benchmark::DoNotOptimize(changed);
  }
}

void FindByKey(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(GetPropDef("PR_SUBJECT", false));
}

BENCHMARK(ByHand)->Name("status/floor");
BENCHMARK(OurMember)->Name("status of a member/ours");
BENCHMARK(OurExtended)->Name("status of an extended property/ours");
BENCHMARK(IterateAll)->Name("all properties by position/ours");
BENCHMARK(FindByKey)->Name("row by key/ours");

}  // namespace
