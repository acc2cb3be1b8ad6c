#include "ews/items/internal/uVqEWSItemParts.h"

#include "ews/items/uVqEWSMessage.h"

namespace velmore {
namespace {

TVqEWSEMail& MailOf(TVqEWSItemCore& item) {
  if (auto* mail = dynamic_cast<TVqEWSEMail*>(&item)) return *mail;
  throw EVqNotSupported("Messages can be sent, and no other items.");
}

}  // namespace

bool TVqEWSItemParts::SavesAlone(TVqEWSItemCore& AItem) {
  if (AItem.IsResponse()) return true;
  // A task is saved twice then, and extended properties of a new item go out behind it.
  return AItem.ServerVersion() < Exchange2013_SP1 && (AItem.GetItemType() == tTask || AItem.IsToBeCreated());
}

void TVqEWSItemParts::Prepare(TVqEWSItemCore& AItem) {
  AItem.BeginSave();
}

bool TVqEWSItemParts::IsToBeCreated(TVqEWSItemCore& AItem) {
  return AItem.IsToBeCreated();
}

void TVqEWSItemParts::ComposeCreate(TVqEWSItemCore& AItem, const TVqEWSCall& ACall) {
  AItem.ComposeCreate(ACall);
}

IVqDOMElement TVqEWSItemParts::ComposeUpdate(TVqEWSItemCore& AItem, const TVqEWSCall& ACall,
                                             TVqEWSSaveOption ASaveOption) {
  return AItem.ComposeUpdate(ACall, ASaveOption, false);
}

void TVqEWSItemParts::SaveAttachments(TVqEWSItemCore& AItem, bool AKeyIsFresh) {
  AItem.SaveAttachments(AKeyIsFresh);
}

void TVqEWSItemParts::NoteSaved(TVqEWSItemCore& AItem) {
  AItem.FIsNewItem = false;
}

void TVqEWSItemParts::TakeLoaded(TVqEWSItemCore& AItem, const TVqEWSLoadedItem& ALoaded) {
  AItem.TakeLoaded(ALoaded);
  AItem.ForgetCarriedOutDeletions();
}

bool TVqEWSItemParts::SendsInOneStep(TVqEWSItemCore& AItem) {
  return AItem.IsToBeCreated() && MailOf(AItem).SendsInOneStep();
}

void TVqEWSItemParts::CheckNotSubmitted(TVqEWSItemCore& AItem) {
  MailOf(AItem).CheckNotSubmitted();
}

void TVqEWSItemParts::CheckRefusedDeletions(TVqEWSItemCore& AItem) {
  MailOf(AItem).CheckRefusedDeletions();
}

void TVqEWSItemParts::ComposeSend(TVqEWSItemCore& AItem, const TVqEWSCall& ACall, bool AMoveToSentItems) {
  MailOf(AItem).ComposeSend(ACall, AMoveToSentItems);
}

void TVqEWSItemParts::NoteSubmitted(TVqEWSItemCore& AItem) {
  MailOf(AItem).NewData().SetIsSubmitted(true);
}

void TVqEWSItemParts::Merge(TVqEWSItemCore& AItem, const IVqDOMElement& AAnswer, const string& AMember) {
  AItem.IsPart() ? AItem.MergeIntoPart(AAnswer, AMember) : AItem.MergeMember(AAnswer, AMember);
}

}  // namespace velmore
