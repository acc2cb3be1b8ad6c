#pragma once

/// Streams and bytes of the standard library where an operation wants a TVqStream.
///
///     std::ofstream file("message.eml", std::ios::binary);
///     mail->SaveToStream(VqWriteTo(file));
///     attachment->LoadFromStream(VqReadFrom(std::cin));
///     inbox->ImportItem(VqReadFrom(bytes), {});                // std::span, std::vector, std::string
///
/// Write the call in the argument, as above: what it gives lives as long as the statement. The classes below it are for
/// streams that are used more than once. One thread at a time; files must be open as `std::ios::binary`.

#include <iosfwd>
#include <span>

#include "platform/common/uVqClasses.h"

namespace velmore {

/// Reads a std::istream from where it stands, which is position 0 here, to its end. Does not own it. Streams that know
/// no positions, such as pipes, are read whole at once and kept in memory. Goes straight to the stream's buffer: the
/// flags and exception masks of the stream play no part. Raises EStreamError, at once when the stream has failed
/// already (a file that was not found), and for every Write.
class TVqInputStream final : public TVqStream {
 public:
  /// `AInput` must outlive it, and nobody else may read from it meanwhile.
  explicit TVqInputStream(std::istream& AInput);

  using TVqStream::Write;
  std::size_t Read(void* buffer, std::size_t count) override;
  void Write(const void* buffer, std::size_t count) override;
  std::uint64_t GetPosition() const override { return FPosition; }
  void SetPosition(std::uint64_t AValue) override { FPosition = AValue; }
  std::uint64_t GetSize() const override;

 private:
  std::streambuf* FBuffer;      // none once everything is in memory
  std::int64_t FStart = 0;      // of position 0, as the buffer counts
  std::uint64_t FAt = 0;        // where the buffer stands, as this stream counts
  std::uint64_t FPosition = 0;  // where the next Read is to begin
  TVqMemoryStream FMemory;
};

/// Writes into a std::ostream from where it stands, which is position 0 here. Does not own it; the stream is not
/// flushed. Nothing can be read. Raises EStreamError when the stream does not take the bytes, and for a position other
/// than the end of what was written in streams that know no positions.
class TVqOutputStream final : public TVqStream {
 public:
  /// `AOutput` must outlive it, and nobody else may write into it meanwhile.
  explicit TVqOutputStream(std::ostream& AOutput);

  using TVqStream::Write;
  std::size_t Read(void* buffer, std::size_t count) override;
  void Write(const void* buffer, std::size_t count) override;
  std::uint64_t GetPosition() const override { return FPosition; }
  void SetPosition(std::uint64_t AValue) override { FPosition = AValue; }
  /// Bytes that were written so far.
  std::uint64_t GetSize() const override { return FSize; }

 private:
  void WriteAt(std::uint64_t APosition, const char* ABytes, std::size_t ACount);

  std::ostream& FOutput;
  std::int64_t FStart;          // of position 0, as the stream counts; -1 when it knows no positions
  std::uint64_t FAt = 0;        // where the stream stands, as this one counts
  std::uint64_t FPosition = 0;  // where the next Write is to begin
  std::uint64_t FSize = 0;
};

/// Reads bytes that belong to someone else and must outlive it. Raises EStreamError for every Write.
class TVqSpanStream final : public TVqStream {
 public:
  /// Costs no copy of the bytes.
  explicit TVqSpanStream(std::span<const std::byte> ABytes) noexcept : FBytes(ABytes) {}

  using TVqStream::Write;
  std::size_t Read(void* buffer, std::size_t count) override;
  void Write(const void* buffer, std::size_t count) override;
  std::uint64_t GetPosition() const override { return FPosition; }
  void SetPosition(std::uint64_t AValue) override { FPosition = AValue; }
  std::uint64_t GetSize() const override { return FBytes.size(); }

 private:
  std::span<const std::byte> FBytes;
  std::uint64_t FPosition = 0;
};

/// A stream as an argument: becomes the reference or the pointer that the operation wants, for the length of the call.
template <typename TStream>
class TVqStreamArgument {
 public:
  /// Of what the stream is made of.
  template <typename TSource>
  explicit TVqStreamArgument(TSource& ASource) : FStream(ASource) {}
  TVqStreamArgument(const TVqStreamArgument&) = delete;
  TVqStreamArgument& operator=(const TVqStreamArgument&) = delete;

  /// The stream. It goes with this object.
  operator TVqStream&() && noexcept { return FStream; }
  operator TVqStream*() && noexcept { return &FStream; }

 private:
  TStream FStream;
};

/// What an operation is to read: a stream from where it stands, or bytes in memory, which are not copied.
inline TVqStreamArgument<TVqInputStream> VqReadFrom(std::istream& AInput) {
  return TVqStreamArgument<TVqInputStream>(AInput);
}
inline TVqStreamArgument<TVqSpanStream> VqReadFrom(std::span<const std::byte> ABytes) {
  return TVqStreamArgument<TVqSpanStream>(ABytes);
}
inline TVqStreamArgument<TVqSpanStream> VqReadFrom(std::span<const std::uint8_t> ABytes) {
  return VqReadFrom(std::as_bytes(ABytes));
}
inline TVqStreamArgument<TVqSpanStream> VqReadFrom(std::string_view ABytes) {
  return VqReadFrom(std::as_bytes(std::span(ABytes)));
}
/// Where an operation is to write to.
inline TVqStreamArgument<TVqOutputStream> VqWriteTo(std::ostream& AOutput) {
  return TVqStreamArgument<TVqOutputStream>(AOutput);
}

}  // namespace velmore
