#include "simulator/control/browser_page.h"

#include <algorithm>
#include <charconv>
#include <functional>

#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/view.h"

namespace velmore::simulator {

namespace {

// Enough for people; a browser does not show megabytes well.
constexpr std::size_t kMaxText = 200000;
constexpr std::size_t kMaxItems = 500;
constexpr std::size_t kMaxExchanges = 100;

constexpr const char* kStyle =
    ":root{color-scheme:light dark}"
    "body{font:15px/1.5 system-ui,sans-serif;max-width:70rem;margin:0 auto;padding:1rem}"
    "h1{font-size:1.4rem;margin:.2rem 0}h2{font-size:1.1rem;margin:1.6rem 0 .4rem}h3{font-size:1rem;margin:1rem 0 "
    ".2rem}"
    "table{border-collapse:collapse;width:100%}th,td{text-align:left;padding:.2rem .6rem;border-bottom:1px solid #8884;"
    "vertical-align:top;overflow-wrap:break-word}th{font-weight:600}td.n,th.n{text-align:right}.s{white-space:nowrap}"
    "pre{background:#8882;padding:.6rem;overflow:auto;max-height:40rem;white-space:pre-wrap;overflow-wrap:anywhere}"
    ".unread{font-weight:600}.bad{color:#c33}.dim{opacity:.7}nav{margin:.4rem 0}";

/// Text between tags and in attributes. What is no UTF-8, and what browsers would not show, becomes U+FFFD.
void Escape(std::string_view text, std::string& out) {
  for (std::size_t i = 0; i < text.size();) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c < 0x80) {
      ++i;
      if (c == '&')
        out += "&amp;";
      else if (c == '<')
        out += "&lt;";
      else if (c == '>')
        out += "&gt;";
      else if (c == '"')
        out += "&quot;";
      else if (c == '\'')
        out += "&#39;";
      else if ((c < 0x20 && c != '\n' && c != '\t' && c != '\r') || c == 0x7f)
        out += "\xef\xbf\xbd";
      else
        out += static_cast<char>(c);
      continue;
    }
    const std::size_t length = c < 0xc2 ? 0 : c < 0xe0 ? 2 : c < 0xf0 ? 3 : c < 0xf5 ? 4 : 0;
    bool valid = length != 0 && i + length <= text.size();
    for (std::size_t k = 1; valid && k < length; ++k) valid = (static_cast<unsigned char>(text[i + k]) & 0xc0) == 0x80;
    if (!valid) {
      out += "\xef\xbf\xbd";
      ++i;
      continue;
    }
    out.append(text, i, length);
    i += length;
  }
}

std::string Escaped(std::string_view text) {
  std::string out;
  Escape(text, out);
  return out;
}

std::string UrlEscaped(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_')
      out += c;
    else
      out += "%" + ToHex(std::string(1, c));
  }
  return out;
}

std::string UrlUnescaped(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned value = 0;
    if (text[i] == '%' && i + 2 < text.size() &&
        std::from_chars(text.data() + i + 1, text.data() + i + 3, value, 16).ptr == text.data() + i + 3) {
      out += static_cast<char>(value);
      i += 2;
    } else {
      out += text[i];
    }
  }
  return out;
}

/// A parameter of the query; nothing when it is not there.
std::optional<std::string> Parameter(std::string_view target, std::string_view name) {
  std::size_t at = target.find('?');
  while (at != std::string_view::npos && ++at < target.size()) {
    const std::size_t end = std::min(target.find('&', at), target.size());
    const std::string_view pair = target.substr(at, end - at);
    const std::size_t equals = pair.find('=');
    if (equals != std::string_view::npos && pair.substr(0, equals) == name)
      return UrlUnescaped(pair.substr(equals + 1));
    at = end < target.size() ? end : std::string_view::npos;
  }
  return std::nullopt;
}

std::string Page(const std::string& title, const std::string& content, bool start) {
  return "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"><link rel=\"icon\" "
         "href=\"data:,\"><title>" +
         Escaped(title) + "</title><style>" + kStyle + "</style></head><body>" +
         (start ? "" : "<nav><a href=\"/\">Mailboxes and exchanges</a></nav>") + content + "</body></html>\n";
}

std::string Preformatted(std::string_view text, const char* id) {
  std::string out = "<pre id=\"" + std::string(id) + "\">";
  Escape(text.substr(0, kMaxText), out);
  out += "</pre>";
  if (text.size() > kMaxText)
    out +=
        "<p class=\"dim\">The first " + std::to_string(kMaxText) + " of " + std::to_string(text.size()) + " bytes.</p>";
  return out;
}

std::string Headers(const std::vector<std::pair<std::string, std::string>>& headers) {
  std::string text;
  for (const auto& [name, value] : headers) text += name + ": " + value + "\n";
  return text;
}

/// "2026-03-04 05:06 UTC"
std::string TimeForPeople(Seconds time) {
  std::string text = TimeText(time).substr(0, 16);
  if (text.size() > 10) text[10] = ' ';
  return text + " UTC";
}

std::string Sender(const Item& item) {
  for (const char* name : {"From", "Sender", "Organizer"}) {
    const Element* property = item.Find(name);
    const Element* mailbox = property != nullptr ? property->Child("Mailbox") : nullptr;
    if (mailbox == nullptr) continue;
    const std::string& display = mailbox->ChildText("Name");
    return display.empty() ? mailbox->ChildText("EmailAddress") : display;
  }
  return {};
}

/// What an item is called in a list.
std::string Title(const Item& item) {
  for (const char* name : {"Subject", "DisplayName", "FileAs"})
    if (!item.Text(name).empty()) return item.Text(name);
  return "(no subject)";
}

bool IsUnread(const Item& item) {
  return item.Find("IsRead") != nullptr && !item.Flag("IsRead");
}

}  // namespace

std::optional<std::string> BrowserPage::Render(const std::string& target, const Figures& figures) const {
  if (const auto id = Parameter(target, "folder")) return FolderPage(*id);
  if (const auto id = Parameter(target, "item")) return ItemPage(*id);
  if (const auto number = Parameter(target, "exchange")) return ExchangePage(*number);
  return Overview(figures);
}

std::string BrowserPage::Overview(const Figures& figures) const {
  std::string out = "<h1>Velmore EWS Simulator</h1>";
  {
    const std::lock_guard lock(store_.mutex);
    out += "<p>Plays <b id=\"version\">" + Escaped(VersionNames()[static_cast<std::size_t>(store_.server_version)]) +
           "</b>. The service is at <code>/EWS/Exchange.asmx</code>. " + std::to_string(figures.counters.requests) +
           " requests over " + std::to_string(figures.counters.connections) + " connections, " +
           std::to_string(figures.counters.refused) + " refused, " + std::to_string(figures.pending_faults) +
           " faults waiting.</p><nav><a href=\"#last\">Last exchanges</a></nav><h2>Mailboxes</h2>";
    if (store_.Mailboxes().empty()) out += "<p>There are none.</p>";
    for (const auto& mailbox : store_.Mailboxes()) {
      out += "<h3>" + Escaped(mailbox->owner.display_name) + " <span class=\"dim\">" +
             Escaped(mailbox->owner.smtp_address) + ", logs on as " + Escaped(mailbox->owner.name) + "</span></h3>" +
             "<table class=\"mailbox\"><tr><th>Folder</th><th class=\"n\">Items</th><th class=\"n\">Unread</th></tr>";
      const std::function<void(const Folder&, int)> walk = [&](const Folder& folder, int depth) {
        std::size_t unread = 0;
        for (const auto& [number, item] : folder.items) unread += IsUnread(*item) ? 1 : 0;
        out += "<tr><td style=\"padding-left:" + std::to_string(depth) +
               ".6rem\"><a href=\"/?folder=" + UrlEscaped(mailbox->IdOf(folder)) + "\">" +
               Escaped(folder.display_name) + "</a></td><td class=\"n\">" + std::to_string(folder.items.size()) +
               "</td><td class=\"n\">" + std::to_string(unread) + "</td></tr>";
        for (const std::string& child : folder.children)
          if (const Folder* below = mailbox->FindFolder(child)) walk(*below, depth + 1);
      };
      // The top is of no interest; what lies beside it (recoverable items, search folders) only when there is
      // something.
      if (const Folder* top = mailbox->Distinguished("msgfolderroot"))
        for (const std::string& child : top->children)
          if (const Folder* folder = mailbox->FindFolder(child)) walk(*folder, 0);
      if (const Folder* root = mailbox->FindFolder(mailbox->root))
        for (const std::string& child : root->children)
          if (const Folder* folder = mailbox->FindFolder(child);
              folder != nullptr && folder->distinguished != "msgfolderroot" && !folder->items.empty())
            walk(*folder, 0);
      out += "</table>";
    }
  }
  out += "<h2 id=\"last\">Last exchanges</h2>";
  const std::vector<Exchange> exchanges = recorder_.All();
  if (exchanges.empty()) return Page("Velmore EWS Simulator", out + "<p>There are none yet.</p>", true);
  out +=
      "<table id=\"exchanges\"><tr><th class=\"n\">No.</th><th>Request</th><th>User</th><th class=\"n\">Status</th>"
      "<th class=\"n\">Sent</th><th class=\"n\">Answered</th></tr>";
  std::size_t shown = 0;
  for (auto exchange = exchanges.rbegin(); exchange != exchanges.rend() && shown < kMaxExchanges; ++exchange, ++shown) {
    const std::string number = std::to_string(exchange->number);
    out += "<tr><td class=\"n\"><a href=\"/?exchange=" + number + "\">" + number + "</a></td><td>" +
           Escaped(exchange->operation.empty() ? exchange->method + " " + exchange->target : exchange->operation) +
           "</td><td>" + Escaped(exchange->user) + "</td><td class=\"n" + (exchange->status == 200 ? "" : " bad") +
           "\">" + (exchange->status == 0 ? std::string("cut") : std::to_string(exchange->status)) +
           "</td><td class=\"n\">" + std::to_string(exchange->request_body.size()) + "</td><td class=\"n\">" +
           std::to_string(exchange->response_body.size()) + "</td></tr>";
  }
  out += "</table>";
  if (exchanges.size() > shown)
    out += "<p class=\"dim\">The last " + std::to_string(shown) + " of " + std::to_string(exchanges.size()) + ".</p>";
  return Page("Velmore EWS Simulator", out, true);
}

std::optional<std::string> BrowserPage::FolderPage(const std::string& id) const {
  const std::lock_guard lock(store_.mutex);
  const auto parsed = ParseEwsId(id);
  const Mailbox* mailbox = parsed ? store_.ByGuid(parsed->mailbox) : nullptr;
  const Folder* folder = mailbox != nullptr ? mailbox->FindFolder(parsed->entry) : nullptr;
  if (folder == nullptr) return std::nullopt;
  std::string out = "<h1>" + Escaped(folder->display_name) + "</h1><p class=\"dim\">Folder of " +
                    Escaped(mailbox->owner.display_name) + ", " + Escaped(folder->element) + " " +
                    Escaped(folder->folder_class) + "</p>";
  if (folder->items.empty()) return Page(folder->display_name, out + "<p>It is empty.</p>", false);
  std::vector<const Item*> items;
  for (const auto& [number, item] : folder->items) items.push_back(item.get());
  std::stable_sort(items.begin(), items.end(), [](const Item* a, const Item* b) { return a->received > b->received; });
  out +=
      "<table id=\"items\"><tr><th>Received</th><th>From</th><th>Subject</th><th>Class</th><th "
      "class=\"n\">Size</th></tr>";
  for (std::size_t i = 0; i < items.size() && i < kMaxItems; ++i) {
    const Item& item = *items[i];
    out += std::string("<tr") + (IsUnread(item) ? " class=\"unread\"" : "") + "><td class=\"s\">" +
           TimeForPeople(item.received) + "</td><td>" + Escaped(Sender(item)) +
           "</td><td><a href=\"/?item=" + UrlEscaped(mailbox->IdOf(item)) + "\">" + Escaped(Title(item)) +
           "</a></td><td class=\"s\">" + Escaped(item.Text("ItemClass")) + "</td><td class=\"n\">" +
           std::to_string(item.Size()) + "</td></tr>";
  }
  out += "</table>";
  if (items.size() > kMaxItems)
    out += "<p class=\"dim\">The newest " + std::to_string(kMaxItems) + " of " + std::to_string(items.size()) + ".</p>";
  return Page(folder->display_name, out, false);
}

std::optional<std::string> BrowserPage::ItemPage(const std::string& id) const {
  std::string out;
  std::string xml;
  std::string title;
  {
    const std::lock_guard lock(store_.mutex);
    const auto parsed = ParseEwsId(id);
    const Mailbox* mailbox = parsed ? store_.ByGuid(parsed->mailbox) : nullptr;
    const std::shared_ptr<Item> item = mailbox != nullptr ? mailbox->FindItem(parsed->entry) : nullptr;
    if (item == nullptr) return std::nullopt;
    title = Title(*item);
    const Folder* folder = mailbox->FindFolder(item->folder);
    out = "<h1>" + Escaped(title) + "</h1><p class=\"dim\">" + Escaped(item->element) + " of " +
          Escaped(mailbox->owner.display_name);
    if (folder != nullptr)
      out += " in <a href=\"/?folder=" + UrlEscaped(mailbox->IdOf(*folder)) + "\">" + Escaped(folder->display_name) +
             "</a>";
    out += ", received " + TimeForPeople(item->received) + "</p>";
    if (!item->attachments.empty()) {
      out += "<h2>Attachments</h2><table><tr><th>Name</th><th>Type</th><th class=\"n\">Size</th></tr>";
      for (const Attachment& attachment : item->attachments)
        out += "<tr><td>" + Escaped(attachment.name) + "</td><td>" +
               Escaped(attachment.is_item ? "item" : attachment.content_type) + "</td><td class=\"n\">" +
               std::to_string(attachment.Size()) + "</td></tr>";
      out += "</table>";
    }
    xml = DumpItem(*mailbox, *item, store_.server_version);
  }
  // The tree lacks the declarations that a reader of XML wants to see.
  const std::string open = "<items xmlns:t=\"" + std::string(kTypesNamespace) + "\">";
  out += "<h2>As the service shows it</h2>" + Preformatted(ReadableBody(open + xml + "</items>"), "item");
  return Page(title, out, false);
}

std::optional<std::string> BrowserPage::ExchangePage(const std::string& number) const {
  for (const Exchange& exchange : recorder_.All()) {
    if (std::to_string(exchange.number) != number) continue;
    const std::string title =
        "Exchange " + number + ": " + (exchange.operation.empty() ? exchange.method : exchange.operation);
    return Page(
        title,
        "<h1>" + Escaped(title) + "</h1><p class=\"dim\">" + (exchange.secure ? "HTTPS" : "HTTP") +
            (exchange.user.empty() ? std::string() : ", user " + Escaped(exchange.user)) + "</p><h2>Request</h2>" +
            Preformatted(exchange.method + " " + exchange.target + "\n" + Headers(exchange.request_headers) + "\n" +
                             ReadableBody(exchange.request_body),
                         "request") +
            "<h2>Reply</h2>" +
            Preformatted(exchange.status == 0
                             ? std::string("The connection was cut instead.")
                             : "HTTP " + std::to_string(exchange.status) + "\n" + Headers(exchange.response_headers) +
                                   "\n" + ReadableBody(exchange.response_body),
                         "reply"),
        false);
  }
  return std::nullopt;
}

}  // namespace velmore::simulator
