// The session's operations on names (m:ResolveNames).

#include "ews/model/internal/uVqEWSCall.h"
#include "ews/session/uVqEWS.h"
#include "platform/common/uVqSerializer.h"

namespace velmore {
namespace {

constexpr TVqEWSOperation kResolveNames{"ResolveNames", "", TVqEWSAnswerPath::below};

}  // namespace

TVqRef<IVqEWSResolutionSet> TVqEWSCustomSession::ResolveName(const string& AUnresolvedEntry,
                                                             TSearchScope ASearchScope) {
  TVqEWSCall call(*this, kResolveNames);
  call.Set("ReturnFullContactData", "true");
  call.Set("SearchScope", VqEnumToText(ASearchScope));
  if (FServerVersion >= Exchange2010_SP2) call.Set("ContactDataShape", "Default");
  call.Add("m:UnresolvedEntry").SetText(AUnresolvedEntry);
  // Not checked for a refusal: a name that is not found gives an empty set.
  return MakeRef<TVqEWSResolutionSet>(call.SendUnchecked().SelectSingleElement("ResolutionSet", kSelectCreate));
}

bool TVqEWSCustomSession::ResolveName(const TVqRef<IVqEWSRecipient>& ARecipient, bool ARaiseError) {
  TVqEWSCall call(*this, kResolveNames);
  call.Set("ReturnFullContactData", "false");
  const string address = ARecipient->GetEmailAddress();
  call.Add("m:UnresolvedEntry").SetText(address.empty() ? ARecipient->GetName() : address);
  const IVqDOMElement message = call.SendUnchecked();
  const string responseClass = message.GetAttribute("ResponseClass");
  IVqDOMElement mailbox;
  if (responseClass == "Success") {
    mailbox = message.SelectSingleElement("ResolutionSet/Resolution/Mailbox", kSelectRequired);
  } else if (responseClass == "Warning") {  // several candidates: one of the user's contacts wins over the directory
    mailbox = message.SelectSingleElement("ResolutionSet/Resolution/Mailbox[./MailboxType=\"Contact\"]", kSelectQuiet);
    if (!mailbox) mailbox = message.SelectSingleElement("ResolutionSet/Resolution/Mailbox[0]", kSelectRequired);
  } else {
    const bool known = !ARecipient->GetRoutingType().empty() && !ARecipient->GetEmailAddress().empty();
    if (!known && ARaiseError) call.Check(message);
    return known;
  }

  // Everything is read before anything is set: a reply that lacks something leaves the recipient as it was.
  const auto required = [&](const char* name) { return mailbox.SelectSingleElement(name, kSelectRequired).GetText(); };
  const string name = required("Name");
  const string routing = required("RoutingType");
  const string found = routing == "SMTP" ? required("EmailAddress")
                                         : mailbox.SelectSingleElement("EmailAddress", kSelectQuiet).GetText();
  const auto type = VqTextToEnum<TMailboxType>(required("MailboxType"));
  const IVqDOMElement id = mailbox.SelectSingleElement("ItemId", kSelectQuiet);
  ARecipient->SetName(name);
  ARecipient->SetRoutingType(routing);
  ARecipient->SetEmailAddress(found);
  ARecipient->SetMailboxType(type);
  // Without an object behind the address the id is made up.
  ARecipient->SetItemId(id ? EwsReadId(id) : TItemId{routing + ":" + found, "OneOff"});
  return true;
}

bool TVqEWSCustomSession::ResolveNames(const TVqRef<IVqEWSRecipients>& ARecipients, bool ARaiseError) {
  bool resolved = true;
  for (std::int32_t i = 0; i < ARecipients->Count(); ++i) {
    resolved = resolved &&
               ResolveName(ARecipients->GetItem(i), ARaiseError);  // after one that is not found the rest is skipped
  }
  return resolved;
}

TVqRef<IVqEWSRecipients> TVqEWSCustomSession::CreateRecipients() {
  // The list hangs in a document of its own.
  const TVqDOMDocument document;
  return MakeRef<TVqEWSRecipients>(document.CreateRootNode("t:Recipients"), "Mailbox", FServerVersion);
}

}  // namespace velmore
