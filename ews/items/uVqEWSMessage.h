#pragma once

/// Messages.

#include "ews/items/uVqEWSItem.h"
#include "ews/items/uVqEWSRecipientViews.h"

namespace velmore {

/// An e-mail message. See TVqEWSItemCore for what it owns, its threads and failures; in addition it owns its
/// recipients, until the next reload.
class TVqEWSEMail : public TVqEWSBaseItem<TEwsMessage>, public virtual IVqEWSEMail {
 public:
  /// An empty id makes a new message in `ACreator` (a folder, for its place); any other loads the message (m:GetItem).
  TVqEWSEMail(TVqComponent* ACreator, const TItemId& AItemId);
  /// The message that an answer to m:GetItem holds. Asks nothing.
  TVqEWSEMail(TVqComponent* ACreator, const TVqEWSLoadedItem& ALoaded);

  TItemType GetItemType() override { return tMessage; }
  /// Of a draft: the content with "X-Unsent: 1" as its first line, in place of the first such line. Changes the record.
  TEwsMimeContent& GetMimeContent() override;

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
  ~TVqEWSEMail() override = default;

  void AfterLoad() override { FRecipients.Drop(); }
  void PrepareSave() override;

 private:
  friend class TVqEWSItemParts;

  TVqRef<IVqEWSRecipient> Single(const char* AName, TEwsSingleRecipient& (TEwsMessage::*AGetter)() const);
  TVqRef<IVqEWSRecipients> Many(const char* AName, TEwsArrayOfRecipients& (TEwsMessage::*AGetter)() const);
  void CheckNotSubmitted();
  void CheckRefusedDeletions();
  bool SendsInOneStep();
  void ComposeSend(const TVqEWSCall& ACall, bool AMoveToSentItems);
  void SendSavedItem(bool AMoveToSentItems);

  TVqEWSRecipientViews FRecipients;

 public:
  // The published properties that have no rules of their own.
#define VQ_MEMBER(access, ...) VQ_DECLARE_##access(__VA_ARGS__)
#include "ews/tables/MemberRowsMessage.inc"
};

}  // namespace velmore
