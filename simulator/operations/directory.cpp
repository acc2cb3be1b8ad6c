// ResolveNames.

#include <algorithm>

#include "simulator/mailbox/mime.h"
#include "simulator/operations/operations.h"

namespace velmore::simulator {

namespace {

struct Candidate {
  Element mailbox;
  Element contact;  // with full contact data
};

/// Does an entry of a request mean this name and address? A part of a name counts from the start of a word.
bool Means(const std::string& entry, const std::string& name, const std::string& address, const std::string& alias) {
  const std::string wanted = Lower(entry);
  if (wanted.empty()) return false;
  if (Lower(address).starts_with(wanted) || (!alias.empty() && Lower(alias).starts_with(wanted))) return true;
  const std::string text = Lower(name);
  for (std::size_t at = text.find(wanted); at != std::string::npos; at = text.find(wanted, at + 1))
    if (at == 0 || text[at - 1] == ' ' || text[at - 1] == '-' || text[at - 1] == '.') return true;
  return false;
}

Candidate FromDirectory(const std::string& name, const std::string& address, const char* type) {
  Candidate candidate{MailboxElement(name, address, type), Types("Contact")};
  candidate.contact.Add("DisplayName", name);
  const std::size_t blank = name.rfind(' ');
  candidate.contact.Add("GivenName", name.substr(0, blank));
  Element& addresses = candidate.contact.Add("EmailAddresses");
  addresses.Add("Entry", "SMTP:" + address).Set("Key", "EmailAddress1");
  candidate.contact.Add("ContactSource", "ActiveDirectory");
  if (blank != std::string::npos) candidate.contact.Add("Surname", name.substr(blank + 1));
  return candidate;
}

/// A contact is found once for each address that is meant; a personal list has none.
void AddContact(const Item& item, const std::string& entry, const Shape& shape, const Viewer& viewer,
                std::vector<Candidate>& out) {
  const std::string& name = item.Text("DisplayName");
  if (item.element == "DistributionList") {
    if (!Means(entry, name, {}, {})) return;
    Candidate list{MailboxElement(name, {}, "PrivateDL"), Types("Contact")};
    list.mailbox.Remove("EmailAddress");
    list.mailbox.Child("RoutingType")->text = "MAPIPDL";
    list.mailbox.Add(ItemIdElement(*viewer.mailbox, item));
    out.push_back(std::move(list));
    return;
  }
  const Element* addresses = item.Find("EmailAddresses");
  if (addresses == nullptr) return;
  bool named = false;
  for (const char* part : {"DisplayName", "GivenName", "Surname", "FileAs", "Nickname"})
    named = named || Means(entry, item.Text(part), {}, {});
  for (const Element& address : addresses->children) {
    if (address.text.empty() || (!named && !Means(entry, {}, address.text, {}))) continue;
    Candidate candidate{MailboxElement(name, address.text, "Contact"), RenderItem(item, shape, viewer)};
    candidate.mailbox.Add(ItemIdElement(*viewer.mailbox, item));
    out.push_back(std::move(candidate));
  }
}

}  // namespace

Element ResolveNames(Context& context, const Element& request) {
  std::string entry = request.ChildText("UnresolvedEntry");
  if (entry.empty())
    throw SchemaViolation(
        "The 'UnresolvedEntry' element is invalid - The value '' is invalid according to its datatype '" +
            std::string(kTypesNamespace) + ":NonEmptyStringType' - The actual length is less than the MinLength value.",
        request.Child("UnresolvedEntry")->line, request.Child("UnresolvedEntry")->column);
  if (Lower(entry).starts_with("smtp:")) entry.erase(0, 5);
  std::string scope = request.AttributeText("SearchScope");
  if (scope.empty()) scope = "ActiveDirectoryContacts";
  const bool full = IsTrue(request.AttributeText("ReturnFullContactData"));

  Shape contact_shape;
  contact_shape.base = Shape::Base::kDefault;
  if (const std::string& wanted = request.AttributeText("ContactDataShape"); !wanted.empty())
    contact_shape.base = wanted == "IdOnly"    ? Shape::Base::kIdOnly
                         : wanted == "Default" ? Shape::Base::kDefault
                                               : Shape::Base::kAll;

  std::vector<Candidate> directory;
  if (scope.find("ActiveDirectory") != std::string::npos) {
    for (const auto& mailbox : context.store.Mailboxes())
      if (Means(entry, mailbox->owner.display_name, mailbox->owner.smtp_address, mailbox->owner.name))
        directory.push_back(FromDirectory(mailbox->owner.display_name, mailbox->owner.smtp_address, "Mailbox"));
    for (const DirectoryContact& contact : context.store.contacts)
      if (Means(entry, contact.display_name, contact.smtp_address, {}))
        directory.push_back(FromDirectory(contact.display_name, contact.smtp_address, "Contact"));
    for (const DirectoryList& list : context.store.lists)
      if (Means(entry, list.display_name, list.smtp_address, {}))
        directory.push_back(FromDirectory(list.display_name, list.smtp_address, "PublicDL"));
    // A whole address means nobody else.
    const auto exact = std::find_if(directory.begin(), directory.end(), [&](const Candidate& c) {
      return SameText(c.mailbox.ChildText("EmailAddress"), entry);
    });
    if (exact != directory.end()) directory = {*exact};
  }
  std::vector<Candidate> contacts;
  if (scope.find("Contacts") != std::string::npos) {
    std::vector<Place> places;
    if (const Element* folders = request.Child("ParentFolderIds")) {
      for (const Element& id : folders->children) places.push_back(LocateFolder(context, id));
    } else if (context.home != nullptr) {
      places.push_back({context.home, context.home->Distinguished("contacts"), Access::kOwner});
    }
    for (const Place& place : places) {
      for (const auto& [number, item] : place.folder->items) {
        AddContact(*item, entry, contact_shape, ViewerOf(context, place), contacts);
      }
    }
  }
  std::vector<Candidate> all = scope.starts_with("Contacts") ? contacts : directory;
  const std::vector<Candidate>& rest = scope.starts_with("Contacts") ? directory : contacts;
  all.insert(all.end(), rest.begin(), rest.end());
  const bool last = all.size() <= 100;
  if (!last) all.resize(100);

  Element response = Messages("ResolveNamesResponse");
  Element& messages = response.Add(Messages("ResponseMessages"));
  if (all.empty()) {
    messages.Add(ErrorMessage("ResolveNames", EwsError("ErrorNameResolutionNoResults")));
    return response;
  }
  Element set = Messages("ResolutionSet");
  set.Set("TotalItemsInView", std::to_string(all.size()));
  set.Set("IncludesLastItemInRange", last ? "true" : "false");
  for (Candidate& candidate : all) {
    Element& resolution = set.Add("Resolution");
    resolution.Add(std::move(candidate.mailbox));
    if (full) resolution.Add(std::move(candidate.contact));
  }
  if (all.size() > 1) {
    messages.Add(ErrorMessage("ResolveNames", EwsError("ErrorNameResolutionMultipleResults"), true))
        .Add(std::move(set));
    return response;
  }
  Element& message = messages.Add(Messages("ResolveNamesResponseMessage"));
  message.Set("ResponseClass", "Success");
  message.Add(Messages("ResponseCode", "NoError"));
  message.Add(std::move(set));
  return response;
}

}  // namespace velmore::simulator
