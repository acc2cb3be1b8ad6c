#pragma once

/// The result of a search for a name: the candidates that the server found.
///
///     auto found = session.ResolveName("ann", scActiveDirectoryContacts);
///     for (std::int32_t i = 0; i < found->Count(); ++i)
///       std::cout << found->GetItem(i)->GetRecipient().GetEmailAddress() << '\n';

#include <memory>

#include "ews/schema/uVqEWSTypes.h"
#include "platform/common/uVqClasses.h"

namespace velmore {

/// Where a search for a name looks; the wire text is the name without "sc".
enum TSearchScope : std::int32_t {
  scActiveDirectory,
  scActiveDirectoryContacts,
  scContacts,
  scContactsActiveDirectory
};
/// The wire texts, for VqEnumToText and its kin.
const TVqEnumInfo& VqEnumInfoOf(TSearchScope) noexcept;

/// One candidate. Its records live as long as it does.
class IVqEWSResolution : public virtual IVqObject {
 public:
  /// Name, address and kind of the mailbox.
  virtual TEwsEmailAddressType& GetRecipient() = 0;
  /// Empty when the server gave no contact.
  virtual TEwsContactItem& GetContact() = 0;

 protected:
  ~IVqEWSResolution() = default;
};

/// The candidates, in the server's order.
class IVqEWSResolutionSet : public virtual IVqObject {
 public:
  /// Number of candidates that came.
  virtual std::int32_t Count() = 0;
  /// A new object at each call. Raises EListError for a position that does not exist.
  virtual TVqRef<IVqEWSResolution> GetItem(std::int32_t AIndex) = 0;
  /// False when the server knows more candidates than it gave, or found none.
  virtual bool IncludesLastItemInRange() = 0;

 protected:
  ~IVqEWSResolutionSet() = default;
};

/// A candidate over its element.
class TVqEWSResolution : public TVqObject, public virtual IVqEWSResolution {
 public:
  /// Makes the children "Mailbox" and "Contact" where the server gave none.
  explicit TVqEWSResolution(const IVqDOMElement& AResolution);
  ~TVqEWSResolution() override;

  TEwsEmailAddressType& GetRecipient() override { return *FRecipient; }
  TEwsContactItem& GetContact() override { return *FContact; }

 private:
  IVqDOMElement FResolution;
  std::unique_ptr<TEwsEmailAddressType> FRecipient;
  std::unique_ptr<TEwsContactItem> FContact;
};

/// The candidates over the element "ResolutionSet".
class TVqEWSResolutionSet : public TVqObject, public virtual IVqEWSResolutionSet {
 public:
  /// Reads nothing yet; keeps the reply alive.
  explicit TVqEWSResolutionSet(const IVqDOMElement& AResolutions) : FResolutions(AResolutions) {}

  std::int32_t Count() override { return FResolutions.ElementCount(); }
  TVqRef<IVqEWSResolution> GetItem(std::int32_t AIndex) override;
  bool IncludesLastItemInRange() override;

 private:
  IVqDOMElement FResolutions;
};

}  // namespace velmore
