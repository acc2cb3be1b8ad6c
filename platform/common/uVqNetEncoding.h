#pragma once

/// Bytes as text and back: base64 (RFC 4648, with its URL form) and hexadecimal, at once and in pieces.
///
///     std::string text = VqBase64Encode(bytes);
///     VqBase64Decode(text, file);              // into a stream, whatever the size
///
/// Decoding skips blanks, tabs and line breaks and refuses everything else, naming its place: the position in the text,
/// counted in bytes from 0 and over all pieces. A text that ends within a group is refused, too, since it was cut
/// somewhere. All functions raise EConvertError for a text and EStreamError for a stream, and may be called from any
/// thread.

#include "platform/common/uVqClasses.h"

namespace velmore {

/// How bytes are written as text.
enum class TVqBinaryEncoding { beBase64, beHex };

/// Length of the base64 text of that many bytes, padding included.
constexpr std::uint64_t VqBase64Length(std::uint64_t bytes) noexcept {
  return (bytes + 2) / 3 * 4;
}

/// One line of base64 with padding.
std::string VqBase64Encode(std::string_view bytes);
/// The same for everything from the stream's position to its end. Needs no more memory than the text.
std::string VqBase64Encode(TVqStream& source);
/// The same into a stream. Needs little memory, the same for every size.
void VqBase64Encode(TVqStream& source, TVqStream& target);
/// The bytes of a base64 text, in one line or many.
std::string VqBase64Decode(std::string_view text);
/// Decodes into a stream. Needs little memory, the same for every size. When it raises, some of the bytes before the
/// place may have been written.
void VqBase64Decode(std::string_view text, TVqStream& target);

/// The alphabet for URLs and file names ("-" and "_"), without padding, as tokens and code verifiers have it.
std::string VqBase64UrlEncode(std::string_view bytes);
/// Padding may be there or not.
std::string VqBase64UrlDecode(std::string_view text);

/// Two digits per byte, upper case.
std::string VqHexEncode(std::string_view bytes);
/// Digits in either case.
std::string VqHexDecode(std::string_view text);

/// Decodes a text that comes in pieces, cut anywhere, into a stream. Holds a reference to the stream and a few
/// kilobytes of its own; no copies; one thread at a time. After a failure it is of no further use.
class TVqBinaryDecoder {
 public:
  /// `ATarget` must outlive the decoder.
  TVqBinaryDecoder(TVqBinaryEncoding AEncoding, TVqStream& ATarget) : FEncoding(AEncoding), FTarget(ATarget) {}
  TVqBinaryDecoder(const TVqBinaryDecoder&) = delete;
  TVqBinaryDecoder& operator=(const TVqBinaryDecoder&) = delete;

  /// The next piece of the text.
  void Add(std::string_view APiece);
  /// Says that the text ends here. Raises EConvertError when it ends within a group.
  void Finish();

 private:
  TVqBinaryEncoding FEncoding;
  TVqStream& FTarget;
  std::uint64_t FPosition = 0;  // in the text
  char FGroup[4] = {};          // what has come of the group that is not complete
  int FInGroup = 0;
  bool FEnded = false;  // padding was there: nothing but white space may follow
};

/// Encodes bytes that come in pieces, cut anywhere, into a stream. The same contract as TVqBinaryDecoder.
class TVqBinaryEncoder {
 public:
  /// `ATarget` must outlive the encoder.
  TVqBinaryEncoder(TVqBinaryEncoding AEncoding, TVqStream& ATarget) : FEncoding(AEncoding), FTarget(ATarget) {}
  TVqBinaryEncoder(const TVqBinaryEncoder&) = delete;
  TVqBinaryEncoder& operator=(const TVqBinaryEncoder&) = delete;

  /// The next piece of the bytes.
  void Add(std::string_view APiece);
  /// Writes the last group with its padding. The encoder is then as new.
  void Finish();

 private:
  TVqBinaryEncoding FEncoding;
  TVqStream& FTarget;
  char FGroup[3] = {};
  int FInGroup = 0;
};

/// A sequence of bytes, and its conversions from and to text. Owns the bytes; a copy copies them; one thread at a time.
class TVqBytes {
 public:
  TVqBytes() noexcept = default;
  /// Takes the bytes over.
  explicit TVqBytes(TBytes ABytes) noexcept : FBytes(std::move(ABytes)) {}
  /// The bytes of a text: UTF-16 with the low byte first if `AUnicode`, else UTF-8.
  explicit TVqBytes(const string& AText, bool AUnicode = false);

  /// The bytes. Valid until the sequence changes or is destroyed.
  const TBytes& Bytes() const noexcept { return FBytes; }
  std::string_view View() const noexcept;
  /// Whether there are bytes, and how many.
  bool empty() const noexcept { return FBytes.empty(); }
  std::size_t size() const noexcept { return FBytes.size(); }

  /// The text whose bytes these are; the inverse of the constructor. What is malformed reads as U+FFFD.
  string AsString(bool AUnicode = false) const;
  /// The bytes as base64 or hexadecimal digits, in one line.
  std::string Encode(TVqBinaryEncoding AEncoding = TVqBinaryEncoding::beBase64) const;
  /// Raises EConvertError with the place.
  static TVqBytes Decode(std::string_view AText, TVqBinaryEncoding AEncoding = TVqBinaryEncoding::beBase64);

  friend bool operator==(const TVqBytes&, const TVqBytes&) = default;

 private:
  TBytes FBytes;
};

}  // namespace velmore
