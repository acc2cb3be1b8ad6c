#pragma once

/// Ids in their different forms, and what the conversion of ids gives (m:ConvertId).
///
///     auto answer = session.ConvertId(ifEwsId, id.Id, "ann@example.com", ifHexEntryId);
///     std::cout << answer->GetConverted(0).Id << '\n';

#include "ews/uVqEWSTypes.h"
#include "platform/common/uVqClasses.h"

namespace velmore {

/// An id to be converted, or one that was. A plain value.
struct TVqEwsAlternateId {
  TIdFormat Format = ifEwsLegacyId;
  string Id;
  /// SMTP address of the mailbox.
  string Mailbox;

  friend bool operator==(const TVqEwsAlternateId&, const TVqEwsAlternateId&) = default;
};
using TVqEwsAlternateIds = std::vector<TVqEwsAlternateId>;

/// The answer of ConvertId: one response for each id that was asked for, in that order.
class IVqEwsNonEmptyArrayOfAlternateIds : public virtual IVqObject {
 public:
  /// The typed record over the list of responses, owned by this object. The ids themselves stand one element deeper than the record looks, each in
  /// its response: `GetConverted` reads them.
  virtual TEwsNonEmptyArrayOfAlternateIds& GetAlternateIds() = 0;
  virtual std::int32_t ConvertedCount() = 0;
  /// The id of a response. Raises EListError for a position that does not exist, EVqXMLError when the response holds no id.
  virtual TVqEwsAlternateId GetConverted(std::int32_t AIndex) = 0;

 protected:
  ~IVqEwsNonEmptyArrayOfAlternateIds() = default;
};

/// The answer over its element. Owns a share of the reply's document; no copies; one thread at a time.
class TVqEwsNonEmptyArrayOfAlternateIds : public TVqObject,
                                          public TEwsNonEmptyArrayOfAlternateIds,
                                          public virtual IVqEwsNonEmptyArrayOfAlternateIds {
 public:
  explicit TVqEwsNonEmptyArrayOfAlternateIds(const IVqDOMElement& AElement)
      : TEwsNonEmptyArrayOfAlternateIds(AElement), FMessages(AElement) {}

  TEwsNonEmptyArrayOfAlternateIds& GetAlternateIds() override { return *this; }
  std::int32_t ConvertedCount() override { return FMessages.ElementCount(); }
  TVqEwsAlternateId GetConverted(std::int32_t AIndex) override;

 protected:
  ~TVqEwsNonEmptyArrayOfAlternateIds() override = default;

 private:
  IVqDOMElement FMessages;
};

}  // namespace velmore
