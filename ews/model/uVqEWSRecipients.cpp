#include "ews/model/uVqEWSRecipients.h"

#include <algorithm>

#include "ews/model/internal/uVqEWSCall.h"
#include "platform/xml/internal/uVqXMLDOMAccess.h"

namespace velmore {
namespace {

/// Whether every character may stand in an address: printable, no blank, no bracket or separator. Letters beyond ASCII
/// are allowed.
bool IsAddressText(const string& text) {
  return std::ranges::all_of(text, [](char16_t unit) {
    return unit > u' ' && unit != 0x7F && !(unit >= 0x80 && unit <= 0xA0) &&
           std::u16string_view(u"()<>[],;:\\\"").find(unit) == std::u16string_view::npos;
  });
}

bool IsValidAddress(const string& text) {
  const std::size_t at = text.Pos(u"@");
  if (at == string::npos || at == 0) return false;
  const string domain = text.Copy(at + 1);
  if (domain.Length() < 4) return false;
  const std::size_t dot = domain.Pos(u".");
  if (dot == string::npos || dot > domain.Length() - 2) return false;
  return IsAddressText(text.Copy(0, at)) && IsAddressText(domain);
}

struct TRecipientText {
  string Name;
  string RoutingType;
  string EmailAddress;
};

/// The forms with the address in brackets; false when the text is none of them.
bool ParseBracketed(const string& text, TRecipientText& parts) {
  static constexpr struct { char16_t Open, Close; } Brackets[] = {{u'[', u']'}, {u'<', u'>'}, {u'(', u')'}};
  for (const auto& [open, close] : Brackets) {
    // The last one: a name may have brackets of its own.
    const std::size_t at = text.view().rfind(open);
    if (at == string::npos || text[text.Length() - 1] != close) continue;
    string routing = parts.RoutingType;
    string address = text.Copy(at + 1, text.Length() - at - 2);
    if (const std::size_t colon = address.Pos(u":"); colon != string::npos) {
      routing = UpperCase(address.Copy(0, colon));
      address = address.Copy(colon + 1);
    }
    const bool hasAt = address.Contains(u"@");
    if (hasAt && routing.empty()) routing = u"SMTP";
    if (!hasAt && routing == u"SMTP") return false;
    const string name = VqStripLiterals(text.Copy(0, at).Trim());
    parts = {name.Trim().empty() ? text : name, routing, address};
    return true;
  }
  return false;
}

TRecipientText ParseRecipient(string text) {
  TRecipientText parts;
  if (text.StartsWith(u"/")) {
    parts.RoutingType = u"EX";
  } else {
    parts.RoutingType = u"SMTP";
    text = text.Replace(u"'", u"");
    if (ParseBracketed(text, parts)) return parts;
  }
  parts.Name = text;
  if (IsValidAddress(text)) {
    parts.EmailAddress = text;
  } else if (parts.RoutingType == u"SMTP") {
    parts.RoutingType.clear();  // the name alone, for the server to resolve; a directory address keeps its type
  }
  return parts;
}

constexpr std::size_t kUnhashed = 0;

/// The same for addresses that differ in case alone; those beyond ASCII are compared.
std::size_t HashOf(const string& address) {
  std::size_t hash = 14695981039346656037u;
  for (std::size_t i = 0; i < address.Length(); ++i) {
    const char16_t unit = address[i];
    if (unit >= 0x80) return kUnhashed;
    hash = (hash ^ (unit >= u'A' && unit <= u'Z' ? unit | 0x20 : unit)) * 1099511628211u;
  }
  return hash == kUnhashed ? 1 : hash;
}

[[noreturn]] void RaiseEmpty() {
  throw EVqException("You can not add an empty recipient");
}

void FillMailbox(IVqEWSRecipient& mailbox, const string& name, const string& address, const string& routingType) {
  if (!name.empty()) mailbox.SetName(name);
  if (address.empty()) return;  // a kind of address says nothing without one
  mailbox.SetEmailAddress(address);
  mailbox.SetRoutingType(routingType);
}

void CheckAlive(const TVqEWSViewAlive& alive) {
  if (alive && !*alive) throw EVqException("The recipient's item is gone or was loaded again.");
}

}  // namespace

TVqEWSRecipient::TVqEWSRecipient(const IVqDOMElement& AElement, const string& AElementName,
                                 TServerVersion AServerVersion, TVqEWSViewAlive AAlive)
    : FServerVersion(AServerVersion),
      FMailBoxElement(std::make_unique<TEwsEmailAddressType>(AElement)),
      FAlive(std::move(AAlive)) {
  if (AElement.GetLocalName() != AElementName) throw EAssertionFailed("Assertion failure (ews/uVqEWSInterfaces)");
}

TVqEWSRecipient::TVqEWSRecipient(TPlace APlace, TServerVersion AServerVersion, TVqEWSViewAlive AAlive)
    : FServerVersion(AServerVersion),
      FMailBoxElement(std::make_unique<TEwsEmailAddressType>(APlace(false))),
      FPlace(std::move(APlace)),
      FAlive(std::move(AAlive)) {}

TVqEWSRecipient::~TVqEWSRecipient() = default;

TEwsEmailAddressType& TVqEWSRecipient::Record(bool AMake) const {
  CheckAlive(FAlive);
  if (FPlace && !FMailBoxElement->AsElement()) {
    if (const IVqDOMElement element = FPlace(AMake)) FMailBoxElement = std::make_unique<TEwsEmailAddressType>(element);
  }
  return *FMailBoxElement;
}

string TVqEWSRecipient::GetName() {
  return Record().GetName();
}
void TVqEWSRecipient::SetName(const string& AValue) {
  Record(true).SetName(AValue);
}
string TVqEWSRecipient::GetEmailAddress() {
  return Record().GetEmailAddress();
}
void TVqEWSRecipient::SetEmailAddress(const string& AValue) {
  Record(true).SetEmailAddress(AValue);
}
string TVqEWSRecipient::GetRoutingType() {
  return Record().GetRoutingType();
}
void TVqEWSRecipient::SetRoutingType(const string& AValue) {
  Record(true).SetRoutingType(AValue);
}
TMailboxType TVqEWSRecipient::GetMailboxType() {
  return Record().GetMailboxType();
}
void TVqEWSRecipient::SetMailboxType(TMailboxType AValue) {
  Record(true).SetMailboxType(AValue);
}

TItemId TVqEWSRecipient::GetItemId() {
  return EwsReadId(AsElement().SelectSingleElement("ItemId", kSelectQuiet));
}

void TVqEWSRecipient::SetItemId(const TItemId& AValue) {
  detail::CheckText(AValue.Id);
  detail::CheckText(AValue.ChangeKey);
  const IVqDOMElement id = Record(true).AsElement().SelectSingleElement("t:ItemId", TVqDOMSelectOption::soCreate);
  id.SelectSingleElement("t:Id", TVqDOMSelectOption::soCreate).SetText(AValue.Id);
  if (!AValue.ChangeKey.empty())
    id.SelectSingleElement("t:ChangeKey", TVqDOMSelectOption::soCreate).SetText(AValue.ChangeKey);
}

string TVqEWSRecipient::GetOriginalDisplayName() {
  EwsCheckVersion(Exchange2013, FServerVersion, "OriginalDisplayName");
  return Record().GetOriginalDisplayName();
}

void TVqEWSRecipient::SetOriginalDisplayName(const string& AValue) {
  EwsCheckVersion(Exchange2013, FServerVersion, "OriginalDisplayName");
  Record(true).SetOriginalDisplayName(AValue);
}

IVqDOMElement TVqEWSRecipient::AsElement() const {
  return Record().AsElement();
}

TVqEWSRecipients::TVqEWSRecipients(const IVqDOMElement& AParent, const string& AElementName,
                                   TServerVersion AServerVersion, TVqEWSViewAlive AAlive)
    : FServerVersion(AServerVersion),
      FMailboxElmName(AElementName),
      FMailBoxParent(AParent),
      FAlive(std::move(AAlive)) {
  if (!AParent) return;
  const TVqDOMElementList entries = AParent.CreateElementList(".//" + AElementName, kSelectQuiet);
  FList.reserve(static_cast<std::size_t>(entries.Count()));
  for (std::int32_t i = 0; i < entries.Count(); ++i) {
    FList.push_back(MakeRef<TVqEWSRecipient>(entries.GetItem(i), AElementName, AServerVersion, FAlive));
  }
}

TVqEWSRecipients::TVqEWSRecipients(TVqEWSRecipient::TPlace APlace, const string& AElementName,
                                   TServerVersion AServerVersion, TVqEWSViewAlive AAlive)
    : TVqEWSRecipients(APlace(false), AElementName, AServerVersion, std::move(AAlive)) {
  FPlace = std::move(APlace);
}

std::vector<TVqRef<TVqEWSRecipient>>& TVqEWSRecipients::List() {
  CheckAlive(FAlive);
  return FList;
}

std::int32_t TVqEWSRecipients::Count() {
  return static_cast<std::int32_t>(List().size());
}

TVqRef<TVqEWSRecipient> TVqEWSRecipients::GetRecipient(std::int32_t AIndex) {
  if (AIndex < 0 || AIndex >= Count()) {
    throw EListError("There is no recipient at position " + IntToStr(AIndex) + ".");
  }
  return FList[static_cast<std::size_t>(AIndex)];
}

TVqRef<IVqEWSRecipient> TVqEWSRecipients::Add(const string& AText) {
  const string text = AText.Trim();
  if (text.empty()) RaiseEmpty();
  const TRecipientText parts = ParseRecipient(text);
  return Append([&](TVqEWSRecipient& recipient) {
    recipient.SetName(parts.Name);
    recipient.SetEmailAddress(parts.EmailAddress);
    recipient.SetRoutingType(parts.RoutingType);
  });
}

TVqRef<IVqEWSRecipient> TVqEWSRecipients::AddMailbox(const string& AName, const string& AAddress,
                                                     const string& ARoutingType) {
  if (AName.empty() && AAddress.empty()) RaiseEmpty();
  return Append([&](TVqEWSRecipient& recipient) { FillMailbox(recipient, AName, AAddress, ARoutingType); });
}

template <typename TFill>
TVqRef<IVqEWSRecipient> TVqEWSRecipients::Append(TFill AFill) {
  List();
  if (!FMailBoxParent) FMailBoxParent = FPlace(true);
  const IVqDOMElement element = FMailBoxParent.AddElement("t:Mailbox");
  try {
    const auto recipient = MakeRef<TVqEWSRecipient>(element, "Mailbox", FServerVersion, FAlive);
    AFill(*recipient);
    FList.push_back(recipient);
    return recipient;
  } catch (...) {
    FMailBoxParent.RemoveChild(element);  // a text that XML cannot carry leaves nothing behind
    throw;
  }
}

// Emptying a long list address by address takes one look at each: what an address hashes to is kept while nothing but
// this list writes.
void TVqEWSRecipients::Remove(const string& AAddress) {
  if (List().empty()) return;
  const IVqDOMDocument document = FMailBoxParent.GetOwnerDocument();
  if (List().size() != FHashes.size() || document.GetModificationCount() != FHashedAt) {
    FHashes.clear();
    for (const auto& recipient : FList) FHashes.push_back(HashOf(recipient->GetEmailAddress()));
  }
  const std::size_t wanted = HashOf(AAddress);
  std::size_t at = 0;
  while (at < FList.size() && !((FHashes[at] == wanted || FHashes[at] == kUnhashed || wanted == kUnhashed) &&
                                SameText(FList[at]->GetEmailAddress(), AAddress)))
    ++at;
  if (at < FList.size()) {
    const IVqDOMElement element = FList[at]->AsElement();
    if (const IVqDOMElement parent = element.GetParentElement()) parent.RemoveChild(element);
    FList.erase(FList.begin() + static_cast<std::ptrdiff_t>(at));
    FHashes.erase(FHashes.begin() + static_cast<std::ptrdiff_t>(at));
  }
  FHashedAt = document.GetModificationCount();
}

void TVqEWSRecipients::Delete(std::int32_t AIndex) {
  GetRecipient(AIndex);
  FList.erase(FList.begin() + AIndex);
}

void TVqEWSRecipients::Clear() {
  while (!List().empty()) FList.pop_back();
  if (FMailBoxParent) FMailBoxParent.RemoveAllChildren();
}

string TVqEWSRecipients::GetAsString() {
  string text;
  for (const auto& recipient : List()) {
    const string name = recipient->GetName();
    const string address = recipient->GetEmailAddress();
    text += u"; ";
    text += name.empty() || name == address ? address : name + u" <" + address + u">";
  }
  return text.Copy(2);
}

void TVqEWSRecipients::SetAsString(const string& AValue) {
  Clear();
  std::vector<string> pieces = VqTokenize(AValue, u';');
  if (!pieces.empty() && pieces.back().empty()) pieces.pop_back();  // a semicolon may stand behind the last one, too
  for (const string& piece : pieces) Add(piece);
}

TVqEWSMember::TVqEWSMember(const IVqDOMElement& AElement, TServerVersion AServerVersion, TVqEWSViewAlive AAlive)
    : FMember(std::make_unique<TEwsMember>(AElement)), FServerVersion(AServerVersion), FAlive(std::move(AAlive)) {}
TVqEWSMember::~TVqEWSMember() = default;

TEwsMember& TVqEWSMember::Record() const {
  CheckAlive(FAlive);
  return *FMember;
}

IVqDOMElement TVqEWSMember::AsElement() const {
  return Record().AsElement();
}
TVqRef<IVqEWSRecipient> TVqEWSMember::GetMailbox() {
  const auto place = [member = AsElement()](bool make) {
    TEwsMember record(member);
    return IVqDOMElement(make ? record.GetNode("t:Mailbox") : record.FindNode("t:Mailbox"));
  };
  return MakeRef<TVqEWSRecipient>(place, FServerVersion, FAlive);
}
TMemberStatus TVqEWSMember::GetStatus() {
  return Record().GetStatus();
}
void TVqEWSMember::SetStatus(TMemberStatus AValue) {
  Record().SetStatus(AValue);
}
string TVqEWSMember::GetKey() {
  return Record().GetKey();
}
void TVqEWSMember::SetKey(const string& AValue) {
  Record().SetKey(AValue);
}

// Members hold records of their own: those of the array stay under their old positions when an entry before them is
// deleted.

TVqEWSMembersList::TVqEWSMembersList(TEwsMembersList& AMembers, TServerVersion AServerVersion, TVqEWSViewAlive AAlive)
    : FServerVersion(AServerVersion), FMembers(AMembers), FAlive(std::move(AAlive)) {
  for (const IVqDOMElement& member : FMembers.AsElement().CreateElementList(".//t:Member")) {
    FList.push_back(MakeRef<TVqEWSMember>(member, FServerVersion, FAlive));
  }
}

const std::vector<TVqRef<TVqEWSMember>>& TVqEWSMembersList::List() const {
  CheckAlive(FAlive);
  return FList;
}

std::int32_t TVqEWSMembersList::Count() const {
  return static_cast<std::int32_t>(List().size());
}

TVqRef<TVqEWSMember> TVqEWSMembersList::GetItem(std::int32_t AIndex) const {
  if (AIndex < 0 || AIndex >= Count()) throw EListError("There is no member at position " + IntToStr(AIndex) + ".");
  return FList[static_cast<std::size_t>(AIndex)];
}

template <typename TFill>
TVqRef<TVqEWSMember> TVqEWSMembersList::Append(TFill AFill) {
  List();
  const IVqDOMElement element = FMembers.AsElement().AddElement("t:Member");
  try {
    const auto member = MakeRef<TVqEWSMember>(element, FServerVersion, FAlive);
    AFill(*member);
    FList.push_back(member);
    return member;
  } catch (...) {
    FMembers.AsElement().RemoveChild(element);  // a text that XML cannot carry leaves nothing behind
    throw;
  }
}

TVqRef<TVqEWSMember> TVqEWSMembersList::Add(const TVqRef<IVqEWSRecipient>&) {
  return Append([](TVqEWSMember&) {});
}

TVqRef<TVqEWSMember> TVqEWSMembersList::AddMailbox(const string& AName, const string& AAddress,
                                                   const string& ARoutingType) {
  if (AName.empty() && AAddress.empty()) RaiseEmpty();
  return Append([&](TVqEWSMember& member) { FillMailbox(*member.GetMailbox(), AName, AAddress, ARoutingType); });
}

TVqRef<TVqEWSMember> TVqEWSMembersList::AddItem(const TItemId& AItemId, TMailboxType AMailboxType) {
  if (AItemId.Id.empty()) throw EVqException("A member needs the id of a contact or list that has been saved.");
  return Append([&](TVqEWSMember& member) {
    const auto mailbox = member.GetMailbox();
    mailbox->SetMailboxType(AMailboxType);
    mailbox->SetItemId(AItemId);
  });
}

void TVqEWSMembersList::Remove(const TVqRef<IVqEWSRecipient>& AMailbox) {
  for (std::int32_t i = Count() - 1; i >= 0; --i) {
    if (SameText(GetItem(i)->GetMailbox()->GetEmailAddress(), AMailbox->GetEmailAddress())) return Delete(i);
  }
}

void TVqEWSMembersList::Delete(std::int32_t AIndex) {
  const IVqDOMElement element = GetItem(AIndex)->AsElement();
  if (const IVqDOMElement parent = element.GetParentElement()) parent.RemoveChild(element);
  FList.erase(FList.begin() + AIndex);
}

void TVqEWSMembersList::Clear() {
  List();
  FMembers.AsElement().RemoveAllChildren();
  FList.clear();
}

}  // namespace velmore
