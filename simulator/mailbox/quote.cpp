#include "simulator/mailbox/quote.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "simulator/mailbox/mime.h"
#include "simulator/mailbox/topic.h"

namespace velmore::simulator {

namespace {

/// "Monday, February 2, 2026 10:00:00 AM", as the server writes it for a reader in UTC.
std::string LongDate(Seconds time) {
  static constexpr const char* kDays[] = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
  static constexpr const char* kMonths[] = {"January", "February", "March",     "April",   "May",      "June",
                                            "July",    "August",   "September", "October", "November", "December"};
  const Seconds of_day = ((time % 86400) + 86400) % 86400;
  const std::int64_t days = (time - of_day) / 86400;
  const Date date = DateFromDays(days);
  const auto two = [](Seconds value) { return (value < 10 ? "0" : "") + std::to_string(value); };
  const Seconds hour = of_day / 3600;
  return std::string(kDays[Weekday(days)]) + ", " + kMonths[date.month - 1] + " " + std::to_string(date.day) + ", " +
         std::to_string(date.year) + " " + std::to_string(hour % 12 == 0 ? 12 : hour % 12) + ":" +
         two(of_day / 60 % 60) + ":" + two(of_day % 60) + (hour < 12 ? " AM" : " PM");
}

std::string NameAndAddress(const Element* holder) {
  if (holder == nullptr || holder->children.empty()) return {};
  const std::string& name = holder->children.front().ChildText("Name");
  const std::string& address = holder->children.front().ChildText("EmailAddress");
  if (name.empty() || name == address || address.empty()) return name.empty() ? address : name;
  return name + " <" + address + ">";
}

using Lines = std::vector<std::pair<const char*, std::string>>;

Lines BlockOf(const Item& original) {
  const Element* from = original.Find("From") != nullptr ? original.Find("From") : original.Find("Sender");
  const Seconds time = original.sent != 0 ? original.sent : original.received;
  Lines lines = {{"From", NameAndAddress(from)}, {"Sent", LongDate(time)}};
  lines.emplace_back("To", DisplayNames(original, "ToRecipients"));
  if (const std::string cc = DisplayNames(original, "CcRecipients"); !cc.empty()) lines.emplace_back("Cc", cc);
  lines.emplace_back("Subject", original.Text("Subject"));
  return lines;
}

std::string Escaped(const std::string& text) {
  std::string out;
  EscapeXml(text, false, out);
  return out;
}

/// What lies between the tags of the body, or all of it when there are none.
std::string BodyOf(const std::string& html) {
  const std::string lower = Lower(html);
  const std::size_t tag = lower.find("<body");
  const std::size_t from = tag == std::string::npos ? std::string::npos : html.find('>', tag);
  if (from == std::string::npos) return html;
  const std::size_t to = lower.find("</body", from);
  return html.substr(from + 1, to == std::string::npos ? to : to - from - 1);
}

std::string QuotedHtml(const Item& original, const NewContent& content) {
  std::string top = BodyOf(content.html ? content.text : TextToHtml(content.text));
  top += "\r\n<hr tabindex=\"-1\" style=\"display:inline-block; width:98%\">\r\n<div id=\"divRplyFwdMsg\" dir=\"ltr\">";
  for (const auto& [name, value] : BlockOf(original))
    top += std::string("<b>") + name + ":</b> " + Escaped(value) + "<br>\r\n";
  top += "<div>&nbsp;</div>\r\n</div>\r\n";
  // The original keeps its own head: its styles are for what it says.
  std::string html = original.html.empty() ? TextToHtml(original.text) : original.html;
  const std::size_t tag = Lower(html).find("<body");
  const std::size_t at = tag == std::string::npos ? std::string::npos : html.find('>', tag);
  return at == std::string::npos ? "<html>\r\n<body>\r\n" + top + html + "</body>\r\n</html>\r\n"
                                 : html.insert(at + 1, "\r\n" + top);
}

std::string QuotedText(const Item& original, const NewContent& content) {
  std::string text = content.text + "\r\n\r\n________________________________\r\n";
  for (const auto& [name, value] : BlockOf(original)) text += std::string(name) + ": " + value + "\r\n";
  return text + "\r\n" + original.text;
}

}  // namespace

void Quote(const Item& original, const NewContent& content, Item& answer) {
  answer.html.clear();
  answer.text.clear();
  if (content.html || !original.html.empty())
    answer.html = QuotedHtml(original, content);
  else
    answer.text = QuotedText(original, content);
}

std::string AnswerSubject(const std::string& prefix, const std::string& subject) {
  return prefix + TopicOf(subject);
}

}  // namespace velmore::simulator
