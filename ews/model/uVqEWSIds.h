#pragma once

/// Ids in their different forms, and what the conversion of ids gives (m:ConvertId).
///
///     auto answer = session.ConvertId(ifEwsId, id.Id, "ann@example.com", ifHexEntryId);
///     std::cout << answer->GetAlternateIds().GetAlternateId().GetItem(0).GetId() << '\n';

#include "ews/schema/uVqEWSTypes.h"
#include "platform/common/uVqClasses.h"

namespace velmore {

/// An id to be converted, or a converted one. A plain value.
struct TVqEwsAlternateId {
  /// The form of the id, and the id itself.
  TIdFormat Format = ifEwsLegacyId;
  string Id;
  /// SMTP address of the mailbox.
  string Mailbox;

  friend bool operator==(const TVqEwsAlternateId&, const TVqEwsAlternateId&) = default;
};
/// Several ids, converted in one request.
using TVqEwsAlternateIds = std::vector<TVqEwsAlternateId>;

/// The answer of ConvertId: one response for each id that was asked for, in that order.
class IVqEwsNonEmptyArrayOfAlternateIds : public virtual IVqObject {
 public:
  /// The typed record over the responses: its arrays hold the converted ids. Owned by this object.
  virtual TEwsNonEmptyArrayOfAlternateIds& GetAlternateIds() = 0;

 protected:
  ~IVqEwsNonEmptyArrayOfAlternateIds() = default;
};

/// The answer of ConvertId, read from its element. Owns a share of the reply's document; no copies; one thread at a
/// time.
class TVqEwsNonEmptyArrayOfAlternateIds : public TVqObject,
                                          public TEwsNonEmptyArrayOfAlternateIds,
                                          public virtual IVqEwsNonEmptyArrayOfAlternateIds {
 public:
  /// Over the element of the response messages.
  explicit TVqEwsNonEmptyArrayOfAlternateIds(const IVqDOMElement& AElement)
      : TEwsNonEmptyArrayOfAlternateIds(AElement) {}

  TEwsNonEmptyArrayOfAlternateIds& GetAlternateIds() override { return *this; }

 protected:
  ~TVqEwsNonEmptyArrayOfAlternateIds() override = default;
};

}  // namespace velmore
