#include <gmime/gmime.h>

#include <algorithm>
#include <cstring>
#include <mutex>

#include "simulator/mailbox/mime.h"
#include "simulator/mailbox/topic.h"

namespace velmore::simulator {

namespace {

template <class T>
using Owned = std::unique_ptr<T, void (*)(void*)>;

void Unref(void* object) {
  if (object != nullptr) g_object_unref(object);
}

void InitializeMime() {
  static std::once_flag once;
  std::call_once(once, [] { g_mime_init(); });
}

std::string ValidUtf8(const char* text) {
  if (text == nullptr) return {};
  char* valid = g_utf8_make_valid(text, -1);
  std::string out = valid;
  g_free(valid);
  return out;
}

/// Texts of headers may hold what XML forbids; that is kept, as Exchange keeps it. Only line ends go.
std::string OneLine(std::string text) {
  std::erase_if(text, [](char c) { return c == '\r' || c == '\n'; });
  return text;
}

Seconds TimeOf(GDateTime* time) {
  return time != nullptr ? g_date_time_to_unix(time) : 0;
}

void CollectMailboxes(InternetAddressList* list, Element& out) {
  if (list == nullptr) return;
  for (int i = 0; i < internet_address_list_length(list); ++i) {
    InternetAddress* address = internet_address_list_get_address(list, i);
    if (INTERNET_ADDRESS_IS_GROUP(address)) {
      CollectMailboxes(internet_address_group_get_members(INTERNET_ADDRESS_GROUP(address)), out);
      continue;
    }
    if (!INTERNET_ADDRESS_IS_MAILBOX(address)) continue;
    const std::string addr = ValidUtf8(internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(address)));
    std::string name = OneLine(ValidUtf8(internet_address_get_name(address)));
    if (name.empty()) name = addr;
    out.Add(MailboxElement(name, addr));
  }
}

std::string HeaderText(GMimeMessage* message, const char* name) {
  return OneLine(ValidUtf8(g_mime_object_get_header(GMIME_OBJECT(message), name)));
}

std::string ContentOf(GMimePart* part) {
  GMimeDataWrapper* wrapper = g_mime_part_get_content(part);
  if (wrapper == nullptr) return {};
  const Owned<GMimeStream> stream(g_mime_stream_mem_new(), Unref);
  g_mime_data_wrapper_write_to_stream(wrapper, stream.get());
  GByteArray* bytes = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(stream.get()));
  return bytes->data != nullptr ? std::string(reinterpret_cast<const char*>(bytes->data), bytes->len) : std::string();
}

std::string TextOf(GMimeTextPart* part) {
  char* text = g_mime_text_part_get_text(part);
  if (text == nullptr) return ValidUtf8(ContentOf(GMIME_PART(part)).c_str());
  std::string out = ValidUtf8(text);
  g_free(text);
  return out;
}

std::string TypeText(GMimeObject* object) {
  GMimeContentType* type = g_mime_object_get_content_type(object);
  return Lower(std::string(g_mime_content_type_get_media_type(type)) + "/" +
               g_mime_content_type_get_media_subtype(type));
}

std::string StripBrackets(const char* id) {
  std::string text = ValidUtf8(id);
  if (text.size() > 1 && text.front() == '<' && text.back() == '>') text = text.substr(1, text.size() - 2);
  return text;
}

/// Messages in messages that become items. What lies deeper is kept as bytes: each level is written and read anew.
constexpr int kMostNested = 8;

std::shared_ptr<Item> Import(std::shared_ptr<const std::string> mime, Seconds received, int nested);

void TakeAttachment(GMimeObject* object, Item& item, int nested) {
  Attachment attachment;
  attachment.modified = item.received;
  attachment.content_id = StripBrackets(g_mime_object_get_content_id(object));
  attachment.content_location = ValidUtf8(g_mime_object_get_header(object, "Content-Location"));
  const char* disposition = g_mime_object_get_disposition(object);
  attachment.is_inline = disposition != nullptr ? SameText(disposition, "inline") && !attachment.content_id.empty()
                                                : !attachment.content_id.empty();
  if (GMIME_IS_MESSAGE_PART(object)) {
    GMimeMessage* inner = g_mime_message_part_get_message(GMIME_MESSAGE_PART(object));
    if (inner == nullptr) return;
    const Owned<GMimeStream> stream(g_mime_stream_mem_new(), Unref);
    g_mime_object_write_to_stream(GMIME_OBJECT(inner), nullptr, stream.get());
    GByteArray* bytes = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(stream.get()));
    auto mime = std::make_shared<const std::string>(reinterpret_cast<const char*>(bytes->data), bytes->len);
    attachment.content_type = "message/rfc822";
    attachment.is_inline = false;
    if (nested < kMostNested) {
      attachment.is_item = true;
      attachment.item = Import(std::move(mime), item.received, nested + 1);
      attachment.name = attachment.item->Text("Subject");
    } else {
      attachment.content = std::move(mime);
      attachment.name = "message.eml";
    }
  } else {
    auto* part = GMIME_PART(object);
    attachment.name = ValidUtf8(g_mime_part_get_filename(part));
    attachment.content_type = TypeText(object);
    attachment.content = std::make_shared<const std::string>(ContentOf(part));
    if (attachment.name.empty()) attachment.name = attachment.content_id.empty() ? "attachment" : attachment.content_id;
  }
  item.attachments.push_back(std::move(attachment));
}

void TakeParts(GMimeObject* object, Item& item, bool in_alternative, int depth, int nested) {
  if (object == nullptr || depth > 30) return;
  if (GMIME_IS_MULTIPART(object)) {
    auto* multipart = GMIME_MULTIPART(object);
    const bool alternative = TypeText(object) == "multipart/alternative";
    for (int i = 0; i < g_mime_multipart_get_count(multipart); ++i)
      TakeParts(g_mime_multipart_get_part(multipart, i), item, in_alternative || alternative, depth + 1, nested);
    return;
  }
  const char* disposition = g_mime_object_get_disposition(object);
  const bool attached = disposition != nullptr && SameText(disposition, "attachment");
  if (!attached && GMIME_IS_TEXT_PART(object)) {
    const std::string type = TypeText(object);
    const bool named = g_mime_part_get_filename(GMIME_PART(object)) != nullptr;
    if (type == "text/html" && item.html.empty() && !named) {
      item.html = TextOf(GMIME_TEXT_PART(object));
      return;
    }
    if (type == "text/plain" && item.text.empty() && !named && (item.html.empty() || in_alternative)) {
      item.text = TextOf(GMIME_TEXT_PART(object));
      return;
    }
  }
  if (GMIME_IS_PART(object) || GMIME_IS_MESSAGE_PART(object)) TakeAttachment(object, item, nested);
}

void SetText(Item& item, const char* name, const std::string& text) {
  if (!text.empty()) item.Set(name, text);
}

void SetRecipients(Item& item, const char* name, InternetAddressList* list) {
  Element recipients = Types(name);
  CollectMailboxes(list, recipients);
  if (!recipients.children.empty()) item.Set(std::move(recipients));
}

void SetSender(Item& item, const char* name, InternetAddressList* list) {
  Element all = Types(name);
  CollectMailboxes(list, all);
  if (all.children.empty()) return;
  all.children.resize(1);
  item.Set(std::move(all));
}

/// When the message arrived, by its topmost Received header.
Seconds ReceivedTime(const std::string& received) {
  const std::size_t at = received.rfind(';');
  if (at == std::string::npos) return 0;
  GDateTime* time = g_mime_utils_header_decode_date(received.c_str() + at + 1);
  const Seconds seconds = TimeOf(time);
  if (time != nullptr) g_date_time_unref(time);
  return seconds;
}

}  // namespace

Element MailboxElement(const std::string& name, const std::string& address, const std::string& mailbox_type) {
  Element mailbox = Types("Mailbox");
  mailbox.Add("Name", name);
  mailbox.Add("EmailAddress", address);
  mailbox.Add("RoutingType", "SMTP");
  mailbox.Add("MailboxType", mailbox_type);
  return mailbox;
}

std::string HeaderBlock(const std::string& mime) {
  std::size_t end = mime.find("\r\n\r\n");
  const std::size_t bare = mime.find("\n\n");
  if (bare != std::string::npos && (end == std::string::npos || bare < end)) end = bare;
  return mime.substr(0, end);
}

Element HeadersElement(const std::string& block) {
  Element headers = Types("InternetMessageHeaders");
  std::size_t at = 0;
  while (at < block.size()) {
    std::size_t end = block.find('\n', at);
    if (end == std::string::npos) end = block.size();
    std::string line = block.substr(at, end - at);
    at = end + 1;
    while (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty()) continue;
    if (line.front() == ' ' || line.front() == '\t') {
      if (headers.children.empty()) continue;
      line.erase(0, line.find_first_not_of(" \t") == std::string::npos ? line.size() : line.find_first_not_of(" \t"));
      headers.children.back().text += " " + ValidUtf8(line.c_str());
      continue;
    }
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos || colon == 0) continue;
    std::string value = line.substr(colon + 1);
    value.erase(0, std::min(value.find_first_not_of(" \t"), value.size()));
    headers.Add("InternetMessageHeader", ValidUtf8(value.c_str()))
        .Set("HeaderName", ValidUtf8(line.substr(0, colon).c_str()));
  }
  return headers;
}

std::shared_ptr<Item> ImportMime(std::shared_ptr<const std::string> mime, Seconds received) {
  return Import(std::move(mime), received, 0);
}

namespace {

std::shared_ptr<Item> Import(std::shared_ptr<const std::string> mime, Seconds received, int nested) {
  InitializeMime();
  auto item = std::make_shared<Item>();
  item->element = "Message";
  item->mime = std::move(mime);
  const std::string& text = *item->mime;
  item->headers = HeaderBlock(text);
  item->received = received;
  item->created = received;

  const Owned<GMimeStream> stream(g_mime_stream_mem_new_with_buffer(text.data(), text.size()), Unref);
  const Owned<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()), Unref);
  const Owned<GMimeMessage> message(g_mime_parser_construct_message(parser.get(), nullptr), Unref);
  item->Set("ItemClass", "IPM.Note");
  item->Set("Importance", "Normal");
  item->Set("Sensitivity", "Normal");
  if (message == nullptr) {
    item->text = ValidUtf8(text.c_str());
    item->Set("Subject", "");
    return item;
  }
  GMimeMessage* m = message.get();
  const std::string subject = OneLine(ValidUtf8(g_mime_message_get_subject(m)));
  item->Set("Subject", subject);
  item->Set("ConversationTopic", TopicOf(subject));
  if (const Seconds arrived = ReceivedTime(HeaderText(m, "Received")); arrived != 0) item->received = arrived;
  item->sent = TimeOf(g_mime_message_get_date(m));
  SetSender(*item, "From", g_mime_message_get_from(m));
  SetSender(*item, "Sender", g_mime_message_get_sender(m));
  if (item->Find("Sender") == nullptr) SetSender(*item, "Sender", g_mime_message_get_from(m));
  SetRecipients(*item, "ToRecipients", g_mime_message_get_to(m));
  SetRecipients(*item, "CcRecipients", g_mime_message_get_cc(m));
  SetRecipients(*item, "BccRecipients", g_mime_message_get_bcc(m));
  SetRecipients(*item, "ReplyTo", g_mime_message_get_reply_to(m));
  if (const char* id = g_mime_message_get_message_id(m)) item->Set("InternetMessageId", "<" + ValidUtf8(id) + ">");
  SetText(*item, "InReplyTo", HeaderText(m, "In-Reply-To"));
  SetText(*item, "References", HeaderText(m, "References"));

  const std::string importance = Lower(HeaderText(m, "Importance"));
  const std::string priority = HeaderText(m, "X-Priority");
  if (importance == "high" || priority.starts_with('1') || priority.starts_with('2')) item->Set("Importance", "High");
  if (importance == "low" || priority.starts_with('4') || priority.starts_with('5')) item->Set("Importance", "Low");
  const std::string sensitivity = Lower(HeaderText(m, "Sensitivity"));
  if (sensitivity == "personal") item->Set("Sensitivity", "Personal");
  if (sensitivity == "private") item->Set("Sensitivity", "Private");
  if (sensitivity == "company-confidential") item->Set("Sensitivity", "Confidential");
  const std::string keywords = HeaderText(m, "Keywords");
  if (!keywords.empty()) {
    Element categories = Types("Categories");
    std::size_t at = 0;
    while (at < keywords.size()) {
      const std::size_t end = std::min(keywords.find(',', at), keywords.size());
      std::string word = keywords.substr(at, end - at);
      word.erase(0, std::min(word.find_first_not_of(' '), word.size()));
      if (!word.empty()) categories.Add("String", word);
      at = end + 1;
    }
    if (!categories.children.empty()) item->Set(std::move(categories));
  }
  item->SetFlag("IsReadReceiptRequested", !HeaderText(m, "Disposition-Notification-To").empty());
  item->SetFlag("IsDeliveryReceiptRequested", !HeaderText(m, "Return-Receipt-To").empty());
  item->SetFlag("IsDraft", HeaderText(m, "X-Unsent") == "1");
  item->SetFlag("IsRead", false);
  TakeParts(g_mime_message_get_mime_part(m), *item, false, 0, nested);
  return item;
}

}  // namespace

}  // namespace velmore::simulator
