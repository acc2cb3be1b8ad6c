#include "simulator/control/stream_trouble.h"

#include <string>

namespace velmore::simulator {

namespace {

constexpr std::chrono::milliseconds kLong{3600000};

void Replace(std::string& text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
    text.replace(at, from.size(), to);
}

/// Each write is one envelope.
class TroubledStream final : public ReplyStream {
 public:
  TroubledStream(ReplyStream& stream, const Fault& fault) : stream_(stream), fault_(fault) {}

  bool Write(std::string_view bytes) override {
    const bool silent = fault_.silent_after >= 0 && count_ >= fault_.silent_after;
    const bool over = fault_.end_after >= 0 && count_ >= fault_.end_after;
    if (silent || over) {
      Flush();
      if (!told_) Send(fault_.stream_text);
      told_ = true;
      while (silent && stream_.Wait(kLong)) {
      }
      return false;
    }
    ++count_;
    std::string envelope(bytes);
    if (!fault_.prefix.empty()) {
      for (const char* mark : {"<", "</", "xmlns:"}) {
        const std::string end = std::string_view(mark) == "xmlns:" ? "=" : ":";
        Replace(envelope, std::string(mark) + "s" + end, mark + fault_.prefix + end);
      }
    }
    held_ += fault_.before_envelope + envelope;
    if (fault_.glue > 0 && static_cast<std::size_t>(count_) % fault_.glue != 0) return true;
    return Flush();
  }
  bool Wait(std::chrono::milliseconds time) override { return stream_.Wait(time); }
  void Wake() override { stream_.Wake(); }

  bool Flush() {
    const std::string all = std::move(held_);
    held_.clear();
    return Send(all);
  }

 private:
  bool Send(const std::string& bytes) {
    const std::size_t piece = fault_.piece_size == 0 ? bytes.size() : fault_.piece_size;
    for (std::size_t at = 0; at < bytes.size(); at += piece)
      if (!stream_.Write(std::string_view(bytes).substr(at, piece))) return false;
    return true;
  }

  ReplyStream& stream_;
  const Fault& fault_;
  std::int64_t count_ = 0;
  bool told_ = false;
  std::string held_;
};

}  // namespace

StreamBody Troubled(StreamBody body, const Fault& fault) {
  return [body = std::move(body), fault](ReplyStream& stream) {
    TroubledStream troubled(stream, fault);
    body(troubled);
    troubled.Flush();
  };
}

}  // namespace velmore::simulator
