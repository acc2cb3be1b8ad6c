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

class IVqEWSEMail;

/// What a response is.
enum TVqEWSSmartResponseType : std::int32_t { srtReply, srtReplyAll, srtForward };

/// A reply or forward that is being written (`CreateReply`, `CreateForward` of a message). The server makes the message
/// of it: recipients of a reply that were not set are those that the original tells, and what the body says stands
/// above the original, which the server quotes.
///
///     auto reply = mail->CreateReply(false);
///     reply->SetBodyText("Agreed.");
///     reply->SubmitMessage(true);
///
/// Attachments that are added to a response are never sent. To send some, save the response, and attach to the draft:
///
///     auto draft = reply->SaveChanges(soAutoResolve);
///     draft->GetAttachments().AddAttachment("plan.pdf");
///     draft->SubmitMessage(true);
class IVqEWSSmartResponse : public virtual IVqEWSItem {
 public:
  /// The recipients. Lists that are empty are left to the server; reading them sends nothing. Set in a reply, they
  /// replace those of the original.
  virtual TVqRef<IVqEWSRecipients> GetToRecipients() = 0;
  virtual TVqRef<IVqEWSRecipients> GetCcRecipients() = 0;
  virtual TVqRef<IVqEWSRecipients> GetBccRecipients() = 0;
  /// In whose name it goes out; and whose mailbox the original came to, and whom that recipient stood in for.
  virtual TVqRef<IVqEWSRecipient> GetFrom() = 0;
  virtual TVqRef<IVqEWSRecipient> GetReceivedBy() = 0;
  virtual TVqRef<IVqEWSRecipient> GetReceivedRepresenting() = 0;
  /// Whether the sender wants to be told that it was read, and that it arrived.
  virtual bool GetIsReadReceiptRequested() = 0;
  virtual void SetIsReadReceiptRequested(bool AValue) = 0;
  virtual bool GetIsDeliveryReceiptRequested() = 0;
  virtual void SetIsDeliveryReceiptRequested(bool AValue) = 0;
  /// The message that is answered.
  virtual TEwsItemId& GetReferenceItemId() = 0;

  /// Changes the subject to that of a reply or a forward, and what `GetItemType` answers. What is sent stays what the
  /// response was made as, on purpose: the request is made with the response. To change that, make another one.
  virtual void SetResponseType(TVqEWSSmartResponseType AResponseType) = 0;
  /// Saves the response as a draft (m:CreateItem) and gives the draft (m:GetItem), to work on with. `ASaveOption` plays
  /// no part, on purpose: a response is always new. Called through IVqEWSItem it saves the same and gives nothing.
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Woverloaded-virtual"  // it stands in the place of the other one
#endif
  virtual TVqRef<IVqEWSEMail> SaveChanges(const TVqEWSSaveOption& ASaveOption) = 0;
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
  /// Sends the response (m:CreateItem). A copy is always kept in the sent items: `AMoveToSentItems` plays no part, on
  /// purpose. Raises a plain exception, before anything is sent, when there are attachments in hand or it was submitted
  /// already; a response that was saved is sent as the draft that it has become. EVqEWSUnclearAnswer: it may have gone
  /// out.
  virtual void SubmitMessage(bool AMoveToSentItems) = 0;

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
  /// The sender's address, also for senders of the directory; and the mailboxes of a group. Need Exchange2016. The
  /// schema has no name to ask for them: empty where the server does not give them with the message. At the first such
  /// question a session whose `SchemaFallback` is on goes over to the schema's form; without it, it is refused.
  virtual string GetSenderSMTPAddress() = 0;
  virtual TEwsMessageType_MailboxGuids& GetMailboxGuids() = 0;

  /// Sends the message: a new one without attachments in one m:CreateItem (servers later than Exchange2013); any other
  /// is saved first and then sent with m:SendItem. With `AMoveToSentItems` the server keeps a copy in the sent items.
  /// Raises a plain exception for a message that was submitted already, and EVqEWSUnclearAnswer when the reply is not
  /// the answer: the message may have gone out. When an attachment that was taken away is still on the message
  /// (GetRefusedDeletions), raises what the server said, and nothing is sent.
  virtual void SubmitMessage(bool AMoveToSentItems) = 0;
  /// A new answer to this message, to its sender alone or to all its recipients; and a new message that passes it on.
  /// The message must be saved. Ask the server for nothing but what the load left out (the subject).
  virtual TVqRef<IVqEWSSmartResponse> CreateReply(bool AReplyAll) = 0;
  virtual TVqRef<IVqEWSSmartResponse> CreateForward() = 0;

 protected:
  ~IVqEWSEMail() = default;
};

}  // namespace velmore
