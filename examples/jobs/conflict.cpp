// One draft, changed in two places at once: the second one to save sees what the first one wrote, and adds its own.

#include "job.h"

const char* const kUsage = "conflict";

void Job(IVqEWSMsgStore& store, std::span<char*>) {
  const auto draft = store.GetFolder(dfindrafts, "")->CreateItem(tMessage);
  draft->SetSubject("Lunch");
  draft->SaveChanges(soAutoResolve);
  auto here = store.GetItem(draft->GetID()), there = store.GetItem(draft->GetID());
  there->SetSubject(there->GetSubject() + " on Thursday");
  there->SaveChanges(soAutoResolve);
  here->SetSubject(here->GetSubject() + " at one");
  try {
    here->SaveChanges(soAutoResolve);
  } catch (const EEWSException& refusal) {
    if (refusal.ResponseCode() != "ErrorIrresolvableConflict") throw;
    here = store.GetItem(draft->GetID());
    here->SetSubject(here->GetSubject() + " at one");
    here->SaveChanges(soAutoResolve);
  }
  std::cout << here->GetSubject() << '\n';
}
