#include "platform/common/uVqNetEncoding.h"

#include <algorithm>
#include <array>

#include "platform/common/uVqBase64_p.h"

namespace velmore {
namespace {

/// Characters of a text that are decoded in one go, and bytes that are encoded in one go: whole groups, and little
/// enough for the stack and the first-level cache.
constexpr std::size_t kTextPiece = 16384;
constexpr std::size_t kBytePiece = kTextPiece / 4 * 3;

const TVqBase64Kernel& Kernel() {
  static const TVqBase64Kernel& kernel = VqBase64Kernels().front();
  return kernel;
}

constexpr bool IsWhiteSpace(char c) noexcept {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

constexpr const char* Name(TVqBinaryEncoding encoding) noexcept {
  return encoding == TVqBinaryEncoding::beBase64 ? "base64" : "hexadecimal";
}

[[noreturn]] void RaiseCharacter(TVqBinaryEncoding encoding, char c, std::uint64_t position) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  const auto byte = static_cast<unsigned char>(c);
  std::string shown = "0x";
  shown += kDigits[byte >> 4];
  shown += kDigits[byte & 15];
  if (byte > ' ' && byte < 0x7F) shown = std::string("\"") + c + "\"";
  throw EConvertError(std::string("The text is not ") + Name(encoding) + ": unexpected " + shown + " at position " +
                      std::to_string(position) + ".");
}

[[noreturn]] void RaiseCut(TVqBinaryEncoding encoding, std::uint64_t position) {
  throw EConvertError(std::string("The text is not ") + Name(encoding) + ": it ends within a group at position " +
                      std::to_string(position) + ".");
}

std::uint8_t* Bytes(char* text) noexcept {
  return reinterpret_cast<std::uint8_t*>(text);
}
const std::uint8_t* Bytes(const char* text) noexcept {
  return reinterpret_cast<const std::uint8_t*>(text);
}

int HexValue(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/// What decoding must remember between two pieces; lives in a TVqBinaryDecoder or, for one piece, on the stack.
struct TDecoding {
  std::uint64_t& Position;
  char (&Group)[4];
  int& InGroup;
  bool& Ended;

  /// Decodes a piece; gives the end of the bytes. `out` has room for three bytes for each group that the piece begins
  /// or ends.
  char* Base64(std::string_view piece, char* out) {
    std::size_t i = 0;
    while (i < piece.size()) {
      if (InGroup == 0 && !Ended) {
        const std::size_t taken = Kernel().Decode(piece.data() + i, piece.size() - i, Bytes(out));
        out += taken / 4 * 3;
        i += taken;
        if (i == piece.size()) break;
      }
      const char c = piece[i];
      if (!IsWhiteSpace(c)) {
        // Padding stands at the third or fourth place of a group, and nothing stands behind it but more padding.
        const bool padding = c == '=';
        const bool padded = InGroup == 3 && Group[2] == '=';
        if (Ended || (padding ? InGroup < 2 : padded || VqBase64Value(c) > 63)) {
          RaiseCharacter(TVqBinaryEncoding::beBase64, c, Position + i);
        }
        Group[InGroup++] = c;
        if (InGroup == 4) out = Complete(out);
      }
      ++i;
    }
    Position += piece.size();
    return out;
  }

  char* Complete(char* out) {
    InGroup = 0;
    const auto value = [&](int at) {
      return Group[at] == '=' ? 0u : static_cast<std::uint32_t>(VqBase64Value(Group[at])) << (18 - 6 * at);
    };
    const std::uint32_t bits = value(0) | value(1) | value(2) | value(3);
    *out++ = static_cast<char>(bits >> 16);
    if (Group[2] != '=') *out++ = static_cast<char>(bits >> 8 & 0xFF);
    if (Group[3] != '=') *out++ = static_cast<char>(bits & 0xFF);
    Ended = Group[3] == '=';
    return out;
  }

  char* Hex(std::string_view piece, char* out) {
    for (std::size_t i = 0; i < piece.size(); ++i) {
      const char c = piece[i];
      if (IsWhiteSpace(c)) continue;
      if (HexValue(c) < 0) RaiseCharacter(TVqBinaryEncoding::beHex, c, Position + i);
      Group[InGroup++] = c;
      if (InGroup == 2) {
        *out++ = static_cast<char>(HexValue(Group[0]) << 4 | HexValue(Group[1]));
        InGroup = 0;
      }
    }
    Position += piece.size();
    return out;
  }
};

std::string Decoded(TVqBinaryEncoding encoding, std::string_view text) {
  std::uint64_t position = 0;
  char group[4] = {};
  int inGroup = 0;
  bool ended = false;
  TDecoding decoding{position, group, inGroup, ended};
  const bool base64 = encoding == TVqBinaryEncoding::beBase64;
  std::string bytes(base64 ? text.size() / 4 * 3 : text.size() / 2, '\0');
  const char* end = base64 ? decoding.Base64(text, bytes.data()) : decoding.Hex(text, bytes.data());
  if (inGroup != 0) RaiseCut(encoding, position);
  bytes.resize(static_cast<std::size_t>(end - bytes.data()));
  return bytes;
}

/// The last one or two bytes with their padding.
void EncodeRest(std::string_view rest, char* text) {
  char padded[3] = {};
  std::copy(rest.begin(), rest.end(), padded);
  Kernel().Encode(Bytes(padded), 3, text);
  for (std::size_t i = rest.size() + 1; i < 4; ++i) text[i] = '=';
}

/// Reads until the buffer is full or the stream at its end.
std::size_t ReadFully(TVqStream& source, char* buffer, std::size_t size) {
  std::size_t filled = 0;
  while (filled < size) {
    const std::size_t got = source.Read(buffer + filled, size - filled);
    if (got == 0) break;
    filled += got;
  }
  return filled;
}

}  // namespace

std::string VqBase64Encode(std::string_view bytes) {
  std::string text(static_cast<std::size_t>(VqBase64Length(bytes.size())), '\0');
  const std::size_t taken = Kernel().Encode(Bytes(bytes.data()), bytes.size(), text.data());
  if (taken < bytes.size()) EncodeRest(bytes.substr(taken), text.data() + taken / 3 * 4);
  return text;
}

std::string VqBase64Encode(TVqStream& source) {
  const std::uint64_t size = source.GetSize();
  const std::uint64_t position = source.GetPosition();
  std::string text;
  if (size > position) text.reserve(static_cast<std::size_t>(VqBase64Length(size - position)));
  std::array<char, kBytePiece> bytes;
  for (;;) {
    const std::size_t got = ReadFully(source, bytes.data(), bytes.size());
    const std::size_t old = text.size();
    text.resize(old + static_cast<std::size_t>(VqBase64Length(got)));
    const std::size_t taken = Kernel().Encode(Bytes(bytes.data()), got, text.data() + old);
    if (taken < got) EncodeRest({bytes.data() + taken, got - taken}, text.data() + old + taken / 3 * 4);
    if (got < bytes.size()) return text;
  }
}

void VqBase64Encode(TVqStream& source, TVqStream& target) {
  TVqBinaryEncoder encoder(TVqBinaryEncoding::beBase64, target);
  std::array<char, kBytePiece> bytes;
  while (const std::size_t got = ReadFully(source, bytes.data(), bytes.size())) encoder.Add({bytes.data(), got});
  encoder.Finish();
}

std::string VqBase64Decode(std::string_view text) {
  return Decoded(TVqBinaryEncoding::beBase64, text);
}

void VqBase64Decode(std::string_view text, TVqStream& target) {
  TVqBinaryDecoder decoder(TVqBinaryEncoding::beBase64, target);
  decoder.Add(text);
  decoder.Finish();
}

std::string VqBase64UrlEncode(std::string_view bytes) {
  std::string text = VqBase64Encode(bytes);
  while (text.ends_with('=')) text.pop_back();
  std::replace(text.begin(), text.end(), '+', '-');
  std::replace(text.begin(), text.end(), '/', '_');
  return text;
}

std::string VqBase64UrlDecode(std::string_view text) {
  std::string plain(text);
  std::size_t characters = 0;
  for (std::size_t i = 0; i < plain.size(); ++i) {
    char& c = plain[i];
    if (c == '+' || c == '/') RaiseCharacter(TVqBinaryEncoding::beBase64, c, i);
    if (c == '-') c = '+';
    if (c == '_') c = '/';
    if (!IsWhiteSpace(c)) ++characters;
  }
  // One character alone holds no byte, so that no padding makes it whole.
  if (characters % 4 > 1) plain.append(4 - characters % 4, '=');
  return VqBase64Decode(plain);
}

std::string VqHexEncode(std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text(bytes.size() * 2, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    text[2 * i] = kDigits[byte >> 4];
    text[2 * i + 1] = kDigits[byte & 15];
  }
  return text;
}

std::string VqHexDecode(std::string_view text) {
  return Decoded(TVqBinaryEncoding::beHex, text);
}

void TVqBinaryDecoder::Add(std::string_view APiece) {
  TDecoding decoding{FPosition, FGroup, FInGroup, FEnded};
  std::array<char, kBytePiece + 3> bytes;  // one group more: the one that an earlier piece began
  while (!APiece.empty()) {
    const std::string_view part = APiece.substr(0, kTextPiece);
    APiece.remove_prefix(part.size());
    const char* end = FEncoding == TVqBinaryEncoding::beBase64 ? decoding.Base64(part, bytes.data())
                                                               : decoding.Hex(part, bytes.data());
    FTarget.Write(bytes.data(), static_cast<std::size_t>(end - bytes.data()));
  }
}

void TVqBinaryDecoder::Finish() {
  if (FInGroup != 0) RaiseCut(FEncoding, FPosition);
}

void TVqBinaryEncoder::Add(std::string_view APiece) {
  if (FEncoding == TVqBinaryEncoding::beHex) {
    for (; !APiece.empty(); APiece.remove_prefix(std::min(APiece.size(), kBytePiece))) {
      FTarget.Write(VqHexEncode(APiece.substr(0, kBytePiece)));
    }
    return;
  }
  std::array<char, kTextPiece> text;
  while (FInGroup > 0 && FInGroup < 3 && !APiece.empty()) {
    FGroup[FInGroup++] = APiece.front();
    APiece.remove_prefix(1);
  }
  if (FInGroup == 3) {
    Kernel().Encode(Bytes(FGroup), 3, text.data());
    FTarget.Write(text.data(), 4);
    FInGroup = 0;
  }
  while (APiece.size() >= 3) {
    const std::size_t taken = Kernel().Encode(Bytes(APiece.data()), std::min(APiece.size(), kBytePiece), text.data());
    FTarget.Write(text.data(), taken / 3 * 4);
    APiece.remove_prefix(taken);
  }
  for (const char c : APiece) FGroup[FInGroup++] = c;
}

void TVqBinaryEncoder::Finish() {
  if (FInGroup == 0) return;
  char text[4];
  EncodeRest({FGroup, static_cast<std::size_t>(FInGroup)}, text);
  FInGroup = 0;
  FTarget.Write(text, 4);
}

TVqBytes::TVqBytes(const string& AText, bool AUnicode) {
  if (AUnicode) {
    FBytes.reserve(AText.Length() * 2);
    for (const char16_t unit : AText.view()) {
      FBytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
      FBytes.push_back(static_cast<std::uint8_t>(unit >> 8));
    }
  } else {
    const std::string utf8 = AText.utf8();
    FBytes.assign(utf8.begin(), utf8.end());
  }
}

std::string_view TVqBytes::View() const noexcept {
  return {reinterpret_cast<const char*>(FBytes.data()), FBytes.size()};
}

string TVqBytes::AsString(bool AUnicode) const {
  if (!AUnicode) return View();
  std::u16string text;
  text.reserve((FBytes.size() + 1) / 2);
  for (std::size_t i = 0; i + 1 < FBytes.size(); i += 2) {
    text += static_cast<char16_t>(FBytes[i] | FBytes[i + 1] << 8);
  }
  if (FBytes.size() % 2 != 0) text += u'\uFFFD';  // half a unit
  return text;
}

std::string TVqBytes::Encode(TVqBinaryEncoding AEncoding) const {
  return AEncoding == TVqBinaryEncoding::beBase64 ? VqBase64Encode(View()) : VqHexEncode(View());
}

TVqBytes TVqBytes::Decode(std::string_view AText, TVqBinaryEncoding AEncoding) {
  const std::string bytes = Decoded(AEncoding, AText);
  return TVqBytes(TBytes(bytes.begin(), bytes.end()));
}

}  // namespace velmore
