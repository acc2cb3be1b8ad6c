#include "platform/http/internal/uVqHTTPBody.h"

#include <algorithm>
#include <utility>

namespace velmore {

void TVqHTTPBodyPieces::Append(std::string_view bytes) {
  if (FPieces.empty() && FFirst.size() + bytes.size() <= kPiece) {
    FFirst.append(bytes);
    return;
  }
  while (!bytes.empty()) {
    if (FPieces.empty() || FPieces.back().size() == kPiece) FPieces.emplace_back().reserve(kPiece);
    std::string& piece = FPieces.back();
    const std::size_t count = std::min(bytes.size(), kPiece - piece.size());
    piece.append(bytes.substr(0, count));
    bytes.remove_prefix(count);
  }
}

std::string TVqHTTPBodyPieces::Take() {
  std::string whole = std::exchange(FFirst, {});
  if (FPieces.empty()) return whole;
  std::size_t size = whole.size();
  for (const std::string& piece : FPieces) size += piece.size();
  whole.reserve(size);
  for (std::string& piece : FPieces) {
    whole.append(piece);
    std::string().swap(piece);  // an assignment would keep the memory
  }
  FPieces.clear();
  return whole;
}

}  // namespace velmore
