#pragma once

/// Replies and forwards.

#include "ews/items/uVqEWSMessage.h"

namespace velmore {

/// A reply or forward that is being written. See TVqEWSItemCore for what it owns, its threads and failures, and
/// IVqEWSSmartResponse for each operation. Keeps the message that it answers alive. What `GetBody` gives is what stands
/// above the quoted message (t:NewBodyContent), until the response has been saved: then it is a draft, and has a body.
class TVqEWSSmartResponse : public TVqEWSBaseItem<TEwsSmartResponse>, public virtual IVqEWSSmartResponse {
 public:
  /// A response to the message `ACreator`, which must be saved. Raises a plain exception for a type that is none.
  TVqEWSSmartResponse(TVqEWSEMail* ACreator, TVqEWSSmartResponseType AResponseType);

  TItemType GetItemType() override;
  void SetResponseType(TVqEWSSmartResponseType AResponseType) override;
  TEwsItemId& GetReferenceItemId() override { return NewData().GetReferenceItemId(); }

  TEwsBody& GetBody() override;
  TVqRef<IVqEWSRecipients> GetToRecipients() override;
  TVqRef<IVqEWSRecipients> GetCcRecipients() override;
  TVqRef<IVqEWSRecipients> GetBccRecipients() override;
  TVqRef<IVqEWSRecipient> GetFrom() override;
  TVqRef<IVqEWSRecipient> GetReceivedBy() override;
  TVqRef<IVqEWSRecipient> GetReceivedRepresenting() override;

  /// What is called through IVqEWSItem.
  void SaveChanges(TVqEWSSaveOption ASaveOption) override;
  TVqRef<IVqEWSEMail> SaveChanges(const TVqEWSSaveOption& ASaveOption) override;
  void SubmitMessage(bool AMoveToSentItems) override;

  const TVqEWSMemberTable& MemberTable() const override;

 protected:
  ~TVqEWSSmartResponse() override = default;
  void AfterLoad() override { FRecipients.Drop(); }
  void BeforeSaveChanges(IVqSOAPRequest& ASOAPRequest) override;
  const char* BodyMember() override;
  string LoadedElementName() override { return AsElement().GetLocalName(); }
  bool MayBeGone() const override { return FSubmitting; }

 private:
  TVqRef<IVqEWSRecipient> Single(const char* AName);
  TVqRef<IVqEWSRecipients> Many(const char* AName);
  string FetchMember(const char* AName);

  TVqEWSEMail& FOriginal;
  TVqEWSSmartResponseType FResponseType;
  TVqEWSRecipientViews FRecipients;
  bool FSubmitting = false;  // the save that runs sends
  bool FSubmitted = false;

 public:
  // The published properties that have no rules of their own.
#define VQ_MEMBER(access, ...) VQ_DECLARE_##access(__VA_ARGS__)
#include "ews/tables/MemberRowsSmartResponse.inc"
};

}  // namespace velmore
