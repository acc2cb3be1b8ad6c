#include "ews/bulk/uVqEWSBulk.h"

#include "ews/bulk/uVqEWSBulkJobs_p.h"
#include "ews/items/internal/uVqEWSItemCalls.h"
#include "ews/items/uVqEWSItemClasses.h"
#include "ews/stores/internal/uVqEWSFolderCalls.h"

namespace velmore {
// ---- Settings

TVqEWSBulk::TVqEWSBulk(TVqRef<IVqEWSMsgStore> AStore) : FStore(std::move(AStore)) {
  Store();
}

TVqEWSObject& TVqEWSBulk::Store() const {
  if (auto* object = dynamic_cast<TVqEWSObject*>(FStore.get())) return *object;
  throw EVqException("Operations on many need a store that a session has opened.");
}

void TVqEWSBulk::SetConnections(std::int32_t AValue) {
  if (AValue < 1) throw EVqException("An operation needs one connection at least.");
  FConnections = AValue;
}

TVqEWSBulkSettings TVqEWSBulk::Settings() const {
  return {FRequestSize, FConnections, FBusyRetries, FLongestWait, FOnProgress};
}

// ---- Reading

void TVqEWSBulk::GetItems(std::span<const TItemId> AIds, const TItemHandler& AHandler) {
  TVqEWSObject& store = Store();
  TVqEWSItemResult result;
  TVqEWSBulkJob job = EwsJobOf("GetItem", store, AIds, EwsAskForItems);
  job.Read = [&](std::size_t, const TVqEWSCall& call, const IVqDOMElement& message) {
    result = TVqEWSItemResult(EwsOpenItem(&store, {TVqEWSCall::OnlyItem(message), call.Response()}));
  };
  job.Fail = [&](std::size_t, const std::exception_ptr& failure, bool sent) {
    result = TVqEWSItemResult(failure, sent);
  };
  job.Tell = [&](std::size_t item) { AHandler(item, std::exchange(result, {})); };
  TVqEWSBulkRun(store.ActiveSession(), Settings(), AIds.size(), kEwsUsualSize).Run(job);
}

std::vector<TVqEWSItemResult> TVqEWSBulk::GetItems(std::span<const TItemId> AIds) {
  std::vector<TVqEWSItemResult> results;
  results.reserve(AIds.size());
  GetItems(AIds, [&](std::size_t, const TVqEWSItemResult& result) { results.push_back(result); });
  return results;
}

std::vector<TVqEWSFolderResult> TVqEWSBulk::GetFolders(std::span<const TItemId> AIds) {
  TVqEWSObject& store = Store();
  return EwsRunOver<TVqRef<IVqEWSFolder>>(AIds, "GetFolder", store, Settings(), kEwsUsualSize, EwsAskForFolders,
                                          [&](std::size_t, const TVqEWSCall&, const IVqDOMElement& message) {
                                            return EwsTakeFolder(&store, TVqEWSCall::OnlyFolder(message));
                                          });
}

// ---- Writing, by ids

namespace {

/// An id that is named in a request, without the change key that the caller does not know.
void AddId(const TVqEWSCall& call, const IVqDOMElement& ids, const TItemId& id, const char* name = "t:ItemId") {
  const IVqDOMElement added = call.AddId(ids, name, id);
  if (id.ChangeKey.empty() && added.HasAttribute("ChangeKey")) added.RemoveAttribute("ChangeKey");
}

TItemId NewId(std::size_t, const TVqEWSCall& call, const IVqDOMElement& message) {
  return EwsReadId(call.FindMade(message, ".//ItemId"));
}

/// What is done to an item leaves nothing to be told but its own id.
auto SameId(std::span<const TItemId> ids) {
  return [ids](std::size_t item, const TVqEWSCall&, const IVqDOMElement&) { return ids[item]; };
}

}  // namespace

std::vector<TVqEWSIdResult> TVqEWSBulk::MarkAsRead(std::span<const TItemId> AIds, bool ARead, bool ASuppressReceipts) {
  TVqEWSObject& store = Store();
  if (ASuppressReceipts)
    EwsCheckVersion(Exchange2013, store.ActiveSession().GetServerVersion(), "SuppressReadReceipts");
  const auto fill = [=](const TVqEWSCall& call, std::span<const TItemId> ids) {
    call.Set("MessageDisposition", "SaveOnly");
    call.Set("ConflictResolution", VqEnumToText(soAlwaysOverwrite));
    if (ASuppressReceipts) call.Set("SuppressReadReceipts", "true");
    const IVqDOMElement changes = call.Add("m:ItemChanges");
    for (const TItemId& id : ids) {
      const IVqDOMElement change = changes.AddElement("t:ItemChange");
      const IVqDOMElement itemId = change.AddElement("t:ItemId");
      itemId.SetAttribute("Id", id.Id);
      if (!id.ChangeKey.empty()) itemId.SetAttribute("ChangeKey", id.ChangeKey);
      const IVqDOMElement field = change.AddElement("t:Updates").AddElement("t:SetItemField");
      field.AddElement("t:FieldURI").SetAttribute("FieldURI", "message:IsRead");
      field.AddElement("t:Message").AddElement("t:IsRead").SetText(VqBoolToXML(ARead));
    }
  };
  return EwsRunOver<TItemId>(AIds, kUpdateItem, store, Settings(), kEwsUsualSizeOfIds, fill, NewId);
}

std::vector<TVqEWSIdResult> TVqEWSBulk::CopyOrMove(const char* AOperation, std::span<const TItemId> AIds,
                                                   const TItemId& AFolderId) {
  const auto fill = [&](const TVqEWSCall& call, std::span<const TItemId> ids) {
    AddId(call, call.Add("m:ToFolderId"), AFolderId, "t:FolderId");
    const IVqDOMElement list = call.Add("m:ItemIds");
    for (const TItemId& id : ids) AddId(call, list, id);
  };
  return EwsRunOver<TItemId>(AIds, AOperation, Store(), Settings(), kEwsUsualSizeOfIds, fill, NewId);
}

std::vector<TVqEWSIdResult> TVqEWSBulk::MoveItems(std::span<const TItemId> AIds, const TItemId& AFolderId) {
  return CopyOrMove("MoveItem", AIds, AFolderId);
}

std::vector<TVqEWSIdResult> TVqEWSBulk::CopyItems(std::span<const TItemId> AIds, const TItemId& AFolderId) {
  return CopyOrMove("CopyItem", AIds, AFolderId);
}

std::vector<TVqEWSIdResult> TVqEWSBulk::DeleteItems(std::span<const TItemId> AIds, TVqEWSFolderDeleteType ADeleteType,
                                                    TSendMeetingCancellations ACancellations) {
  if (ACancellations > smiocSendToAllAndSaveCopy)
    throw EVqException("A deletion cannot announce itself to some attendees only.");
  const auto fill = [&](const TVqEWSCall& call, std::span<const TItemId> ids) {
    call.Set("DeleteType", VqEnumToText(ADeleteType));
    // What the items are is not asked: servers look at these for appointments and tasks alone.
    call.Set("SendMeetingCancellations", VqEnumToText(ACancellations));
    call.Set("AffectedTaskOccurrences", "AllOccurrences");
    const IVqDOMElement list = call.Add("m:ItemIds");
    for (const TItemId& id : ids) AddId(call, list, id);
  };
  return EwsRunOver<TItemId>(AIds, "DeleteItem", Store(), Settings(), kEwsUsualSizeOfIds, fill, SameId(AIds));
}

std::vector<TVqEWSIdResult> TVqEWSBulk::SendItems(std::span<const TItemId> AIds, bool AMoveToSentItems) {
  TVqEWSObject& store = Store();
  const TServerVersion version = store.ActiveSession().GetServerVersion();
  const auto fill = [&](const TVqEWSCall& call, std::span<const TItemId> ids) {
    EwsAskToSend(call, ids, AMoveToSentItems, version);
  };
  return EwsRunOver<TItemId>(AIds, kSendItem, store, Settings(), kEwsUsualSize, fill, SameId(AIds));
}

}  // namespace velmore
