#pragma once

/// A growable text with a code page: what composed requests are written into.
///
///     TVqStringStream stream(kVqCodePageUtf8, 256);
///     stream.Add("<t:FieldURI FieldURI=\"").Add(uri).Add("\" />");
///     restriction.SetInnerXML(stream.GetAsString());

#include "platform/xml/uVqXMLDOM.h"

namespace velmore {

/// A text buffer that is also a stream of the text's bytes in its code page.
///
/// Owns its bytes; a copy copies them. One thread at a time. Raises EConvertError for an unknown code page. Characters
/// that the code page lacks become "?"; bytes that are no text in it become U+FFFD when read.
class TVqStringStream : public TVqMemoryStream {
 public:
  /// `AInitialCapacity` is a hint, in bytes.
  explicit TVqStringStream(std::int32_t ACodePage = kVqCodePageUtf8, std::size_t AInitialCapacity = 16);

  /// The code page of the stream's bytes.
  std::int32_t GetCodePage() const noexcept { return FCodePage; }

  /// Appends text; narrow text is in `ACodePage`.
  TVqStringStream& Add(const TVqUtf8View& AText);
  TVqStringStream& Add(std::string_view AText, std::int32_t ACodePage);
  /// The whole text; setting replaces it.
  string GetAsString() const;
  void SetAsString(const TVqUtf8View& AText);
  /// The bytes in the stream's code page.
  const std::string& GetAString() const noexcept { return FBytes; }
  /// True when there is no byte, wherever the position is.
  bool IsEmpty() const noexcept { return FBytes.empty(); }

 private:
  std::int32_t FCodePage;
};

/// Text to bytes and back. UTF-8, UTF-16 in both orders, us-ascii, ISO-8859-1 and windows-1252; others raise
/// EConvertError. No byte order mark is written or taken away.
std::string VqEncodeText(std::string_view AUtf8, std::int32_t ACodePage);
std::string VqDecodeText(std::string_view ABytes, std::int32_t ACodePage);

}  // namespace velmore
