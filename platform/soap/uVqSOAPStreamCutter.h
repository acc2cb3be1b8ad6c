#pragma once

/// Cuts a stream of bytes that never ends into SOAP envelopes.
///
///     TVqSOAPStreamCutter cutter;
///     cutter.Add(bytes);                          // whatever came, however it was cut on the way
///     while (std::optional<std::string> envelope = cutter.Take()) Read(*envelope);
///
/// An envelope begins at the first "<" and ends with the closing tag whose name is "Envelope", behind whatever prefix
/// and in whatever case; a declaration between two envelopes belongs to the second. Bytes before the first "<" are
/// dropped. Tags are told by their characters alone: nothing is decoded, and comments are no exception. What comes out
/// need not be XML.
///
/// Knows no socket and no thread, and talks to nobody.

#include <cstdint>
#include <optional>

#include "platform/common/uVqSysUtils.h"

namespace velmore {

/// More bytes than the limit without an envelope that could be taken. Whoever gets it ends the connection.
class EVqSOAPStreamTooLong : public EVqException {
 public:
  using EVqException::EVqException;
};

/// Takes bytes in and gives envelopes out. Owns the bytes that were added and not taken yet, and nothing else; a copy
/// copies them. One thread at a time.
///
/// Each byte is looked at once, whatever the pieces in which the bytes come, and moved a constant number of times,
/// whatever the number of envelopes that came together.
class TVqSOAPStreamCutter {
 public:
  /// Far above what a server sends in one envelope.
  static constexpr std::size_t kDefaultLimit = std::size_t{64} << 20;

  /// `ALimit` is the number of bytes that are held at most.
  explicit TVqSOAPStreamCutter(std::size_t ALimit = kDefaultLimit) noexcept : FLimit(ALimit) {}

  /// Changes the limit for what is added from now on.
  void SetLimit(std::size_t AValue) noexcept { FLimit = AValue; }
  /// The limit in bytes.
  std::size_t GetLimit() const noexcept { return FLimit; }

  /// Adds the next bytes of the stream. Raises EVqSOAPStreamTooLong when more than the limit would have to be held, and
  /// drops everything then.
  void Add(std::string_view ABytes) {
    if (ABytes.size() > FLimit || Held() > FLimit - ABytes.size()) RaiseTooLong();
    if (ABytes.size() > kSmall) {
      FBytes.append(ABytes);
      FLook = true;
      return;
    }
    // Only a ">" can complete an envelope, so that most small pieces need no more than to be kept.
    bool look = FState == TState::Lead;
    for (const char c : ABytes) {
      FBytes.push_back(c);
      look |= c == '>';
    }
    FLook |= look;
  }
  /// The next envelope, from its first "<" to the end of its closing tag, or nothing when none is complete.
  std::optional<std::string> Take() {
    if (!FLook) return {};
    return Look();
  }

  /// Bytes that were added and not taken or dropped yet.
  std::size_t Held() const noexcept { return FBytes.size() - FStart; }
  /// Drops everything, as for a new connection.
  void Clear() noexcept;

 private:
  /// What the next byte is looked at for.
  enum class TState : std::uint8_t {
    Lead,    // the first "<"
    Text,    // the next "<"
    Tag,     // "/" or ">"
    Blanks,  // behind "/", what is no blank
    Name,    // the end of the name behind "/"
    End      // the ">" of the tag that ends the envelope
  };
  static constexpr std::size_t kSmall = 16;

  std::optional<std::string> Look();
  bool FindEnd();
  [[noreturn]] void RaiseTooLong();

  std::string FBytes;
  std::size_t FLimit;
  std::size_t FStart = 0;  // of the envelope, or of what was not looked at yet
  std::size_t FScan = 0;   // the next byte to look at
  std::size_t FName = 0;   // of the tag's name, its prefix left out
  TState FState = TState::Lead;
  bool FPrefix = false;  // the name had its colon
  bool FLook = false;    // bytes came that may complete an envelope
};

}  // namespace velmore
