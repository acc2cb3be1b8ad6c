#include "programs/velmore-mail/Text.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdio>

#include "ews/idioms/uVqEWSFileNames.h"
#include "ews/schema/uVqEWSPropsFLD.h"

namespace mail {

using velmore::string;

namespace {

std::atomic<bool> signalled{false};

/// Where the character at a position begins: continuation bytes belong to the one before.
bool Begins(char c) {
  return (static_cast<unsigned char>(c) & 0xC0u) != 0x80u;
}

}  // namespace

std::string Printable(const string& text, bool lines) {
  std::u16string shown;
  for (const char16_t c : text) {
    const bool line = c == u'\n' || c == u'\t';
    // Besides the two sets of control characters, those that turn the direction of what stands around them.
    const bool steers =
        c < u' ' || (c >= 0x7F && c < 0xA0) || (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
    if (line && lines) {
      shown += c;
    } else if (c != u'\r' || !lines) {
      shown += line ? u' ' : steers ? u'\xFFFD' : c;
    }
  }
  return string(std::move(shown)).utf8();
}

std::string Column(const std::string& text, std::size_t width) {
  std::size_t characters = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (Begins(text[i]) && ++characters == width) return text.substr(0, i) + ' ';
  }
  return text + std::string(width - characters, ' ');
}

std::string FileNameOf(const velmore::TVqEWSItemRow& row) {
  const string day = row[velmore::FLD_ITEM_DATETIMERECEIVED].GetAsString().Copy(0, 10);
  const string subject = row[velmore::FLD_ITEM_SUBJECT].GetAsString().Copy(0, 60).Trim();
  return velmore::VqItemFileName(row.Id(), (day.empty() ? string("0000-00-00") : day) + " " + subject).utf8();
}

std::string SizeText(std::uint64_t bytes) {
  std::array<char, 32> text{};
  const char* units[] = {"bytes", "KB", "MB", "GB", "TB"};
  double number = static_cast<double>(bytes);
  std::size_t unit = 0;
  for (; number >= 1000 && unit + 1 < std::size(units); ++unit) number /= 1000;
  std::snprintf(text.data(), text.size(), unit == 0 ? "%.0f %s" : "%.1f %s", number, units[unit]);
  return text.data();
}

void NoteSignals() {
  struct sigaction noted {};
  noted.sa_handler = [](int) { signalled = true; };
  // Without SA_RESTART, so that a question on the terminal ends with the signal.
  for (const int signal : {SIGINT, SIGTERM}) ::sigaction(signal, &noted, nullptr);
}

bool IsInterrupted() {
  return signalled;
}

void CheckInterrupted() {
  if (signalled) throw Interruption();
}

}  // namespace mail
