#pragma once

/// Recipients: the mailboxes of a message or a meeting, and the members of a distribution list.
///
///     auto to = mail->GetToRecipients();
///     to->AddMailbox("Ann Example", "ann@example.com");
///     to->SetAsString("bob@example.com; \"Example, Carol\" <carol@example.com>");
///
/// A recipient is a view into the item's tree: what is set here is what the next save compares and sends. Nothing here
/// talks to the server.

#include <functional>
#include <memory>

#include "ews/model/uVqEWSInterfaces.h"

namespace velmore {

/// One mailbox.
class IVqEWSRecipient : public virtual IVqObject {
 public:
  /// The display name; empty when there is none.
  virtual string GetName() = 0;
  virtual void SetName(const string& AValue) = 0;
  /// The address, "ann@example.com", or a name of the directory with the routing type "EX".
  virtual string GetEmailAddress() = 0;
  virtual void SetEmailAddress(const string& AValue) = 0;
  /// "SMTP" as a rule, "EX" for an address of the organisation's directory.
  virtual string GetRoutingType() = 0;
  virtual void SetRoutingType(const string& AValue) = 0;
  /// What stands behind the address: a mailbox, a list, a contact ...
  virtual TMailboxType GetMailboxType() = 0;
  virtual void SetMailboxType(TMailboxType AValue) = 0;
  /// The contact or list in the user's mailbox that stands behind the recipient; empty when there is none.
  virtual TItemId GetItemId() = 0;
  virtual void SetItemId(const TItemId& AValue) = 0;
  /// The name as the sender wrote it. Needs Exchange2013.
  virtual string GetOriginalDisplayName() = 0;
  virtual void SetOriginalDisplayName(const string& AValue) = 0;

 protected:
  ~IVqEWSRecipient() = default;
};

/// A list of mailboxes. Positions that the list does not have raise EListError.
class IVqEWSRecipients : public virtual IVqObject {
 public:
  /// Number of recipients.
  virtual std::int32_t Count() = 0;
  /// By position from 0.
  virtual TVqRef<IVqEWSRecipient> GetItem(std::int32_t AIndex) = 0;
  /// Adds a recipient from its text: an address, a name, or a name with an address in <>, [] or (). A text that is no
  /// address is taken as the name alone, for the server to resolve. An empty text raises "You can not add an empty
  /// recipient". A "'" in the text is lost: for an address such as "o'neil@example.com" use `AddMailbox`.
  virtual TVqRef<IVqEWSRecipient> Add(const string& AText) = 0;
  /// Adds a recipient from its parts, which are taken as they are; an empty one makes no element. With an empty
  /// address, the name is left to the server to resolve; with neither, raises "You can not add an empty recipient".
  virtual TVqRef<IVqEWSRecipient> AddMailbox(const string& AName, const string& AAddress,
                                             const string& ARoutingType = "SMTP") = 0;
  /// Removes the first recipient with that address (case does not matter) from the list and the item.
  virtual void Remove(const string& AAddress) = 0;
  /// Drops a recipient from the list alone: its element stays in the item, and the message still goes to it. To take a
  /// recipient away, use `Remove`.
  virtual void Delete(std::int32_t AIndex) = 0;
  /// Empties the list and the item's element.
  virtual void Clear() = 0;
  /// "Ann Example <ann@example.com>; bob@example.com". Setting clears the list and adds each piece; semicolons between
  /// quotes do not count.
  virtual string GetAsString() = 0;
  /// Raises as `Add`; the pieces before the one that raised are in the list then.
  virtual void SetAsString(const string& AValue) = 0;

 protected:
  ~IVqEWSRecipients() = default;
};

/// What stores and dialogs ask of the session about names: recipients without an item, and their completion
/// (m:ResolveNames).
class IVqEWSNameResolver {
 public:
  /// An empty list, whose tree belongs to no item.
  virtual TVqRef<IVqEWSRecipients> CreateRecipients() = 0;
  /// Completes name, address and kind in place (m:ResolveNames); of several candidates it takes one of the user's
  /// contacts, else the first. False, or with `ARaiseError` an EEWSException, when there is none.
  virtual bool ResolveName(const TVqRef<IVqEWSRecipient>& ARecipient, bool ARaiseError) = 0;
  /// The same for each of a list; once one is not found, those after it are skipped.
  virtual bool ResolveNames(const TVqRef<IVqEWSRecipients>& ARecipients, bool ARaiseError) = 0;

 protected:
  ~IVqEWSNameResolver() = default;
};

/// True until the data that a view shows is loaded again, or its object ends; a view of no object has none.
using TVqEWSViewAlive = std::shared_ptr<const bool>;

/// A recipient over one element of the types namespace. Owns its record and keeps the tree alive. Raises a plain
/// exception once its item has been loaded again or is gone.
class TVqEWSRecipient : public TVqObject, public virtual IVqEWSRecipient {
 public:
  /// Finds the element of a recipient, which need not be there, or makes it.
  using TPlace = std::function<IVqDOMElement(bool AMake)>;

  /// `AElementName` is the local name that `AElement` must have (an assertion). `AServerVersion` is the session's, for
  /// the version guard.
  TVqEWSRecipient(const IVqDOMElement& AElement, const string& AElementName, TServerVersion AServerVersion,
                  TVqEWSViewAlive AAlive = {});
  /// A recipient whose element is made by its first setter: reading it leaves no trace.
  TVqEWSRecipient(TPlace APlace, TServerVersion AServerVersion, TVqEWSViewAlive AAlive);
  ~TVqEWSRecipient() override;

  string GetName() override;
  void SetName(const string& AValue) override;
  string GetEmailAddress() override;
  void SetEmailAddress(const string& AValue) override;
  string GetRoutingType() override;
  void SetRoutingType(const string& AValue) override;
  TMailboxType GetMailboxType() override;
  void SetMailboxType(TMailboxType AValue) override;
  TItemId GetItemId() override;
  /// Writes child elements, though `GetItemId` reads attributes: the two directions differ on purpose. Servers answer
  /// with attributes; elements are the library's own form, which the schema's form turns into attributes.
  void SetItemId(const TItemId& AValue) override;
  string GetOriginalDisplayName() override;
  void SetOriginalDisplayName(const string& AValue) override;

  /// The element with the recipient's data; empty while there is none.
  IVqDOMElement AsElement() const;

 private:
  TEwsEmailAddressType& Record(bool AMake = false) const;

  TServerVersion FServerVersion;
  mutable std::unique_ptr<TEwsEmailAddressType> FMailBoxElement;
  TPlace FPlace;
  TVqEWSViewAlive FAlive;
};

/// The recipients below one element.
class TVqEWSRecipients : public TVqObject, public virtual IVqEWSRecipients {
 public:
  /// Reads the entries named `AElementName` (any prefix, any depth) below `AParent`.
  TVqEWSRecipients(const IVqDOMElement& AParent, const string& AElementName, TServerVersion AServerVersion,
                   TVqEWSViewAlive AAlive = {});
  /// The same below an element that is made with the first recipient that is added: reading the list leaves no trace.
  TVqEWSRecipients(TVqEWSRecipient::TPlace APlace, const string& AElementName, TServerVersion AServerVersion,
                   TVqEWSViewAlive AAlive = {});

  std::int32_t Count() override;
  TVqRef<IVqEWSRecipient> GetItem(std::int32_t AIndex) override { return GetRecipient(AIndex); }
  /// By position from 0, as the class TVqEWSRecipient. Raises EListError.
  TVqRef<TVqEWSRecipient> GetRecipient(std::int32_t AIndex);
  /// The new element is always a t:Mailbox, whatever the other entries are called.
  TVqRef<IVqEWSRecipient> Add(const string& AText) override;
  TVqRef<IVqEWSRecipient> AddMailbox(const string& AName, const string& AAddress,
                                     const string& ARoutingType = "SMTP") override;
  void Remove(const string& AAddress) override;
  void Delete(std::int32_t AIndex) override;
  void Clear() override;
  string GetAsString() override;
  void SetAsString(const string& AValue) override;

 private:
  /// A new mailbox after the others; one that cannot be filled leaves nothing behind.
  template <typename TFill>
  TVqRef<IVqEWSRecipient> Append(TFill AFill);
  std::vector<TVqRef<TVqEWSRecipient>>& List();

  TServerVersion FServerVersion;
  string FMailboxElmName;
  TVqEWSRecipient::TPlace FPlace;
  IVqDOMElement FMailBoxParent;
  std::vector<TVqRef<TVqEWSRecipient>> FList;
  TVqEWSViewAlive FAlive;
  std::vector<std::size_t>
      FHashes;  // of the addresses, by position, as they were at this count of the document's changes
  std::uint32_t FHashedAt = 0;
};

/// One member of a distribution list. A view; its list owns it. Raises a plain exception once its item has been loaded
/// again or is gone.
class TVqEWSMember : public TVqObject {
 public:
  /// Over a "t:Member" element, which it keeps alive.
  TVqEWSMember(const IVqDOMElement& AElement, TServerVersion AServerVersion, TVqEWSViewAlive AAlive = {});
  ~TVqEWSMember() override;

  /// Whom the member stands for: an address, or a contact or list of the mailbox by its ItemId. A new view at each
  /// call; its element is made by its first setter.
  TVqRef<IVqEWSRecipient> GetMailbox();
  /// Whether the server still knows the member.
  TMemberStatus GetStatus();
  void SetStatus(TMemberStatus AValue);
  /// The server's own name of the member within its list.
  string GetKey();
  void SetKey(const string& AValue);
  /// The "t:Member" element.
  IVqDOMElement AsElement() const;

 private:
  TEwsMember& Record() const;

  std::unique_ptr<TEwsMember> FMember;
  TServerVersion FServerVersion;
  TVqEWSViewAlive FAlive;
};

/// The members of a distribution list. In memory: the list's save sends them.
///
///     list->GetMembers()->AddMailbox("Bob", "bob@example.com");
///     list->GetMembers()->AddItem(contact->GetID());
///
/// Raises a plain exception once its item has been loaded again or is gone.
class TVqEWSMembersList : public TVqObject {
 public:
  /// Over the record, whose members it reads once, and which must live as long as `AAlive` says.
  TVqEWSMembersList(TEwsMembersList& AMembers, TServerVersion AServerVersion, TVqEWSViewAlive AAlive = {});

  /// Number of members.
  std::int32_t Count() const;
  /// By position from 0. Raises EListError.
  TVqRef<TVqEWSMember> GetItem(std::int32_t AIndex) const;
  /// Appends a member. The argument does not reach the element, on purpose: fill the result through its mailbox, or use
  /// one of the two below.
  TVqRef<TVqEWSMember> Add(const TVqRef<IVqEWSRecipient>& AMailbox);
  /// Appends somebody by the parts of the address, taken as they are; an empty one makes no element. With neither a
  /// name nor an address, raises "You can not add an empty recipient".
  TVqRef<TVqEWSMember> AddMailbox(const string& AName, const string& AAddress, const string& ARoutingType = "SMTP");
  /// Appends a contact, or with `mtPrivateDL` another list, of the same mailbox: the server follows it when it changes.
  /// Raises a plain exception for an empty id.
  TVqRef<TVqEWSMember> AddItem(const TItemId& AItemId, TMailboxType AMailboxType = mtContact);
  /// Removes the last member with that address (case does not matter). Members that are contacts or lists have no
  /// address until the server gave one: use `Delete`.
  void Remove(const TVqRef<IVqEWSRecipient>& AMailbox);
  /// Removes the member at a position from list and record. Raises EListError.
  void Delete(std::int32_t AIndex);
  /// Removes all members.
  void Clear();

 private:
  const std::vector<TVqRef<TVqEWSMember>>& List() const;
  template <typename TFill>
  TVqRef<TVqEWSMember> Append(TFill AFill);

  TServerVersion FServerVersion;
  TEwsMembersList& FMembers;
  std::vector<TVqRef<TVqEWSMember>> FList;
  TVqEWSViewAlive FAlive;
};

}  // namespace velmore
