#pragma once

/// Messages.

#include "ews/items/uVqEWSItem.h"

namespace velmore {

/// An e-mail message. See TVqEWSItemCore for what it owns, its threads and failures; in addition it owns its
/// recipients, until the next reload.
class TVqEWSEMail : public TVqEWSBaseItem<TEwsMessage>, public virtual IVqEWSEMail {
 public:
  /// An empty id makes a new message in `ACreator` (a folder, for its place); any other loads the message (m:GetItem).
  TVqEWSEMail(TVqComponent* ACreator, const TItemId& AItemId);

  TItemType GetItemType() override { return tMessage; }
  /// Of a draft: the content with "X-Unsent: 1" as its first line, in place of the first such line. Changes the record.
  TEwsMimeContent& GetMimeContent() override;
  void ReloadItem(const TItemId& AItemId) override;
  void SaveChanges(TVqEWSSaveOption ASaveOption) override;

  TVqRef<IVqEWSRecipient> GetSender() override;
  TVqRef<IVqEWSRecipient> GetFrom() override;
  TVqRef<IVqEWSRecipients> GetToRecipients() override;
  TVqRef<IVqEWSRecipients> GetCcRecipients() override;
  TVqRef<IVqEWSRecipients> GetBccRecipients() override;
  TVqRef<IVqEWSRecipients> GetReplyTo() override;
  TVqRef<IVqEWSRecipient> GetReceivedBy() override;
  TVqRef<IVqEWSRecipient> GetReceivedRepresenting() override;
  void SubmitMessage(bool AMoveToSentItems) override;
  TVqRef<IVqEWSSmartResponse> CreateReply(bool AReplyAll) override;
  TVqRef<IVqEWSSmartResponse> CreateForward() override;

  const TVqEWSMemberTable& MemberTable() const override;

 protected:
  ~TVqEWSEMail() override;

 private:
  TVqRef<IVqEWSRecipient> Single(TVqRef<IVqEWSRecipient>& ACache, TEwsSingleRecipient& (TEwsMessage::*AGetter)() const);
  TVqRef<IVqEWSRecipients> Many(TVqRef<IVqEWSRecipients>& ACache,
                                TEwsArrayOfRecipients& (TEwsMessage::*AGetter)() const);
  void SendNewItem(IVqSOAPRequest& ARequest, bool AMoveToSentItems);
  void SendSavedItem(bool AMoveToSentItems);

  TVqRef<IVqEWSRecipient> FSender, FFrom;
  TVqRef<IVqEWSRecipients> FToRecipients, FCcRecipients, FBccRecipients, FReplyTo;
  TVqRef<IVqEWSRecipient> FReceivedBy, FReceivedRepresenting;
  std::shared_ptr<bool> FRecipientsAlive = std::make_shared<bool>(true);  // false for those of an earlier load

 public:
  // The published properties that have no rules of their own.
#define VQ_MEMBER(access, ...) VQ_DECLARE_##access(__VA_ARGS__)
#include "ews/tables/MemberRowsMessage.inc"
};

}  // namespace velmore
