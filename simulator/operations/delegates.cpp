// GetDelegate, AddDelegate, UpdateDelegate, RemoveDelegate: who may act for somebody.

#include <algorithm>

#include "simulator/operations/permission_sets.h"

namespace velmore::simulator {

namespace {

constexpr std::pair<const char*, const char*> kFolders[] = {
    {"CalendarFolderPermissionLevel", "calendar"}, {"TasksFolderPermissionLevel", "tasks"},
    {"InboxFolderPermissionLevel", "inbox"},       {"ContactsFolderPermissionLevel", "contacts"},
    {"NotesFolderPermissionLevel", "notes"},       {"JournalFolderPermissionLevel", "journal"}};

/// The mailbox whose delegates a request is about: that of the user.
Mailbox& OwnMailbox(Context& context, const Element& request) {
  Mailbox* mailbox = context.store.ByAddress(request.Child("Mailbox")->ChildText("EmailAddress"));
  if (mailbox == nullptr) throw EwsError("ErrorNonExistentMailbox");
  if (!SameText(mailbox->owner.smtp_address, context.user.smtp_address)) throw EwsError("ErrorAccessDenied");
  return *mailbox;
}

/// What is wrong with the request as a whole stands in the response itself.
Element WithMailbox(const char* operation, Context& context, const Element& request,
                    const std::function<Element(Mailbox&)>& each) {
  try {
    return each(OwnMailbox(context, request));
  } catch (const EwsError& error) {
    Element response = ErrorMessage(operation, error);
    response.name = std::string(operation) + "Response";
    return response;
  }
}

Element* FindDelegate(Mailbox& mailbox, const User& user) {
  for (Element& delegate : mailbox.delegates)
    if (SameText(delegate.Child("UserId")->ChildText("PrimarySmtpAddress"), user.smtp_address)) return &delegate;
  return nullptr;
}

/// t:DelegateUser, whether he was made one or has rights in the folders that delegates work with.
Element DelegateUser(Context& context, Mailbox& mailbox, const User& user, bool with_permissions) {
  Element out = Types("DelegateUser");
  out.Add(UserIdElement(user));
  bool owns = false;
  Element permissions = Types("DelegatePermissions");
  for (const auto& [element, folder] : kFolders) {
    const Rights rights = context.store.AccessTo(mailbox, *mailbox.Distinguished(folder), user);
    owns = owns || rights.Has(Right::kOwns);
    const std::string level = LevelOf(rights);
    const bool known = level == "None" || level == "Reviewer" || level == "Author" || level == "Editor";
    permissions.Add(element, known ? level : level == "Owner" ? "Editor" : "Custom");
  }
  if (with_permissions) out.Add(std::move(permissions));
  const Element* made = FindDelegate(mailbox, user);
  out.Add("ReceiveCopiesOfMeetingMessages",
          made != nullptr ? made->ChildText("ReceiveCopiesOfMeetingMessages") : "false");
  out.Add("ViewPrivateItems", made != nullptr ? made->ChildText("ViewPrivateItems") : owns ? "true" : "false");
  return out;
}

bool IsDelegate(Context& context, Mailbox& mailbox, const User& user) {
  if (FindDelegate(mailbox, user) != nullptr) return true;
  return std::any_of(std::begin(kFolders), std::end(kFolders), [&](const auto& row) {
    return !(context.store.AccessTo(mailbox, *mailbox.Distinguished(row.second), user) == Access::kNone);
  });
}

/// The frame of all four: a message of the operation, and in it one for each user.
Element Respond(const char* operation, const Element& users, const std::function<Element(const Element&)>& each,
                const std::string& delivery = {}) {
  Element response = Messages(std::string(operation) + "Response");
  response.Set("ResponseClass", "Success");
  response.Add(Messages("ResponseCode", "NoError"));
  Element messages = Messages("ResponseMessages");
  for (const Element& user : users.children) {
    try {
      Element content = each(user);
      Element& message = messages.Add(Messages("DelegateUserResponseMessageType"));
      message.Set("ResponseClass", "Success");
      message.Add(Messages("ResponseCode", "NoError"));
      if (content.name.empty()) continue;
      content.space = Space::kMessages;
      message.Add(std::move(content));
    } catch (const EwsError& error) {
      Element& message = messages.Add(ErrorMessage("x", error));
      message.name = "DelegateUserResponseMessageType";
    }
  }
  if (!messages.children.empty()) response.Add(std::move(messages));
  if (!delivery.empty()) response.Add(Messages("DeliverMeetingRequests", delivery));
  return response;
}

Element Nothing() {
  Element element;
  element.name.clear();
  return element;
}

/// Takes over what a request says of a delegate.
Element Write(Context& context, Mailbox& mailbox, const Element& wanted, bool update) {
  const User& user = UserOf(context, *wanted.Child("UserId"), "ErrorDelegateNoUser");
  if (&user == &mailbox.owner) throw EwsError("ErrorDelegateCannotAddOwner");
  Element* made = FindDelegate(mailbox, user);
  if (!update && made != nullptr) throw EwsError("ErrorDelegateAlreadyExists");
  if (update && !IsDelegate(context, mailbox, user)) throw EwsError("ErrorNotDelegate");
  const Element* permissions = wanted.Child("DelegatePermissions");
  if (permissions != nullptr)
    for (const Element& level : permissions->children)
      if (level.text == "Custom") throw EwsError("ErrorInvalidDelegatePermission");
  if (made == nullptr) {
    made = &mailbox.delegates.emplace_back(Types("DelegateUser"));
    made->Add(UserIdElement(user));
    made->Add("ReceiveCopiesOfMeetingMessages", "false");
    made->Add("ViewPrivateItems", "false");
  }
  for (const char* flag : {"ReceiveCopiesOfMeetingMessages", "ViewPrivateItems"})
    if (wanted.Child(flag) != nullptr) made->Child(flag)->text = IsTrue(wanted.ChildText(flag)) ? "true" : "false";
  for (const auto& [element, name] : kFolders) {
    const Element* level = permissions != nullptr ? permissions->Child(element) : nullptr;
    if (level == nullptr) continue;
    Element permission = Types("Permission");
    permission.Add("PermissionLevel", level->text);
    Folder& folder = *mailbox.Distinguished(name);
    SetPermission(folder, user, RightsOf(permission));
    mailbox.Touch(folder);
  }
  return DelegateUser(context, mailbox, user, true);
}

}  // namespace

Element GetDelegate(Context& context, const Element& request) {
  return WithMailbox("GetDelegate", context, request, [&](Mailbox& mailbox) {
    const bool with_permissions = IsTrue(request.AttributeText("IncludePermissions"));
    Element users = Types("UserIds");
    if (const Element* wanted = request.Child("UserIds")) users = *wanted;
    if (users.children.empty())
      for (const auto& other : context.store.Mailboxes())
        if (other.get() != &mailbox && IsDelegate(context, mailbox, other->owner))
          users.Add(UserIdElement(other->owner));
    return Respond(
        "GetDelegate", users,
        [&](const Element& id) {
          const User& user = UserOf(context, id, "ErrorDelegateNoUser");
          if (&user == &mailbox.owner || !IsDelegate(context, mailbox, user)) throw EwsError("ErrorNotDelegate");
          return DelegateUser(context, mailbox, user, with_permissions);
        },
        mailbox.meeting_delivery);
  });
}

Element AddDelegate(Context& context, const Element& request) {
  return WithMailbox("AddDelegate", context, request, [&](Mailbox& mailbox) {
    if (const std::string& delivery = request.ChildText("DeliverMeetingRequests"); !delivery.empty())
      mailbox.meeting_delivery = delivery;
    return Respond("AddDelegate", *request.Child("DelegateUsers"),
                   [&](const Element& user) { return Write(context, mailbox, user, false); });
  });
}

Element UpdateDelegate(Context& context, const Element& request) {
  return WithMailbox("UpdateDelegate", context, request, [&](Mailbox& mailbox) {
    if (const std::string& delivery = request.ChildText("DeliverMeetingRequests"); !delivery.empty())
      mailbox.meeting_delivery = delivery;
    const Element* users = request.Child("DelegateUsers");
    return Respond("UpdateDelegate", users != nullptr ? *users : Types("DelegateUsers"),
                   [&](const Element& user) { return Write(context, mailbox, user, true); });
  });
}

Element RemoveDelegate(Context& context, const Element& request) {
  return WithMailbox("RemoveDelegate", context, request, [&](Mailbox& mailbox) {
    return Respond("RemoveDelegate", *request.Child("UserIds"), [&](const Element& id) {
      const User& user = UserOf(context, id, "ErrorDelegateNoUser");
      if (!IsDelegate(context, mailbox, user)) throw EwsError("ErrorNotDelegate");
      std::erase_if(mailbox.delegates, [&](const Element& delegate) {
        return SameText(delegate.Child("UserId")->ChildText("PrimarySmtpAddress"), user.smtp_address);
      });
      for (const auto& [element, name] : kFolders) SetPermission(*mailbox.Distinguished(name), user, {});
      return Nothing();
    });
  });
}

}  // namespace velmore::simulator
