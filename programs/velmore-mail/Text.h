#pragma once

// Texts of strangers for terminals and files, and short names for items.

#include <string>
#include <string_view>

#include "ews/idioms/uVqEWSRanges.h"

namespace mail {

/// What a terminal shows as it stands: characters that would steer it are replaced, line ends stay where `lines` says
/// so.
std::string Printable(const velmore::string& text, bool lines = false);
/// A text cut or filled up to so many characters.
std::string Column(const std::string& text, std::size_t width);
/// How many digits of an item's handle (VqItemHandle) are shown.
inline constexpr std::size_t kShownDigits = 10;
/// "2026-03-02 Subject handle.eml": a name that any system takes and no other item has.
std::string FileNameOf(const velmore::TVqEWSItemRow& row);
/// "3.2 MB".
std::string SizeText(std::uint64_t bytes);

/// A request that makes no sense: the program ends with 2.
class UsageError : public velmore::EVqException {
 public:
  using EVqException::EVqException;
};
/// The user pressed Ctrl+C, or the system asked the program to end: it ends with 3, and what it did stays.
class Interruption : public velmore::EVqException {
 public:
  Interruption() : EVqException("Interrupted. The same command goes on from here.") {}
};

/// From now on SIGINT and SIGTERM are noted, and CheckInterrupted raises Interruption once there was one.
void NoteSignals();
bool IsInterrupted();
void CheckInterrupted();

}  // namespace mail
