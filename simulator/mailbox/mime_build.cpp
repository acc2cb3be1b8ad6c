#include "simulator/mailbox/mime.h"

#include <gmime/gmime.h>

#include <mutex>

#include "simulator/mailbox/calendar_part.h"
#include "simulator/mailbox/ids.h"

namespace velmore::simulator {

namespace {

GMimeFormatOptions* LineEnds() {
  static GMimeFormatOptions* const options = [] {
    g_mime_init();
    GMimeFormatOptions* made = g_mime_format_options_new();
    g_mime_format_options_set_newline_format(made, GMIME_NEWLINE_FORMAT_DOS);
    return made;
  }();
  return options;
}

GMimePart* TextPart(const char* subtype, const std::string& text) {
  GMimeTextPart* part = g_mime_text_part_new_with_subtype(subtype);
  g_mime_text_part_set_charset(part, "utf-8");
  g_mime_text_part_set_text(part, text.c_str());
  g_mime_part_set_content_encoding(GMIME_PART(part), GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE);
  return GMIME_PART(part);
}

/// In base64, so that not even ends of lines are touched.
GMimePart* BytesPart(const char* type, const char* subtype, const std::string& bytes) {
  GMimePart* part = g_mime_part_new_with_type(type, subtype);
  GMimeStream* stream = g_mime_stream_mem_new_with_buffer(bytes.data(), bytes.size());
  GMimeDataWrapper* content = g_mime_data_wrapper_new_with_stream(stream, GMIME_CONTENT_ENCODING_DEFAULT);
  g_mime_part_set_content(part, content);
  g_object_unref(content);
  g_object_unref(stream);
  g_mime_part_set_content_encoding(part, GMIME_CONTENT_ENCODING_BASE64);
  return part;
}

GMimeObject* AttachmentPart(const Attachment& attachment) {
  if (attachment.is_item) {
    const std::string nested = BuildMime(*attachment.item, true);
    GMimeStream* stream = g_mime_stream_mem_new_with_buffer(nested.data(), nested.size());
    GMimeParser* parser = g_mime_parser_new_with_stream(stream);
    GMimeMessage* message = g_mime_parser_construct_message(parser, nullptr);
    g_object_unref(parser);
    g_object_unref(stream);
    GMimeMessagePart* part = g_mime_message_part_new_with_message("rfc822", message);
    if (message != nullptr) g_object_unref(message);
    g_mime_object_set_disposition(GMIME_OBJECT(part), "attachment");
    return GMIME_OBJECT(part);
  }
  std::string type = attachment.content_type;
  const std::size_t slash = type.find('/');
  if (slash == std::string::npos || slash == 0 || slash + 1 == type.size()) type = "application/octet-stream";
  const std::size_t at = type.find('/');
  GMimePart* part = BytesPart(type.substr(0, at).c_str(), type.substr(at + 1).c_str(), *attachment.content);
  g_mime_object_set_disposition(GMIME_OBJECT(part), attachment.is_inline ? "inline" : "attachment");
  if (!attachment.name.empty()) g_mime_part_set_filename(part, attachment.name.c_str());
  if (!attachment.content_id.empty()) g_mime_object_set_content_id(GMIME_OBJECT(part), attachment.content_id.c_str());
  return GMIME_OBJECT(part);
}

void AddAddresses(GMimeMessage* message, GMimeAddressType type, const Element* holder) {
  if (holder == nullptr) return;
  for (const Element& mailbox : holder->children) {
    const std::string& address = mailbox.ChildText("EmailAddress");
    if (address.empty()) continue;
    const std::string& name = mailbox.ChildText("Name");
    g_mime_message_add_mailbox(message, type, name.empty() || name == address ? nullptr : name.c_str(),
                               address.c_str());
  }
}

void SetHeader(GMimeMessage* message, const char* name, const std::string& value) {
  if (!value.empty()) g_mime_object_set_header(GMIME_OBJECT(message), name, value.c_str(), "utf-8");
}

std::string Unbracketed(const std::string& id) {
  return id.size() > 2 && id.front() == '<' && id.back() == '>' ? id.substr(1, id.size() - 2) : id;
}

/// Wraps what there is in a multipart of a subtype, taking over the reference.
GMimeObject* Wrapped(GMimeObject* first, const char* subtype) {
  GMimeMultipart* multipart = g_mime_multipart_new_with_subtype(subtype);
  g_mime_multipart_add(multipart, first);
  g_object_unref(first);
  return GMIME_OBJECT(multipart);
}

void AddPart(GMimeObject* multipart, GMimeObject* part) {
  g_mime_multipart_add(GMIME_MULTIPART(multipart), part);
  g_object_unref(part);
}

}  // namespace

std::string BuildMime(const Item& item, bool with_bcc) {
  GMimeFormatOptions* options = LineEnds();
  GMimeMessage* message = g_mime_message_new(TRUE);
  AddAddresses(message, GMIME_ADDRESS_TYPE_FROM, item.Find("From"));
  if (const Element* sender = item.Find("Sender"), *from = item.Find("From");
      sender != nullptr &&
      (from == nullptr || from->children.empty() || sender->children.empty() ||
       from->children[0].ChildText("EmailAddress") != sender->children[0].ChildText("EmailAddress")))
    AddAddresses(message, GMIME_ADDRESS_TYPE_SENDER, sender);
  AddAddresses(message, GMIME_ADDRESS_TYPE_REPLY_TO, item.Find("ReplyTo"));
  AddAddresses(message, GMIME_ADDRESS_TYPE_TO, item.Find("ToRecipients"));
  AddAddresses(message, GMIME_ADDRESS_TYPE_CC, item.Find("CcRecipients"));
  if (with_bcc) AddAddresses(message, GMIME_ADDRESS_TYPE_BCC, item.Find("BccRecipients"));
  g_mime_message_set_subject(message, item.Text("Subject").c_str(), "utf-8");
  const Seconds date = item.sent != 0 ? item.sent : item.created;
  SetHeader(message, "Date", MailDate(date));
  if (!item.Text("InternetMessageId").empty())
    g_mime_message_set_message_id(message, Unbracketed(item.Text("InternetMessageId")).c_str());
  SetHeader(message, "In-Reply-To", item.Text("InReplyTo"));
  SetHeader(message, "References", item.Text("References"));
  if (item.Text("Importance") == "High") SetHeader(message, "Importance", "high");
  if (item.Text("Importance") == "Low") SetHeader(message, "Importance", "low");
  if (item.Text("Sensitivity") == "Personal") SetHeader(message, "Sensitivity", "personal");
  if (item.Text("Sensitivity") == "Private") SetHeader(message, "Sensitivity", "private");
  if (item.Text("Sensitivity") == "Confidential") SetHeader(message, "Sensitivity", "company-confidential");
  if (const Element* from = item.Find("From");
      item.Flag("IsReadReceiptRequested") && from != nullptr && !from->children.empty())
    SetHeader(message, "Disposition-Notification-To", from->children[0].ChildText("EmailAddress"));
  if (const Element* headers = item.Find("InternetMessageHeaders")) {
    for (const Element& header : headers->children)
      SetHeader(message, header.AttributeText("HeaderName").c_str(), header.text);
  }

  const std::optional<CalendarPart> calendar = CalendarPartOf(item);
  const std::string plain = item.text.empty() && !item.html.empty() ? HtmlToText(item.html) : item.text;
  GMimeObject* body = GMIME_OBJECT(TextPart("plain", plain));
  if (!item.html.empty() || calendar) body = Wrapped(body, "alternative");
  if (!item.html.empty()) AddPart(body, GMIME_OBJECT(TextPart("html", item.html)));
  if (calendar) {
    // Last, as the one that tells most.
    GMimePart* part = BytesPart("text", "calendar", calendar->text);
    g_mime_object_set_content_type_parameter(GMIME_OBJECT(part), "charset", "utf-8");
    g_mime_object_set_content_type_parameter(GMIME_OBJECT(part), "method", calendar->method.c_str());
    AddPart(body, GMIME_OBJECT(part));
  }
  bool related = false;
  bool mixed = false;
  for (const Attachment& attachment : item.attachments) {
    if (!attachment.is_inline) continue;
    if (!related) body = Wrapped(body, "related");
    related = true;
    AddPart(body, AttachmentPart(attachment));
  }
  for (const Attachment& attachment : item.attachments) {
    if (attachment.is_inline) continue;
    if (!mixed) body = Wrapped(body, "mixed");
    mixed = true;
    AddPart(body, AttachmentPart(attachment));
  }
  g_mime_message_set_mime_part(message, body);
  g_object_unref(body);

  GMimeStream* stream = g_mime_stream_mem_new();
  g_mime_object_write_to_stream(GMIME_OBJECT(message), options, stream);
  GByteArray* bytes = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(stream));
  std::string out(reinterpret_cast<const char*>(bytes->data), bytes->len);
  g_object_unref(stream);
  g_object_unref(message);
  return out;
}

std::shared_ptr<const std::string> MimeOf(const Item& item) {
  if (item.mime != nullptr) return item.mime;
  return std::make_shared<const std::string>(BuildMime(item, true));
}

}  // namespace velmore::simulator
