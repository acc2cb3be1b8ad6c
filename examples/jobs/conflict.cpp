// One draft, changed in two places at once: the second one to save sees what the first one wrote, and adds its own.

#include "job.h"

const char* const kUsage = "conflict";

void Job(IVqEWSMsgStore& store, std::span<char*>) {
  const auto draft = store.GetFolder(dfindrafts, "")->CreateItem(tMessage);
  draft->SetSubject("Lunch");
  draft->SaveChanges(soAutoResolve);
  const auto here = store.GetItem(draft->GetID()), there = store.GetItem(draft->GetID());
  VqEditItem(there, [](IVqEWSItem& item) { item.SetSubject(item.GetSubject() + " on Thursday"); });
  const auto both = VqEditItem(here, [](IVqEWSItem& item) { item.SetSubject(item.GetSubject() + " at one"); });
  std::cout << both->GetSubject() << '\n';
}
