#include "simulator/mailbox/html.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <utility>

#include "simulator/types/text.h"

namespace velmore::simulator {

namespace {

void AppendUtf8(std::string& out, std::uint32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xc0 | c >> 6);
    out += static_cast<char>(0x80 | (c & 0x3f));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xe0 | c >> 12);
    out += static_cast<char>(0x80 | (c >> 6 & 0x3f));
    out += static_cast<char>(0x80 | (c & 0x3f));
  } else if (c < 0x110000) {
    out += static_cast<char>(0xf0 | c >> 18);
    out += static_cast<char>(0x80 | (c >> 12 & 0x3f));
    out += static_cast<char>(0x80 | (c >> 6 & 0x3f));
    out += static_cast<char>(0x80 | (c & 0x3f));
  }
}

/// Reads the character reference at `at` ("&amp;"); leaves `at` behind it. What is none stays as it is.
void AppendReference(const std::string& html, std::size_t& at, std::string& out) {
  static constexpr std::pair<const char*, const char*> kNames[] = {{"amp", "&"},
                                                                   {"lt", "<"},
                                                                   {"gt", ">"},
                                                                   {"quot", "\""},
                                                                   {"apos", "'"},
                                                                   {"nbsp", "\xc2\xa0"},
                                                                   {"euro", "\xe2\x82\xac"},
                                                                   {"copy", "\xc2\xa9"},
                                                                   {"ndash", "\xe2\x80\x93"},
                                                                   {"mdash", "\xe2\x80\x94"},
                                                                   {"hellip", "\xe2\x80\xa6"},
                                                                   {"auml", "\xc3\xa4"},
                                                                   {"ouml", "\xc3\xb6"},
                                                                   {"uuml", "\xc3\xbc"},
                                                                   {"szlig", "\xc3\x9f"},
                                                                   {"eacute", "\xc3\xa9"}};
  const std::size_t end = html.find(';', at);
  if (end == std::string::npos || end - at > 10) {
    out += html[at++];
    return;
  }
  const std::string name = html.substr(at + 1, end - at - 1);
  if (name.size() > 1 && name[0] == '#') {
    const bool hex = name[1] == 'x' || name[1] == 'X';
    const auto c = static_cast<std::uint32_t>(std::strtoul(name.c_str() + (hex ? 2 : 1), nullptr, hex ? 16 : 10));
    if (c != 0) {
      AppendUtf8(out, c);
      at = end + 1;
      return;
    }
  }
  for (const auto& [key, value] : kNames) {
    if (name == key) {
      out += value;
      at = end + 1;
      return;
    }
  }
  out += html[at++];
}

}  // namespace

std::string HtmlToText(const std::string& html) {
  std::string out;
  bool blank = true;  // nothing but blanks since the last line end
  std::size_t at = 0;
  const auto line_end = [&] {
    while (!out.empty() && out.back() == ' ') out.pop_back();
    if (!out.empty()) out += "\r\n";
    blank = true;
  };
  while (at < html.size()) {
    const char c = html[at];
    if (c == '<') {
      if (html.compare(at, 4, "<!--") == 0) {
        const std::size_t end = html.find("-->", at);
        at = end == std::string::npos ? html.size() : end + 3;
        continue;
      }
      const std::size_t end = html.find('>', at);
      if (end == std::string::npos) break;
      std::string tag = Lower(html.substr(at + 1, end - at - 1));
      at = end + 1;
      tag = tag.substr(0, tag.find_first_of(" \t\r\n"));
      for (const char* skipped : {"head", "style", "script", "title"}) {
        if (tag != skipped) continue;
        const std::size_t close = Lower(html).find("</" + tag, at);
        at = close == std::string::npos ? html.size() : std::min(html.find('>', close), html.size() - 1) + 1;
      }
      for (const char* breaking : {"br", "br/", "/p", "/div", "/tr", "/li", "/h1", "/h2", "/h3", "/table", "hr"})
        if (tag == breaking) line_end();
      if (tag == "li") out += "* ";
      if (tag == "/td") out += ' ';
      continue;
    }
    if (c == '&') {
      AppendReference(html, at, out);
      blank = false;
      continue;
    }
    ++at;
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
      if (!blank && !out.empty() && out.back() != ' ') out += ' ';
      continue;
    }
    out += c;
    blank = false;
  }
  while (!out.empty() && (out.back() == ' ' || out.back() == '\r' || out.back() == '\n')) out.pop_back();
  if (!out.empty()) out += "\r\n";
  return out;
}

std::string TextToHtml(const std::string& text) {
  std::string out =
      "<html>\r\n<head>\r\n<meta http-equiv=\"Content-Type\" content=\"text/html; charset=utf-8\">\r\n"
      "</head>\r\n<body>\r\n<div class=\"PlainText\">";
  for (const char c : text) {
    if (c == '<')
      out += "&lt;";
    else if (c == '>')
      out += "&gt;";
    else if (c == '&')
      out += "&amp;";
    else if (c == '\n')
      out += "<br>\r\n";
    else if (c != '\r')
      out += c;
  }
  return out + "</div>\r\n</body>\r\n</html>\r\n";
}

}  // namespace velmore::simulator
