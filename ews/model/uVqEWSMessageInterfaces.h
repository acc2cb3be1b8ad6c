#pragma once

/// Messages as the application sees them.
///
///     auto mail = Supports<IVqEWSEMail>(drafts->CreateItem(tMessage));
///     mail->SetSubject("Lunch?");
///     mail->GetToRecipients()->AddMailbox("Bob", "bob@example.com");
///     mail->SetBodyText("At noon, by the fountain.");
///     mail->SubmitMessage(true);

#include "ews/model/uVqEWSBaseItemInterfaces.h"
#include "ews/model/uVqEWSRecipients.h"

namespace velmore {

/// A reply or forward that is being written. Not part of this version: nothing makes one.
class IVqEWSSmartResponse : public virtual IVqEWSItem {
 protected:
  ~IVqEWSSmartResponse() = default;
};

/// A message.
class IVqEWSEMail : public virtual IVqEWSItem {
 public:
  /// Who sent it, and in whose name (From). Recipients are built once and kept until the next reload.
  virtual TVqRef<IVqEWSRecipient> GetSender() = 0;
  virtual TVqRef<IVqEWSRecipient> GetFrom() = 0;
  /// The recipients. Bcc is empty in a message that arrived.
  virtual TVqRef<IVqEWSRecipients> GetToRecipients() = 0;
  virtual TVqRef<IVqEWSRecipients> GetCcRecipients() = 0;
  virtual TVqRef<IVqEWSRecipients> GetBccRecipients() = 0;
  /// To whom answers go instead of the sender.
  virtual TVqRef<IVqEWSRecipients> GetReplyTo() = 0;
  /// Whose mailbox it came to, and whom that recipient stood in for.
  virtual TVqRef<IVqEWSRecipient> GetReceivedBy() = 0;
  virtual TVqRef<IVqEWSRecipient> GetReceivedRepresenting() = 0;
  /// Whether the sender wants to be told that it was read, and that it arrived.
  virtual bool GetIsReadReceiptRequested() = 0;
  virtual void SetIsReadReceiptRequested(bool AValue) = 0;
  virtual bool GetIsDeliveryReceiptRequested() = 0;
  virtual void SetIsDeliveryReceiptRequested(bool AValue) = 0;
  /// Whether the mailbox's owner has read it.
  virtual bool GetIsRead() = 0;
  virtual void SetIsRead(bool AValue) = 0;
  /// Whether an answer is asked for.
  virtual bool GetIsResponseRequested() = 0;
  /// Where it stands in its conversation, and the conversation's subject.
  virtual TBytes GetConversationIndex() = 0;
  virtual string GetConversationTopic() = 0;
  /// The header "Message-ID", angle brackets included.
  virtual string GetInternetMessageId() = 0;
  /// The header "References".
  virtual string GetReferences() = 0;
  /// What an approver is asked, the buttons to vote with, and a reminder that came as a message. Need Exchange2013.
  virtual TEwsApprovalRequestData& GetApprovalRequestData() = 0;
  virtual TEwsVotingInformation& GetVotingInformation() = 0;
  virtual TEwsReminderMessageData& GetReminderMessageData() = 0;
  /// The sender's address, also for senders of the directory; and the mailboxes of a group. Need Exchange2016.
  virtual string GetSenderSMTPAddress() = 0;
  virtual TEwsMessageType_MailboxGuids& GetMailboxGuids() = 0;

  /// Sends the message: a new one without attachments in one m:CreateItem (servers later than Exchange2013); any other
  /// is saved first and then sent with m:SendItem. With `AMoveToSentItems` the server keeps a copy in the sent items.
  /// Raises a plain exception for a message that was submitted already, and EVqEWSUnclearAnswer when the reply is not
  /// the answer: the message may have gone out. When an attachment that was taken away is still on the message
  /// (GetRefusedDeletions), raises what the server said, and nothing is sent.
  virtual void SubmitMessage(bool AMoveToSentItems) = 0;
  /// Answers and forwards are not part of this version: both raise EVqNotSupported.
  virtual TVqRef<IVqEWSSmartResponse> CreateReply(bool AReplyAll) = 0;
  virtual TVqRef<IVqEWSSmartResponse> CreateForward() = 0;

 protected:
  ~IVqEWSEMail() = default;
};

}  // namespace velmore
