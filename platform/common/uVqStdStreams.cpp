#include "platform/common/uVqStdStreams.h"

#include <algorithm>
#include <cstring>
#include <ios>
#include <istream>
#include <limits>
#include <ostream>

namespace velmore {
namespace {

/// What the buffer of a stream raises is the medium's failure.
template <typename TWork>
auto Guarded(const char* what, TWork work) {
  try {
    return work();
  } catch (const std::ios_base::failure& failure) {
    throw EStreamError(string(what) + " " + failure.what());
  }
}

constexpr const char* kCannotRead = "The stream cannot be read.";
constexpr const char* kCannotWrite = "The stream cannot be written.";
constexpr const char* kCannotPosition = "The stream cannot be positioned.";

[[noreturn]] void RaiseReadOnly() {
  throw EStreamError("The stream is for reading only.");
}

std::int64_t Seek(std::streambuf& buffer, std::int64_t offset, std::ios_base::seekdir from,
                  std::ios_base::openmode which) {
  return Guarded(kCannotPosition, [&] {
    return static_cast<std::int64_t>(static_cast<std::streamoff>(buffer.pubseekoff(offset, from, which)));
  });
}

/// False when the stream has no such position.
bool SeekTo(std::streambuf& buffer, std::int64_t start, std::uint64_t position, std::ios_base::openmode which) {
  if (position > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max() - start)) return false;
  return Seek(buffer, start + static_cast<std::int64_t>(position), std::ios_base::beg, which) >= 0;
}

std::size_t ReadSome(std::streambuf& buffer, char* to, std::size_t count) {
  return Guarded(kCannotRead,
                 [&] { return static_cast<std::size_t>(buffer.sgetn(to, static_cast<std::streamsize>(count))); });
}

}  // namespace

// ---- Reading

TVqInputStream::TVqInputStream(std::istream& AInput) : FBuffer(AInput.rdbuf()) {
  if (AInput.fail() || !FBuffer) throw EStreamError(kCannotRead);
  FStart = Seek(*FBuffer, 0, std::ios_base::cur, std::ios_base::in);
  if (FStart >= 0) return;
  char piece[16384];
  while (const std::size_t got = ReadSome(*FBuffer, piece, sizeof piece)) FMemory.Write(piece, got);
  FBuffer = nullptr;
}

std::size_t TVqInputStream::Read(void* buffer, std::size_t count) {
  if (!FBuffer) {
    FMemory.SetPosition(FPosition);
    const std::size_t got = FMemory.Read(buffer, count);
    FPosition += got;
    return got;
  }
  if (count == 0) return 0;
  if (FPosition != FAt) {  // behind the end, some buffers can be positioned and some not: nothing is there either way
    if (!SeekTo(*FBuffer, FStart, FPosition, std::ios_base::in)) return 0;
    FAt = FPosition;
  }
  const std::size_t got = ReadSome(*FBuffer, static_cast<char*>(buffer), count);
  FAt = FPosition += got;
  return got;
}

void TVqInputStream::Write(const void*, std::size_t) {
  RaiseReadOnly();
}

std::uint64_t TVqInputStream::GetSize() const {
  if (!FBuffer) return FMemory.GetSize();
  const std::int64_t end = Seek(*FBuffer, 0, std::ios_base::end, std::ios_base::in);
  if (end < 0 || !SeekTo(*FBuffer, FStart, FAt, std::ios_base::in)) throw EStreamError(kCannotRead);
  return static_cast<std::uint64_t>(std::max(end - FStart, std::int64_t{0}));
}

std::size_t TVqSpanStream::Read(void* buffer, std::size_t count) {
  if (count == 0 || FPosition >= FBytes.size()) return 0;
  count = std::min(count, FBytes.size() - static_cast<std::size_t>(FPosition));
  std::memcpy(buffer, FBytes.data() + FPosition, count);
  FPosition += count;
  return count;
}

void TVqSpanStream::Write(const void*, std::size_t) {
  RaiseReadOnly();
}

// ---- Writing

TVqOutputStream::TVqOutputStream(std::ostream& AOutput) : FOutput(AOutput) {
  if (AOutput.fail() || !AOutput.rdbuf()) throw EStreamError(kCannotWrite);
  FStart = Seek(*AOutput.rdbuf(), 0, std::ios_base::cur, std::ios_base::out);
}

std::size_t TVqOutputStream::Read(void*, std::size_t) {
  throw EStreamError("The stream is for writing only.");
}

void TVqOutputStream::Write(const void* buffer, std::size_t count) {
  if (count == 0) return;
  static constexpr char kZeros[4096] = {};
  while (FSize < FPosition) {  // the gap
    WriteAt(FSize, kZeros, static_cast<std::size_t>(std::min<std::uint64_t>(FPosition - FSize, sizeof kZeros)));
  }
  WriteAt(FPosition, static_cast<const char*>(buffer), count);
  FPosition += count;
}

void TVqOutputStream::WriteAt(std::uint64_t APosition, const char* ABytes, std::size_t ACount) {
  std::streambuf& buffer = *FOutput.rdbuf();
  if (APosition != FAt) {
    if (FStart < 0 || !SeekTo(buffer, FStart, APosition, std::ios_base::out)) throw EStreamError(kCannotPosition);
    FAt = APosition;
  }
  const auto count = static_cast<std::streamsize>(ACount);
  const std::streamsize written = Guarded(kCannotWrite, [&] { return buffer.sputn(ABytes, count); });
  FAt += static_cast<std::uint64_t>(written);
  FSize = std::max(FSize, FAt);
  if (written != count) throw EStreamError(kCannotWrite);
}

}  // namespace velmore
