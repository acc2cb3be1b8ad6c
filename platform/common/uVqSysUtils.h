#pragma once

/// The root of all failures, and small text helpers.

#include <concepts>
#include <exception>

#include "platform/common/uVqTypes.h"

namespace velmore {

/// The plain exception, and the root of every failure that the library raises.
///
/// `Message()` is the text as 16-bit units, `what()` the same as UTF-8. Owns both; a copy copies the texts.
class EVqException : public std::exception {
 public:
  /// `message` is a sentence for people, without password or token.
  explicit EVqException(string message) : FMessage(std::move(message)), FWhat(FMessage.utf8()) {}

  /// The text as 16-bit units, for the library's own use and for logs.
  const string& Message() const noexcept { return FMessage; }
  /// The text as UTF-8.
  const char* what() const noexcept override { return FWhat.c_str(); }

 private:
  string FMessage;
  std::string FWhat;
};

/// A position or key that a list does not have.
class EListError : public EVqException {
 public:
  using EVqException::EVqException;
};

/// A text that does not convert to the type asked for.
class EConvertError : public EVqException {
 public:
  using EVqException::EVqException;
};

/// A stream that cannot be opened, read or written.
class EStreamError : public EVqException {
 public:
  using EVqException::EVqException;
};

/// One of the library's own conditions that does not hold: a defect, or a row that an application registered wrongly.
class EAssertionFailed : public EVqException {
 public:
  using EVqException::EVqException;
};

/// Something that this version of the library does not offer; the text says what.
class EVqNotSupported : public EVqException {
 public:
  using EVqException::EVqException;
};

/// Ends an operation without a message to the user.
class EAbort : public EVqException {
 public:
  using EVqException::EVqException;
};

/// Unicode upper and lower case, independent of the locale.
string UpperCase(const string& text);
string LowerCase(const string& text);
/// Equal without regard to case (Unicode case folding).
bool SameText(const string& a, const string& b);

/// Decimal text of an integer.
string IntToStr(std::int64_t value);

/// One argument of Format: a text or an integer of any width.
class TVqFormatArg {
 public:
  /// A text; narrow ones are UTF-8.
  TVqFormatArg(string text) : FText(std::move(text)) {}
  TVqFormatArg(const char* text) : FText(text) {}
  TVqFormatArg(const char16_t* text) : FText(text) {}
  TVqFormatArg(std::string_view text) : FText(text) {}
  TVqFormatArg(const std::string& text) : FText(text) {}
  /// A character is no number: give a text instead.
  template <std::integral T>
  requires(!std::same_as<T, bool> && !std::same_as<T, char> && !std::same_as<T, wchar_t> && !std::same_as<T, char8_t> &&
           !std::same_as<T, char16_t> && !std::same_as<T, char32_t>) TVqFormatArg(T value)
      : FText(std::to_string(value)) {}
  /// What the placeholder writes.
  const string& Text() const noexcept { return FText; }

 private:
  string FText;
};
/// A format with "%s" (text), "%d" (integer) and "%%"; each placeholder takes the next argument. "%.2d" writes at least
/// two digits. Anything else after a "%" stands for itself. Raises EConvertError when there are fewer arguments than
/// placeholders; surplus arguments are ignored.
string Format(const string& format, const std::vector<TVqFormatArg>& args);

/// A text without what stands at its two ends, as a view of the same text. What is removed differs: the blanks of HTTP,
/// which are space and TAB; the white space of XML, which has CR and LF as well; or, as string::Trim does, every
/// control.
std::string_view VqTrimBlanks(std::string_view text) noexcept;
std::string_view VqTrimSpace(std::string_view text) noexcept;
std::string_view VqTrimControls(std::string_view text) noexcept;

/// The pieces between the separators, in order and as they stand; an empty text has none, "a;" has "a" and an empty
/// one. A separator between double quotes does not count; the quotes stay in the piece.
std::vector<string> VqTokenize(const string& text, char16_t separator);
/// The text without the quotes, double or single, that enclose it, and without blanks around both. Only pairs are
/// removed: a quote at one end stays.
string VqStripLiterals(const string& text);

}  // namespace velmore
