#pragma once

/// What a mailbox offers beside folders and items: its out-of-office settings and its master list of categories. Room
/// lists, rooms and photos have no class of their own; see IVqEWSMsgStore.
///
///     auto oof = store->GetOOF();
///     oof->SetState(osScheduled);
///     oof->SetStartTime(VqEncodeDate(2026, 8, 3));
///     oof->SetEndTime(VqEncodeDate(2026, 8, 24));
///     oof->SetInternalReply("Back on the 24th. Bob has the keys.");
///     oof->Apply();

#include <memory>
#include <vector>

#include "ews/model/uVqEWSCategory.h"
#include "ews/stores/uVqEWSMsgStore.h"

namespace velmore {

/// The out-of-office settings over the answer that they came in: there is no record beside it.
///
/// Owns a share of the answer and a reference to its store. No copies. One thread at a time. Raises EConvertError for a
/// time that is none, and EEWSException for what the server refuses in Apply and Clear, the only two that talk to it.
class TVqEWSOOF : public TVqObject, public virtual IVqEWSOOF {
 public:
  /// `AResponse` is the element "GetUserOofSettingsResponse" of the answer.
  TVqEWSOOF(TVqEWSMsgStore& AMsgStore, const IVqDOMElement& AResponse);

  TOofState GetState() override;
  TExternalAudience GetExternalAudience() override;
  TExternalAudience GetAllowExternalOof() override;
  TDateTime GetEndTime() override;
  string GetExternalReply() override;
  string GetInternalReply() override;
  TDateTime GetStartTime() override;
  void SetState(TOofState AValue) override;
  void SetExternalAudience(TExternalAudience AValue) override;
  void SetEndTime(TDateTime AValue) override;
  void SetExternalReply(const string& AValue) override;
  void SetInternalReply(const string& AValue) override;
  void SetStartTime(TDateTime AValue) override;
  void Clear() override;
  void Apply() override;

 private:
  IVqDOMElement Find(const char* APath) const;
  IVqDOMElement Make(const char* APath) const;
  template <typename T>
  string TextOf(const char* APath) const;

  TVqRef<TVqEWSMsgStore> FMsgStore;
  IVqDOMElement FGetUserOofSettingsResponse;
};

/// The categories of a mailbox as they were when they were asked for.
///
/// Owns its categories. No copies. One thread at a time. Talks to nobody. Raises EListError for a position that does
/// not exist.
class TVqEWSCategories : public TVqObject, public virtual IVqEWSCategories {
 public:
  /// Reads the list out of the element "XmlData": base64 of a document whose code page is found by its first bytes,
  /// else UTF-8. Raises EConvertError for what is no base64 and EVqXMLError for what is no document.
  explicit TVqEWSCategories(const IVqDOMElement& AXmlData);

  TVqEWSCategory& GetCategory(std::int32_t AIndex) override;
  string GetDefaultCategory() override { return FDefaultCategory; }
  std::int32_t Count() override { return static_cast<std::int32_t>(FCategories.size()); }

 private:
  std::vector<std::unique_ptr<TVqEWSCategory>> FCategories;
  string FDefaultCategory;
};

}  // namespace velmore
