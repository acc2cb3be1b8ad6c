// A MIME message of any kind is read into an item, and what is written of that item can be read again.

#include "simulator/mailbox/mime.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace velmore::simulator;
  const auto mime = std::make_shared<const std::string>(reinterpret_cast<const char*>(data), size);
  const auto item = ImportMime(mime, 1772445600);
  if (!item) __builtin_trap();
  static_cast<void>(HeadersElement(HeaderBlock(*mime)));
  static_cast<void>(TextToHtml(HtmlToText(*mime)));
  const auto again = std::make_shared<const std::string>(BuildMime(*item, true));
  if (!ImportMime(again, 1772445600)) __builtin_trap();
  return 0;
}
