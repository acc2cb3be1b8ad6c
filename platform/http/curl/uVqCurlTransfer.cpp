// What happens while libcurl works: its callbacks, the three time-outs, the bounds of what comes in.

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

#include "platform/http/curl/uVqCurlEngine_p.h"
#include "platform/http/curl/uVqCurlResend_p.h"

namespace velmore {

namespace {

std::int64_t Milliseconds(TVqHTTPClock::duration time) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
}

/// 0 for what is no socket of the internet.
int LocalPort(curl_socket_t socket) noexcept {
  sockaddr_storage address = {};
  socklen_t size = sizeof address;
  if (getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
  if (address.ss_family == AF_INET) return ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
  if (address.ss_family == AF_INET6) return ntohs(reinterpret_cast<const sockaddr_in6&>(address).sin6_port);
  return 0;
}

}  // namespace

CURLcode TVqCurlEngine::Drive() {
  FProgress = Clock::now();
  for (;;) {
    int running = 0;
    CURLMcode result = curl_multi_perform(FMulti, &running);
    if (result != CURLM_OK) throw EVqHTTPApiException(kVqCurlApiName, curl_multi_strerror(result), VqErrInternal);
    int left = 0;
    while (const CURLMsg* const message = curl_multi_info_read(FMulti, &left)) {
      if (message->msg == CURLMSG_DONE) return message->data.result;
    }
    if (FRaised) return CURLE_OK;
    if (FRequest->IsCancelled()) RaiseCancelled();
    CheckProgress();
    CheckStall();
    std::int64_t wait = 1000;
    if (FSent) {
      const int limit = FAllUploaded ? FRequest->TimeOuts.GetReceive() : FRequest->TimeOuts.GetSend();
      if (limit > 0) wait = std::clamp<std::int64_t>(limit - Milliseconds(Clock::now() - FProgress) + 1, 1, 1000);
    }
    if (FRequest->Deadline != Clock::time_point::max()) {
      wait = std::clamp<std::int64_t>(Milliseconds(FRequest->Deadline - Clock::now()) + 1, 1, wait);
    }
    result = curl_multi_poll(FMulti, nullptr, 0, static_cast<int>(wait), nullptr);
    if (result != CURLM_OK) throw EVqHTTPApiException("curl_multi_poll", curl_multi_strerror(result), VqErrInternal);
  }
}

// Sending makes progress with each byte that the system takes; once all are taken, the reply's limit begins to run.
void TVqCurlEngine::CheckProgress() {
  if (!FSent || FAllUploaded) return;
  curl_off_t total = 0, done = 0;
  curl_easy_getinfo(FEasy, CURLINFO_CONTENT_LENGTH_UPLOAD_T, &total);
  curl_easy_getinfo(FEasy, CURLINFO_SIZE_UPLOAD_T, &done);
  if (total <= 0 || done >= total) {
    FAllUploaded = true;
    FProgress = Clock::now();
  } else if (done != FUploaded) {
    FUploaded = done;
    FProgress = Clock::now();
  }
}

void TVqCurlEngine::CheckStall() {
  const auto now = Clock::now();
  if (now >= FRequest->Deadline) {
    throw EVqHTTPApiException(kVqCurlApiName,
                              Format("The call to \"%s\" took longer than %d ms.",
                                     {Host(), std::int64_t{FRequest->Session.Limits.TotalTime.count()}}),
                              VqErrTimeOut);
  }
  if (!FSent) return;  // connecting: libcurl's own limit
  const int limit = FAllUploaded ? FRequest->TimeOuts.GetReceive() : FRequest->TimeOuts.GetSend();
  if (limit <= 0 || now - FProgress <= std::chrono::milliseconds(limit)) return;
  throw EVqHTTPApiException(kVqCurlApiName,
                            Format(FAllUploaded ? "The server \"%s\" sent nothing for %d ms."
                                                : "The server \"%s\" took nothing of the request for %d ms.",
                                   {Host(), static_cast<std::int32_t>(limit)}),
                            VqErrTimeOut);
}

// Only what libcurl does not keep: the words of the status line, and the moment when the body begins.
std::size_t TVqCurlEngine::TakeHeader(std::string_view line) {
  FAnswered = FAnswered || FSent;
  FProgress = Clock::now();
  try {
    FHeaderBytes += line.size();
    const std::uint32_t most = FRequest->Session.Limits.HeaderBytes;
    if (most != 0 && FHeaderBytes > most) {
      throw EVqHTTPApiException(kVqCurlApiName,
                                Format("The headers of the reply of \"%s\" are longer than %d bytes.", {Host(), most}),
                                VqErrInvalidServerResponse);
    }
    const bool atEnd = line.find_first_not_of("\r\n") == std::string_view::npos;
    if (line.starts_with("HTTP/")) {
      FInHeaders = true;
      TakeStatus(line);
    } else if (atEnd && std::exchange(FInHeaders, false) && FReply.Status >= 200) {
      const bool kept = !FRequest->OnHeaders || FRequest->OnHeaders(FReply.Status);
      FIntake.Begin(Host().utf8(), HeaderOf("Content-Encoding"), FRequest->Session.Limits, kept);
    }
    return line.size();
  } catch (...) {
    FRaised = std::current_exception();
    return 0;
  }
}

void TVqCurlEngine::TakeStatus(std::string_view line) {
  ++FReplies;
  line = line.substr(0, line.find_first_of("\r\n"));
  const std::size_t space = line.find(' ');
  std::string_view rest = space == std::string_view::npos ? std::string_view() : line.substr(space + 1);
  unsigned code = 0;
  while (!rest.empty() && rest[0] >= '0' && rest[0] <= '9' && code < 1000) {
    code = code * 10 + static_cast<unsigned>(rest[0] - '0');
    rest.remove_prefix(1);
  }
  FReply.Status = static_cast<std::uint16_t>(code);
  FReply.Reason = VqTrimBlanks(rest);
}

std::size_t TVqCurlEngine::TakeBody(std::string_view bytes) {
  try {
    FIntake.Take(bytes, [this](std::string_view unpacked) {
      if (FRequest->OnBody) FRequest->OnBody(unpacked);
    });
    // After the caller's work: the time that it takes is not the server's.
    FProgress = Clock::now();
    return bytes.size();
  } catch (...) {
    FRaised = std::current_exception();
    return 0;
  }
}

// libcurl sends a request again by itself when a kept connection was closed without a byte of a reply. That is right
// only as long as the server cannot have acted on it.
bool TVqCurlEngine::MayResend() const {
  if (FResends > 0) return false;
  if (FRequest->Verb == "GET" || FRequest->Verb == "HEAD" || FRequest->Verb == "OPTIONS" || FRequest->Verb == "TRACE") {
    return true;
  }
  return FLostUnheard;
}

// The connection from this port of ours stands; the other sockets that were tried for it are gone, and their numbers
// may be somebody else's by now.
void TVqCurlEngine::KnowSocket(int port) noexcept {
  const auto found = std::find_if(FOpened.begin(), FOpened.end(), [port](auto one) { return LocalPort(one) == port; });
  if (found != FOpened.end()) FSockets.insert(FOpened.extract(found));
  FOpened.clear();
}

int TVqCurlEngine::BeforeSending(int port) {
  KnowSocket(port);
  if (FSent && !FAnswered) {
    if (!MayResend()) {
      FRefusedResend = true;
      return CURL_PREREQFUNC_ABORT;
    }
    ++FResends;
  }
  FPort = port;
  FBinding = VqEndPointBinding(FEasy);
  FBoundOrigin = Origin();
  // A proof belongs to the connection and the certificate that it was made for.
  FOtherConnection = (FLeg->Port != 0 && FLeg->Port != port) || (FLeg->Bound && FLeg->Binding != FBinding);
  if (FOtherConnection) return CURL_PREREQFUNC_ABORT;
  FSent = true;
  FAnswered = FLostUnheard = FAllUploaded = false;
  FUploaded = -1;
  FProgress = Clock::now();
  return CURL_PREREQFUNC_OK;
}

curl_socket_t TVqCurlEngine::OpenSocket(const curl_sockaddr& address) {
  const curl_socket_t opened = socket(address.family, address.socktype | SOCK_CLOEXEC, address.protocol);
  if (opened == CURL_SOCKET_BAD) return opened;
  try {
    FOpened.insert(opened);
  } catch (...) {
    close(opened);
    return CURL_SOCKET_BAD;
  }
  return opened;
}

int TVqCurlEngine::BeforeClosing(curl_socket_t socket) {
  if (FRequest && FLeg && FSent && !FAnswered) {
    curl_off_t total = 0, done = 0;
    curl_easy_getinfo(FEasy, CURLINFO_CONTENT_LENGTH_UPLOAD_T, &total);
    curl_easy_getinfo(FEasy, CURLINFO_SIZE_UPLOAD_T, &done);
    TVqLostConnection lost;
    lost.BodyTotal = static_cast<std::uint64_t>(std::max<curl_off_t>(total, 0));
    lost.BodyTaken = static_cast<std::uint64_t>(std::max<curl_off_t>(done, 0));
    lost.BodyAtHome = FLeg->BodyAtHome || (total == 0 && !FRequest->Body.empty());
    lost.Tls = FRequest->URL.starts_with("https:");
    VqAskTcp(socket, lost);
    FLostUnheard = !VqMayHaveBeenRead(lost);
  }
  FSockets.erase(socket);
  FOpened.erase(socket);
  return close(socket);
}

// Between two requests a server has nothing to say. What it says all the same would be taken for the reply to the next
// one.
bool TVqCurlEngine::HasUnreadBytes() const noexcept {
  return std::any_of(FSockets.begin(), FSockets.end(), [](curl_socket_t one) {
    char byte = 0;
    return recv(one, &byte, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
  });
}

void TVqCurlEngine::LookForCredentials(std::string_view headers) {
  if (headers.find("\r\nAuthorization: ") != std::string_view::npos) FReply.CredentialsSent = true;
  if (headers.find("\r\nProxy-Authorization: ") != std::string_view::npos) FReply.ProxyCredentialsSent = true;
  if (headers.find("\r\nProxy-Authorization: Basic ") != std::string_view::npos) FProxyBasicSent = true;
}

}  // namespace velmore
