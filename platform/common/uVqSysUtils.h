#pragma once

/// The root of all failures, and small text helpers.

#include <chrono>
#include <concepts>
#include <exception>
#include <optional>

#include "platform/common/uVqTypes.h"

namespace velmore {

/// The plain exception, and the root of every failure that the library raises.
///
/// `Message()` is the text as 16-bit units, `what()` the same as UTF-8. Owns both; a copy copies the texts. What a
/// handler asks besides, each class answers as far as it knows:
///
///     catch (const EVqException& failure) {
///       if (!failure.SessionUsable()) throw;                             // nothing helps but another logon
///       std::this_thread::sleep_for(failure.RetryAfter());
///       if (failure.MayHaveHappened()) LookBeforeRepeating();
///     }
class EVqException : public std::exception {
 public:
  /// `message` is a sentence for people, without password or token.
  explicit EVqException(string message) : FMessage(std::move(message)), FWhat(FMessage.utf8()) {}

  /// The text as 16-bit units, for the library's own use and for logs.
  const string& Message() const noexcept { return FMessage; }
  /// The text as UTF-8.
  const char* what() const noexcept override { return FWhat.c_str(); }

  // ---- What a handler asks

  /// The HTTP status of the reply that told of the failure; 0 where there was no reply, or where it does not matter.
  virtual std::int32_t HTTPStatus() const noexcept { return 0; }
  /// The service's own code, such as "ErrorItemNotFound"; empty where the service said none. See VqResponseCode, which
  /// looks into nested failures as well.
  virtual const string& ResponseCode() const noexcept;
  /// How long the server asks to be left alone; 0 when it does not say.
  virtual std::chrono::milliseconds RetryAfter() const noexcept { return {}; }
  /// Whether what was asked for may have been carried out all the same: look before you repeat it. True only for what
  /// would change something; what only reads may always be repeated.
  bool MayHaveHappened() const noexcept { return FMayHaveHappened.value_or(LeavesOpen()); }
  /// Whether the next request may succeed. False when every one meets the same until the application does something:
  /// logs on, gives another password or token, trusts the server, mends the address.
  bool SessionUsable() const noexcept { return !FSessionUnusable && LeavesSessionUsable(); }

  // ---- For the layers that a failure passes on its way, and that know more than the one that raised it

  /// Answers MayHaveHappened in place of the class.
  EVqException& NoteMayHaveHappened(bool value) noexcept {
    FMayHaveHappened = value;
    return *this;
  }
  /// No request can succeed from now on.
  EVqException& NoteSessionUnusable() noexcept {
    FSessionUnusable = true;
    return *this;
  }

 protected:
  /// What the two questions are answered with when nobody noted anything: nothing was sent, and nothing is wrong with
  /// the session.
  virtual bool LeavesOpen() const noexcept { return false; }
  virtual bool LeavesSessionUsable() const noexcept { return true; }

 private:
  string FMessage;
  std::string FWhat;
  std::optional<bool> FMayHaveHappened;
  bool FSessionUnusable = false;
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
