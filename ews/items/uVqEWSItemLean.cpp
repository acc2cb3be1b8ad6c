// Lean round trips: a load is that of the first read, and a save is read back when something is read that it could not
// know.

#include <algorithm>
#include <array>
#include <utility>

#include "ews/items/uVqEWSItem.h"
#include "ews/model/internal/uVqEWSCall.h"
#include "ews/values/internal/uVqEWSEmptyElements.h"

namespace velmore {
namespace {

/// Members that servers store as they are sent and compute from nothing else: who has sent one knows it.
constexpr std::array<std::string_view, 4> kStoredAsSent = {"Subject", "Sensitivity", "Importance", "IsRead"};

bool IsStoredAsSent(std::string_view member) {
  return std::ranges::find(kStoredAsSent, member) != kStoredAsSent.end();
}

}  // namespace

bool TVqEWSItemCore::IsResponse() {
  const TItemType type = GetItemType();
  return type == tReplyToItem || type == tReplyAllToItem || type == tForwardItem;
}

// ---- Reading and writing a part

TVqXMLSchemaElement& TVqEWSItemCore::RecordToRead(std::string_view AMember) const {
  const bool known =
      IsPart() && FKeepsPart && IsStoredAsSent(AMember) && KnownRecord().FindNode("t:" + std::string(AMember));
  return known ? KnownRecord() : NewRecord();
}

// What is written need not be read before.
TVqXMLSchemaElement& TVqEWSItemCore::RecordToWrite(std::string_view AMember) const {
  return IsPart() && FKeepsPart && IsStoredAsSent(AMember) ? KnownRecord() : NewRecord();
}

/// The member as it is now, where it is not as it was loaded; empty otherwise.
IVqDOMElement TVqEWSItemCore::ChangedMember(std::string_view AMember) const {
  const string name = "t:" + std::string(AMember);
  const IVqDOMElement member(KnownRecord().FindNode(name)), loaded(KnownOldRecord().FindNode(name));
  return !member || (loaded && EwsSameValue(loaded, member)) ? IVqDOMElement() : member;
}

/// Whether a member was emptied that the part did not have: only the whole tells that this is a change.
bool TVqEWSItemCore::HasEmptiedPart() const {
  if (!IsPart()) return false;
  return std::ranges::any_of(kStoredAsSent, [&](std::string_view name) {
    const IVqDOMElement changed = ChangedMember(name);
    return changed && EwsIsEmpty(changed);
  });
}

/// The server has set a member. Where the part does not know it, the load will tell.
void TVqEWSItemCore::MergeIntoPart(const IVqDOMElement& AAnswer, const string& AMember) {
  const IVqDOMElement member(KnownRecord().FindNode("t:" + AMember)), loaded(KnownOldRecord().FindNode("t:" + AMember));
  if (!loaded) return;
  const string text = AAnswer.SelectSingleElement(AMember, kSelectRequired).GetText();
  const bool unchanged = member && EwsSameValue(loaded, member);
  loaded.SetText(text);
  if (unchanged) member.SetText(text);
}

// ---- Loading when it is needed

void TVqEWSItemCore::LoadLater(const TItemId& AItemId) {
  const bool saved = std::exchange(FLater, TLater::no) == TLater::saved;
  // A response is saved as an item of another kind.
  FKeepsPart = saved && !IsResponse();
  const IVqDOMElement part =
      TVqDOMDocument().CreateRootNode(FKeepsPart ? KnownRecord().AsElement().GetQualifiedName() : string("t:Item"));
  EwsWriteId(part.AddElement("t:ItemId"), AItemId);
  const std::vector<IVqDOMElement> sent = std::exchange(FSent, {});
  if (FKeepsPart) {
    for (const IVqDOMElement& member : sent) part.AddChild(member);
  }
  FPropDataElm = part;
  FItem = nullptr;
  SetPartOfPropData(part, [this] { LoadNow(); });
  ForgetHandedOut();
  AfterLoad();
}

void TVqEWSItemCore::LoadNow() {
  // What was written meanwhile is written again, over what the server has.
  std::vector<std::pair<string, string>> written;
  for (const std::string_view name : kStoredAsSent) {
    if (const IVqDOMElement member = ChangedMember(name))
      written.emplace_back(member.GetQualifiedName(), member.GetText());
  }
  ReloadItem(GetID());
  for (const auto& [name, text] : written) IVqDOMElement(NewRecord().GetNode(name)).SetText(text);
}

// ---- After a save

/// Looks at what a request that was carried out has told of the item: `AItem` is the item's element in it.
void TVqEWSItemCore::KeepSent(const IVqDOMElement& AItem) {
  if (!IsLean()) return;
  for (const IVqDOMElement& member : AItem.GetChildElements()) {
    if (IsStoredAsSent(member.GetLocalName().utf8()) && !EwsIsEmpty(member)) FSent.push_back(member);
  }
}

void TVqEWSItemCore::ReadBack() {
  // Which refused deletions were of attachments that are gone anyway, the item itself tells.
  const bool later = IsLean() && !FReadsBackAtOnce && FRefusedDeletions.empty();
  if (later) FLater = TLater::saved;
  ReloadItem(GetID());
  if (!later) ForgetCarriedOutDeletions();
}

}  // namespace velmore
