// Pictures of an HTML text: what is taken out is named in the text, each name once, and a text that was looked through
// has nothing more to give.

#include <cstdlib>
#include <set>

#include "ews/items/uVqEWSInlineImages_p.h"
#include "fuzz/Quietly.h"
#include "platform/common/uVqClasses.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace velmore;
  const std::string html(reinterpret_cast<const char*>(data), size);
  std::set<std::string> names;
  std::uint64_t bytes = 0;
  TVqInlineImages images;
  images.TakesFile = [](const std::string& source) {
    Require(source.size() >= 5);
    return false;  // nothing of this machine
  };
  images.IsTaken = [&](const std::string& name) { return VqShowsInlineImage(html, name); };
  images.Take = [&](const string& name, const string&, std::unique_ptr<TVqStream> content) {
    Require(names.insert(name.utf8()).second);
    Require(!VqShowsInlineImage(html, name.utf8()));
    bytes += static_cast<std::uint64_t>(content->GetSize());
  };
  Quietly([&] {
    std::string output;
    if (!VqMoveInlineImages(html, output, images)) {
      Require(output.empty() && names.empty());
      return;
    }
    Require(!names.empty() && bytes <= html.size());
    for (const std::string& name : names) Require(VqShowsInlineImage(output, name));
    std::string again;
    images.IsTaken = [&](const std::string& name) { return names.contains(name); };
    const std::size_t before = names.size();
    Require(!VqMoveInlineImages(output, again, images) && names.size() == before);
  });
  return 0;
}
