#include "platform/soap/uVqSOAPStreamCutter.h"

#include <algorithm>
#include <cstring>

namespace velmore {
namespace {

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool IsEnvelope(std::string_view name) {
  constexpr std::string_view kName = "envelope";
  if (name.size() != kName.size()) return false;
  for (std::size_t i = 0; i < kName.size(); ++i) {
    const char c = name[i] >= 'A' && name[i] <= 'Z' ? static_cast<char>(name[i] - 'A' + 'a') : name[i];
    if (c != kName[i]) return false;
  }
  return true;
}

}  // namespace

/// Goes on from where it stopped. True when the envelope ends in front of FScan.
bool TVqSOAPStreamCutter::FindEnd() {
  const char* bytes = FBytes.data();
  const std::size_t size = FBytes.size();
  std::size_t at = FScan;
  // To the next such byte, or to the end of what there is.
  const auto skipTo = [&](char c) {
    const void* found = at < size ? std::memchr(bytes + at, c, size - at) : nullptr;
    at = found ? static_cast<std::size_t>(static_cast<const char*>(found) - bytes) : size;
    return found != nullptr;
  };
  while (at < size) {
    switch (FState) {
      case TState::Lead:
        if (skipTo('<')) FState = TState::Text;
        FStart = at;
        break;
      case TState::Text:
        if (!skipTo('<')) break;
        ++at;
        FState = TState::Tag;
        break;
      case TState::Tag:
        while (at < size && bytes[at] != '/' && bytes[at] != '>') ++at;
        if (at == size) break;
        FState = bytes[at] == '/' ? TState::Blanks : TState::Text;
        ++at;
        break;
      case TState::Blanks:
        while (at < size && IsBlank(bytes[at])) ++at;
        if (at == size) break;
        FName = at;
        FPrefix = false;
        FState = TState::Name;
        break;
      case TState::Name:
        for (; at < size && bytes[at] != '>' && !IsBlank(bytes[at]); ++at) {
          if (bytes[at] != ':' || FPrefix) continue;
          FPrefix = true;
          FName = at + 1;
        }
        if (at < size) FState = IsEnvelope({bytes + FName, at - FName}) ? TState::End : TState::Text;
        break;
      case TState::End:
        if (!skipTo('>')) break;
        FScan = at + 1;
        return true;
    }
  }
  FScan = at;
  return false;
}

std::optional<std::string> TVqSOAPStreamCutter::Look() {
  std::optional<std::string> envelope;
  FLook = FindEnd();  // behind an envelope there may be another one
  if (FLook) {
    FState = TState::Lead;
    if (FStart == 0 && FScan == FBytes.size()) {
      envelope = std::move(FBytes);
      FBytes.clear();
    } else {
      envelope.emplace(FBytes, FStart, FScan - FStart);
    }
    FStart = FScan = std::min(FScan, FBytes.size());
    FLook = !FBytes.empty();
  }
  // What was taken or dropped leaves when it is the larger part, so that a byte is moved once in the mean.
  if (FStart > FBytes.size() / 2) {
    FBytes.erase(0, FStart);
    FScan -= FStart;
    FName -= std::min(FName, FStart);
    FStart = 0;
  }
  return envelope;
}

void TVqSOAPStreamCutter::Clear() noexcept {
  FBytes.clear();
  FStart = FScan = FName = 0;
  FState = TState::Lead;
  FLook = false;
}

void TVqSOAPStreamCutter::RaiseTooLong() {
  Clear();
  throw EVqSOAPStreamTooLong("The stream of envelopes was ended: more than " +
                             IntToStr(static_cast<std::int64_t>(FLimit)) +
                             " bytes without an envelope that could be taken.");
}

}  // namespace velmore
