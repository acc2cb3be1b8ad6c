#pragma once

// Between plain text and HTML, as far as bodies of messages need it.

#include <string>

namespace velmore::simulator {

/// Plain text of HTML, and HTML for plain text.
std::string HtmlToText(const std::string& html);
std::string TextToHtml(const std::string& text);

}  // namespace velmore::simulator
