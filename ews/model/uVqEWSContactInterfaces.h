#pragma once

/// Contacts and distribution lists as the application sees them.
///
///     auto ann = Supports<IVqEWSContact>(contacts->CreateItem(tContact));
///     ann->SetGivenName("Ann");
///     ann->SetSurname("Example");
///     ann->GetEmailAddresses().GetEntry(eakEmailAddress1).SetValue("ann@example.com");
///     ann->GetPhoneNumbers().GetEntry(pnkMobilePhone).SetValue("+43 1 234");
///     ann->SaveChanges(soAutoResolve);

#include "ews/model/uVqEWSBaseItemInterfaces.h"
#include "ews/model/uVqEWSRecipients.h"

namespace velmore {

/// A contact.
///
/// Its addresses and numbers stand in dictionaries that are changed in place: GetEntry(key) gives the entry with a key
/// and makes it if there is none, in memory; an entry without a text is not sent, and one that is emptied is deleted by
/// the next save. Entries are saved one by one, so that two people who change two numbers of one contact do not undo
/// each other's change; only web addresses and those of messengers of Exchange2016 (AbchEmailAddresses) go as a whole.
class IVqEWSContact : public virtual IVqEWSItem {
 public:
  // ---- Names

  /// The name that the contact is sorted under. Needs Exchange2013_SP1 to be read; the setter works on every server,
  /// on purpose.
  virtual string GetFileAs() = 0;
  virtual void SetFileAs(const string& AValue) = 0;
  /// How the server makes that name of the others. Needs Exchange2013_SP1.
  virtual TFileAsMapping GetFileAsMapping() = 0;
  /// The name as lists show it.
  virtual string GetDisplayName() = 0;
  virtual void SetDisplayName(const string& AValue) = 0;
  /// A title before the name. Asked for as a field of personas, on purpose; the published schema has no such member of
  /// contacts, so that a server that keeps to it refuses to set it, and a strict session raises a plain exception when
  /// it is saved. `GetCompleteName().SetTitle` reaches the title on every server.
  virtual string GetDisplayNamePrefix() = 0;
  virtual void SetDisplayNamePrefix(const string& AValue) = 0;
  /// First name. Needs Exchange2013_SP1, read and written.
  virtual string GetGivenName() = 0;
  virtual void SetGivenName(const string& AValue) = 0;
  /// "A.E."
  virtual string GetInitials() = 0;
  virtual void SetInitials(const string& AValue) = 0;
  /// Second name.
  virtual string GetMiddleName() = 0;
  virtual void SetMiddleName(const string& AValue) = 0;
  /// What friends say.
  virtual string GetNickname() = 0;
  virtual void SetNickname(const string& AValue) = 0;
  /// All parts of the name as the server puts them together. Its setters write the members of the contact that the
  /// server takes (GivenName, MiddleName, Surname, Generation, Initials, and a MAPI property for the title), so that a
  /// part reads as before until the next save. The first name alone is written on new contacts only, and on servers
  /// later than Exchange2013: `SetGivenName` is the way that always says what it does.
  virtual TEwsCompleteName& GetCompleteName() = 0;
  /// Family name.
  virtual string GetSurname() = 0;
  virtual void SetSurname(const string& AValue) = 0;
  /// "Jr.", "III".
  virtual string GetGeneration() = 0;
  virtual void SetGeneration(const string& AValue) = 0;
  /// How the names are said, for lists that are sorted by sound. Need Exchange2013.
  virtual string GetPhoneticFullName() = 0;
  virtual void SetPhoneticFullName(const string& AValue) = 0;
  virtual string GetPhoneticFirstName() = 0;
  virtual void SetPhoneticFirstName(const string& AValue) = 0;
  virtual string GetPhoneticLastName() = 0;
  virtual void SetPhoneticLastName(const string& AValue) = 0;
  /// The same of the nickname. Needs Exchange2016.
  virtual string GetYomiNickname() = 0;
  virtual void SetYomiNickname(const string& AValue) = 0;

  // ---- Addresses

  /// Up to three e-mail addresses. A new entry is an SMTP address of the kind "OneOff".
  virtual TEwsEmailAddressDictionary& GetEmailAddresses() = 0;
  /// E-mail addresses by their use, with what messengers know of them. Needs Exchange2016.
  virtual TEwsAbchEmailAddressDictionary& GetAbchEmailAddresses() = 0;
  /// Postal addresses: business, home and another one. The library's own form of a request sends an address whole, the
  /// published schema's part by part.
  virtual TEwsPhysicalAddressDictionary& GetPhysicalAddresses() = 0;
  /// Telephone and fax numbers, one of each kind.
  virtual TEwsPhoneNumberDictionary& GetPhoneNumbers() = 0;
  /// Up to three addresses of messengers.
  virtual TEwsImAddressDictionary& GetImAddresses() = 0;
  /// Which of the postal addresses letters go to.
  virtual TPhysicalAddressIndex GetPostalAddressIndex() = 0;
  virtual void SetPostalAddressIndex(TPhysicalAddressIndex AValue) = 0;
  /// A web address; of a contact of Exchange2013_SP1 and later there can be one of each kind.
  virtual string GetBusinessHomePage() = 0;
  virtual void SetBusinessHomePage(const string& AValue) = 0;
  virtual TEwsContactUrlDictionary& GetUrls() = 0;

  // ---- Work

  /// Where the person works, and as what.
  virtual string GetCompanyName() = 0;
  virtual void SetCompanyName(const string& AValue) = 0;
  virtual string GetDepartment() = 0;
  virtual void SetDepartment(const string& AValue) = 0;
  virtual string GetOfficeLocation() = 0;
  virtual void SetOfficeLocation(const string& AValue) = 0;
  virtual string GetJobTitle() = 0;
  virtual void SetJobTitle(const string& AValue) = 0;
  virtual string GetProfession() = 0;
  virtual void SetProfession(const string& AValue) = 0;
  /// Names of the superior and of the assistant.
  virtual string GetManager() = 0;
  virtual void SetManager(const string& AValue) = 0;
  virtual string GetAssistantName() = 0;
  virtual void SetAssistantName(const string& AValue) = 0;
  /// The superior's mailbox, and those of the people who report to this one, as the directory has them. Need
  /// Exchange2013.
  virtual TEwsSingleRecipient& GetManagerMailbox() = 0;
  virtual TEwsArrayOfRecipients& GetDirectReports() = 0;
  /// Names of companies that the contact has to do with.
  virtual TEwsArrayOfStrings& GetCompanies() = 0;
  /// Free text about travel, kept as it is.
  virtual string GetMileage() = 0;
  virtual void SetMileage(const string& AValue) = 0;

  // ---- Private life

  /// Days, as times in UTC; 0 when unknown.
  virtual TDateTime GetBirthday() = 0;
  virtual void SetBirthday(TDateTime AValue) = 0;
  virtual TDateTime GetWeddingAnniversary() = 0;
  virtual void SetWeddingAnniversary(TDateTime AValue) = 0;
  /// Husband, wife or partner.
  virtual string GetSpouseName() = 0;
  virtual void SetSpouseName(const string& AValue) = 0;
  /// Names of the children.
  virtual TEwsArrayOfStrings& GetChildren() = 0;
  /// As text. Needs Exchange2016.
  virtual string GetGender() = 0;
  virtual void SetGender(const string& AValue) = 0;

  // ---- What the directory and other sources know. Need Exchange2013.

  /// The mailbox's short name.
  virtual string GetAlias() = 0;
  virtual void SetAlias(const string& AValue) = 0;
  /// Remarks of the directory; the contact's own are its body.
  virtual string GetNotes() = 0;
  virtual void SetNotes(const string& AValue) = 0;
  /// The picture of the directory. The contact's own is an attachment: `GetUserPhoto`.
  virtual TBytes GetPhoto() = 0;
  virtual void SetPhoto(const TBytes& AValue) = 0;
  /// Certificates to encrypt with, as base-64 texts.
  virtual TEwsArrayOfBinary& GetUserSMIMECertificate() = 0;
  virtual TEwsArrayOfBinary& GetMSExchangeCertificate() = 0;
  /// The directory's id of the person.
  virtual string GetDirectoryId() = 0;
  virtual void SetDirectoryId(const string& AValue) = 0;

  // ---- Where the contact comes from

  /// The directory or the mailbox.
  virtual TContactSource GetContactSource() = 0;
  virtual void SetContactSource(TContactSource AValue) = 0;
  /// What services that a contact was taken over from keep of it. Need Exchange2016.
  virtual string GetAccountName() = 0;
  virtual void SetAccountName(const string& AValue) = 0;
  virtual bool GetIsAutoUpdateDisabled() = 0;
  virtual void SetIsAutoUpdateDisabled(bool AValue) = 0;
  virtual string GetComment() = 0;
  virtual void SetComment(const string& AValue) = 0;
  virtual string GetContactType() = 0;
  virtual void SetContactType(const string& AValue) = 0;
  virtual string GetObjectId() = 0;
  virtual void SetObjectId(const string& AValue) = 0;
  virtual string GetSourceId() = 0;
  virtual void SetSourceId(const string& AValue) = 0;
  virtual std::int64_t GetCid() = 0;
  virtual void SetCid(std::int64_t AValue) = 0;
  virtual string GetSkypeAuthCertificate() = 0;
  virtual void SetSkypeAuthCertificate(const string& AValue) = 0;
  virtual string GetSkypeId() = 0;
  virtual void SetSkypeId(const string& AValue) = 0;

  // ---- The picture

  /// Whether there is one, as the server counts. Needs Exchange2010.
  virtual bool GetHasPicture() = 0;
  virtual void SetHasPicture(bool AValue) = 0;
  /// Writes the contact's picture, the first attachment that is one, to the stream (m:GetAttachment, when it is not in
  /// memory). Without a picture the stream stays as it was.
  virtual void GetUserPhoto(TVqStream& APhoto) = 0;
  /// Makes the whole stream, wherever it stands, the contact's picture; with none, or an empty one, takes the picture
  /// away. In memory: the next save replaces or deletes the attachment. A new one is called "ContactPicture.jpg" and
  /// has the type "image/jpg" whatever the stream holds, on purpose: programs look for these. Needs Exchange2010 for a
  /// contact that had no picture.
  virtual void SetUserPhoto(TVqStream* APhoto) = 0;

 protected:
  ~IVqEWSContact() = default;
};

/// A distribution list of the user's own: a name for several people. `IVqEWSFolder::CreateDistributionList` makes one.
class IVqEWSDistributionList : public virtual IVqEWSItem {
 public:
  /// The list's name.
  virtual string GetDisplayName() = 0;
  virtual void SetDisplayName(const string& AValue) = 0;
  /// The name that it is sorted under.
  virtual string GetFileAs() = 0;
  virtual void SetFileAs(const string& AValue) = 0;
  /// The directory or the mailbox.
  virtual TContactSource GetContactSource() = 0;
  virtual void SetContactSource(TContactSource AValue) = 0;
  /// The members. Built once, until the next load; from then on it raises a plain exception. Servers know members from
  /// Exchange2010 on. A save sends all of them when one was changed.
  virtual TVqRef<TVqEWSMembersList> GetMembers() = 0;

 protected:
  ~IVqEWSDistributionList() = default;
};

}  // namespace velmore
