// GetUserOofSettings, SetUserOofSettings, and the answers to whoever writes to somebody who is away.

#include <algorithm>

#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/mime.h"
#include "simulator/operations/operations.h"
#include "simulator/types/versions.h"

namespace velmore::simulator {

namespace {

constexpr const char* kSettings = "OofSettings";
constexpr const char* kAnswered = "OofAnswered";  // whom the mailbox has answered since the settings were set
constexpr const char* kAnswerClass = "IPM.Note.Rules.OofTemplate.Microsoft";
constexpr Seconds kDay = 86400;

Element ReplyElement(const char* name, const std::string& text) {
  Element reply = Types(name);
  reply.Set("xml:lang", "en-US").Add("Message", text);
  return reply;
}

/// What a mailbox has when nobody has set anything: off, with a day to come as its time.
Element DefaultSettings() {
  const Seconds midnight = Now() / kDay * kDay + kDay;
  Element settings = Types(kSettings);
  settings.Add("OofState", "Disabled");
  settings.Add("ExternalAudience", "None");
  Element& duration = settings.Add("Duration");
  duration.Add("StartTime", TimeText(midnight));
  duration.Add("EndTime", TimeText(midnight + kDay));
  settings.Add(ReplyElement("InternalReply", {}));
  settings.Add(ReplyElement("ExternalReply", {}));
  return settings;
}

Mailbox& MailboxToSet(Context& context, const Element& request) {
  Mailbox* mailbox = context.store.ByAddress(request.Child("Mailbox")->ChildText("Address"));
  if (mailbox == nullptr) throw EwsError("ErrorMailRecipientNotFound");
  const Folder& root = *mailbox->FindFolder(mailbox->root);
  if (context.store.AccessTo(*mailbox, root, context.user) < Access::kOwner) throw EwsError("ErrorAccessDenied");
  return *mailbox;
}

/// Whom outside answers may reach, as the protocol tells it, from nobody on.
constexpr const char* kAudiences[] = {"None", "Known", "All"};

Element Success() {
  Element message = Messages("ResponseMessage");
  message.Set("ResponseClass", "Success");
  message.Add(Messages("ResponseCode", "NoError"));
  return message;
}

std::string Header(const Item& item, const char* name) {
  for (const Element& header : HeadersElement(item.headers).children)
    if (SameText(header.AttributeText("HeaderName"), name)) return Lower(header.text);
  return {};
}

/// Machines and lists are not answered: they would answer back, or tell everybody.
bool IsAutomatic(const Item& item) {
  if (item.Text("ItemClass").starts_with("REPORT.") || item.Text("ItemClass") == kAnswerClass) return true;
  const std::string submitted = Header(item, "Auto-Submitted");
  if (!submitted.empty() && !submitted.starts_with("no")) return true;
  const std::string suppressed = Header(item, "X-Auto-Response-Suppress");
  if (suppressed.find("oof") != std::string::npos || suppressed.find("all") != std::string::npos) return true;
  const std::string precedence = Header(item, "Precedence");
  return precedence == "bulk" || precedence == "list" || precedence == "junk" || !Header(item, "List-Id").empty();
}

bool IsKnown(const Mailbox& mailbox, const std::string& address) {
  for (const auto& [number, item] : mailbox.Distinguished("contacts")->items) {
    const Element* addresses = item->Find("EmailAddresses");
    if (addresses != nullptr && std::any_of(addresses->children.begin(), addresses->children.end(),
                                            [&](const Element& entry) { return SameText(entry.text, address); }))
      return true;
  }
  return false;
}

}  // namespace

std::optional<AwayMessage> AwayMessageOf(const Mailbox& mailbox, Audience audience) {
  const auto found = mailbox.settings.find(kSettings);
  if (found == mailbox.settings.end()) return std::nullopt;
  const Element& settings = found->second;
  const std::string& state = settings.ChildText("OofState");
  if (state == "Disabled") return std::nullopt;
  AwayMessage message;
  if (state == "Scheduled") {
    message.start = ParseTime(settings.Child("Duration")->ChildText("StartTime"));
    message.end = ParseTime(settings.Child("Duration")->ChildText("EndTime"));
    if (Now() < *message.start || Now() >= *message.end) return std::nullopt;
  }
  // What the user asks for, as far as the administrator lets it go.
  const auto asked = std::find(std::begin(kAudiences), std::end(kAudiences), settings.ChildText("ExternalAudience"));
  const auto reach = std::min(mailbox.owner.outside_answers, static_cast<OutsideAnswers>(asked - kAudiences));
  if (audience == Audience::kStranger && reach != OutsideAnswers::kAll) return std::nullopt;
  if (audience == Audience::kKnown && reach == OutsideAnswers::kNone) return std::nullopt;
  const Element* reply = settings.Child(audience == Audience::kInside ? "InternalReply" : "ExternalReply");
  if (reply != nullptr) message.text = reply->ChildText("Message");
  return message;
}

bool IsInside(const Store& store, std::string_view address) {
  const std::size_t at = address.find('@');
  if (at == std::string_view::npos) return false;
  const std::string_view domain = address.substr(at + 1);
  return std::any_of(store.Mailboxes().begin(), store.Mailboxes().end(), [&](const auto& mailbox) {
    const std::string& own = mailbox->owner.smtp_address;
    return own.find('@') != std::string::npos && SameText(own.substr(own.find('@') + 1), domain);
  });
}

void AnswerForAway(Store& store, Mailbox& mailbox, const Item& item) {
  const Element* from = item.Find("From");
  const std::string sender = from != nullptr ? from->children.front().ChildText("EmailAddress") : std::string();
  const std::string& own = mailbox.owner.smtp_address;
  if (sender.find('@') == std::string::npos || SameText(sender, own) || IsAutomatic(item)) return;
  const Audience audience = IsInside(store, sender)    ? Audience::kInside
                            : IsKnown(mailbox, sender) ? Audience::kKnown
                                                       : Audience::kStranger;
  const std::optional<AwayMessage> message = AwayMessageOf(mailbox, audience);
  if (!message || message->text.empty()) return;
  Element& answered = mailbox.settings.try_emplace(kAnswered, Types(kAnswered)).first->second;
  if (std::any_of(answered.children.begin(), answered.children.end(),
                  [&](const Element& address) { return SameText(address.text, sender); }))
    return;
  answered.Add("Address", sender);

  const bool html = message->text.find('<') != std::string::npos;
  const std::string base64 = EncodeBase64(message->text);
  std::string body;
  for (std::size_t at = 0; at < base64.size(); at += 76) body += base64.substr(at, 76) + "\r\n";
  const std::string id = item.Text("InternetMessageId");
  const std::string mime =
      "From: =?utf-8?B?" + EncodeBase64(mailbox.owner.display_name) + "?= <" + own + ">\r\nTo: " + sender +
      "\r\nSubject: =?utf-8?B?" + EncodeBase64("Automatic reply: " + item.Text("Subject")) +
      "?=\r\nDate: " + MailDate(Now()) + "\r\nMessage-ID: <" + NewGuid() + own.substr(own.find('@')) + ">\r\n" +
      (id.empty() ? std::string() : "In-Reply-To: " + id + "\r\n") +
      "Auto-Submitted: auto-generated\r\nX-Auto-Response-Suppress: All\r\nMIME-Version: 1.0\r\n"
      "Content-Type: text/" +
      (html ? "html" : "plain") + "; charset=utf-8\r\nContent-Transfer-Encoding: base64\r\n\r\n" + body;
  const auto bytes = std::make_shared<const std::string>(mime);
  Mailbox* target = store.ByAddress(sender);
  if (target == nullptr) {
    store.SendOutside(bytes);
    return;
  }
  auto answer = ImportMime(bytes, Now());
  answer->Set("ItemClass", kAnswerClass);
  DeliverTo(store, *target, std::move(answer), ServerName(store.server_version));
}

Element GetUserOofSettings(Context& context, const Element& request) {
  const Mailbox& mailbox = MailboxToSet(context, request);
  const auto kept = mailbox.settings.find(kSettings);
  Element response = Messages("GetUserOofSettingsResponse");
  response.Add(Success());
  response.Add(kept != mailbox.settings.end() ? kept->second : DefaultSettings());
  response.Add(Messages("AllowExternalOof", kAudiences[static_cast<std::size_t>(mailbox.owner.outside_answers)]));
  return response;
}

Element SetUserOofSettings(Context& context, const Element& request) {
  Mailbox& mailbox = MailboxToSet(context, request);
  const Element& wanted = *request.Child("UserOofSettings");
  Element settings = DefaultSettings();
  for (const char* name : {"OofState", "ExternalAudience"}) settings.Child(name)->text = wanted.ChildText(name);
  for (const char* name : {"InternalReply", "ExternalReply"}) {
    const Element* reply = wanted.Child(name);
    if (reply != nullptr) *settings.Child(name) = ReplyElement(name, reply->ChildText("Message"));
  }
  if (const Element* duration = wanted.Child("Duration")) {
    const auto start = ParseTime(duration->ChildText("StartTime")), end = ParseTime(duration->ChildText("EndTime"));
    if (!start || !end || *end <= *start || *end <= Now()) throw EwsError("ErrorInvalidScheduledOofDuration");
    settings.Child("Duration")->Child("StartTime")->text = TimeText(*start);
    settings.Child("Duration")->Child("EndTime")->text = TimeText(*end);
  } else if (wanted.ChildText("OofState") == "Scheduled") {
    throw EwsError("ErrorInvalidScheduledOofDuration");
  }
  mailbox.settings.insert_or_assign(kSettings, std::move(settings));
  mailbox.settings.erase(kAnswered);  // everybody hears of the new absence once
  Element response = Messages("SetUserOofSettingsResponse");
  response.Add(Success());
  return response;
}

}  // namespace velmore::simulator
