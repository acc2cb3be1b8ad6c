#pragma once

/// The small values of the HTTP layer: credentials, limits, flags, status, headers, and its exceptions.
///
///     client->GetCredentials().SetUserName("CONTOSO\\anna");
///     client->GetTimeOuts().SetReceive(120000);                                      // milliseconds
///     client->SetSecurityFlags({TVqHTTPSecurityFlag::IgnoreInvalidCommonName});       // lifts one check, no other
///
/// Nothing here talks to a server. Every class is a plain value: it owns what it holds, a copy copies its texts, one
/// thread at a time uses it, and nothing raises unless the operation says so.

#include <chrono>
#include <initializer_list>

#include "platform/common/uVqSecret.h"
#include "platform/common/uVqSysUtils.h"

namespace velmore {

/// A window of the surrounding system; 0 is none. Where there are no windows, any other number serves to say
/// "there is a desktop".
using TVqWindowHandle = std::uintptr_t;

/// The verb of a request. The numbers of `get` and `post` are part of the contract.
enum class TVqHTTPVerb : std::uint8_t {
  none = 0,
  options = 1,
  trace = 2,
  connect = 3,
  get = 4,
  head = 5,
  post = 6,
  put = 7,
  remove = 8,  // DELETE
  patch = 9,
};
/// The verb as it stands on the request line ("GET"); empty for `none`.
std::string_view VqHTTPVerbText(TVqHTTPVerb AVerb) noexcept;

/// How a client authenticates. The numbers are part of the contract.
enum class TVqHTTPAuthentication : std::uint8_t {
  anonymous = 0,    ///< no credentials are sent, whatever the server asks for
  byChallenge = 1,  ///< what the server offers: Negotiate, NTLM, Basic, in this order. The default
  basic = 2,        ///< Basic only, sent without waiting for a challenge
  ntlm = 3,         ///< NTLM only
  negotiate = 4,    ///< Negotiate (Kerberos) only
  oAuth = 6,        ///< the access token of the client's TVqOAuth
};

/// The protocol version of requests; HTTP 1.1 is value 1.
enum class TVqHTTPVersion : std::uint8_t { http10 = 0, http11 = 1 };

/// How a session reaches servers.
enum class TVqHTTPAccessType : std::uint8_t {
  preConfig,  ///< as the machine is configured: on Windows its proxy settings, elsewhere the variables http_proxy,
              ///< https_proxy and no_proxy
  direct,     ///< never through a proxy
  proxy,      ///< through the session's ProxyServer, except for hosts of its ProxyServerBypass
};
/// The name of the enumerator: "preConfig", "direct", "proxy".
string VqHTTPAccessTypeText(TVqHTTPAccessType AValue);
/// The enumerator of a name, without regard to case; false, and nothing changed, when there is none.
bool VqTryHTTPAccessType(const string& AText, TVqHTTPAccessType& AValue);

/// The lowest version of TLS that a session accepts.
enum class TVqHTTPTlsVersion : std::uint8_t { tls10, tls11, tls12, tls13 };

/// The "Connection" header of requests.
enum class TVqHTTPConnectionHeader : std::uint8_t {
  none,      ///< no header: the connection is kept, as HTTP 1.1 has it
  close,     ///< "close": each request has a connection of its own
  keepAlive  ///< "Keep-Alive"
};

/// One check of a server's certificate that can be lifted; the enumerator is the number of its bit.
enum class TVqHTTPSecurityFlag : std::uint8_t {
  IgnoreInvalidCertDate = 0,    ///< expired or not yet valid
  IgnoreUnknownCA = 1,          ///< an issuer that is not trusted, or self-signed
  IgnoreInvalidCommonName = 2,  ///< made out to another host
  IgnoreRevocation = 3,         ///< on a revocation list, or no list of its issuer at hand
  IgnoreWrongUsage = 4,         ///< not made for servers. For the WinHTTP client only
};

/// A set of TVqHTTPSecurityFlag, one byte. Each member lifts one check and no other.
class TVqHTTPSecurityFlags {
 public:
  constexpr TVqHTTPSecurityFlags() noexcept = default;
  /// The checks to lift; none without arguments.
  constexpr TVqHTTPSecurityFlags(std::initializer_list<TVqHTTPSecurityFlag> AFlags) noexcept {
    for (const TVqHTTPSecurityFlag flag : AFlags) FBits |= Bit(flag);
  }
  /// The set of the lowest five bits of `ABits`; others are dropped.
  static constexpr TVqHTTPSecurityFlags FromBits(std::uint8_t ABits) noexcept {
    TVqHTTPSecurityFlags flags;
    flags.FBits = ABits & 0x1F;
    return flags;
  }

  /// The set as a byte, an enumerator being the number of its bit.
  constexpr std::uint8_t Bits() const noexcept { return FBits; }
  /// True when no check is lifted.
  constexpr bool Empty() const noexcept { return FBits == 0; }
  /// True when this check is lifted.
  constexpr bool Contains(TVqHTTPSecurityFlag AFlag) const noexcept { return (FBits & Bit(AFlag)) != 0; }
  /// Lifts a check, or asks for it again.
  constexpr void Include(TVqHTTPSecurityFlag AFlag) noexcept { FBits |= Bit(AFlag); }
  constexpr void Exclude(TVqHTTPSecurityFlag AFlag) noexcept { FBits &= static_cast<std::uint8_t>(~Bit(AFlag)); }

  /// The set with one more check lifted, or one less.
  friend constexpr TVqHTTPSecurityFlags operator+(TVqHTTPSecurityFlags ASet, TVqHTTPSecurityFlag AFlag) noexcept {
    ASet.Include(AFlag);
    return ASet;
  }
  friend constexpr TVqHTTPSecurityFlags operator-(TVqHTTPSecurityFlags ASet, TVqHTTPSecurityFlag AFlag) noexcept {
    ASet.Exclude(AFlag);
    return ASet;
  }
  friend constexpr bool operator==(TVqHTTPSecurityFlags, TVqHTTPSecurityFlags) noexcept = default;

 private:
  static constexpr std::uint8_t Bit(TVqHTTPSecurityFlag AFlag) noexcept {
    return static_cast<std::uint8_t>(1U << static_cast<unsigned>(AFlag));
  }

  std::uint8_t FBits = 0;
};

/// Bounds that stop a hostile server before memory and patience run out. 0 is no bound. Exceeding one raises
/// EVqHTTPApiException with a text of its own: 12152, and 12002 for the time. The client stays usable, on a new
/// connection.
struct TVqHTTPLimits {
  /// Bytes of a reply's body as they come in, packed or not. A reply that a data event takes is not counted.
  std::uint64_t ReplyBytes = std::uint64_t{512} << 20;
  /// The same when unpacked; of a reply that a data event takes, what the event leaves standing.
  std::uint64_t UnpackedBytes = std::uint64_t{1} << 30;
  /// How many times its size a packed reply may unpack to, once it unpacks to more than the floor.
  std::uint32_t UnpackRatio = 100;
  std::uint64_t UnpackRatioFloor = std::uint64_t{64} << 20;
  /// Bytes of all header lines that come in for one request, those of a handshake's steps and of the proxy included. A
  /// single line is bounded at 100 KiB besides.
  std::uint32_t HeaderBytes = 128U << 10;
  /// From the beginning of a call to the last byte of its reply, handshakes included.
  std::chrono::milliseconds TotalTime{0};
  /// How many units of each of the server's texts an exception takes over; the rest becomes "...".
  std::uint32_t TextLength = 4096;

  friend bool operator==(const TVqHTTPLimits&, const TVqHTTPLimits&) = default;
};

/// User name and password. The name is "user", "DOMAIN\user" or "user@domain"; a separate domain is put before a name
/// that has none.
class TVqCredentials {
 public:
  /// The name in one of its three forms; empty at first.
  const string& GetUserName() const noexcept { return FUserName; }
  void SetUserName(const string& AValue) { FUserName = AValue; }
  /// Held once for all copies of these credentials and overwritten when the last one goes; never part of a message, a
  /// record of an exchange or a dump.
  const string& GetPassword() const noexcept { return FPassword.Text(); }
  void SetPassword(const string& AValue) { FPassword = TVqSecret(AValue); }
  /// For a name without a domain of its own; empty as a rule.
  const string& GetDomain() const noexcept { return FDomain; }
  void SetDomain(const string& AValue) { FDomain = AValue; }

  /// Takes over all three, or empties them.
  void Assign(const TVqCredentials& ASource) { *this = ASource; }
  void Clear() { *this = TVqCredentials(); }
  /// True when there is neither a user name nor a password.
  bool Empty() const noexcept { return FUserName.empty() && FPassword.empty(); }
  /// The name as it is sent: "DOMAIN\user" when there is a domain and the name has none of its own.
  string GetLogonName() const;

  friend bool operator==(const TVqCredentials&, const TVqCredentials&) = default;

 private:
  string FUserName;
  TVqSecret FPassword;
  string FDomain;
};

/// Three separate limits in milliseconds; 0 is no limit. Reaching one raises EVqHTTPApiException 12002.
class TVqHTTPTimeOuts {
 public:
  /// The limits of a client that was told nothing: 60, 30 and 30 seconds.
  constexpr TVqHTTPTimeOuts() noexcept = default;
  /// All three at once.
  constexpr TVqHTTPTimeOuts(std::int32_t AConnect, std::int32_t ASend, std::int32_t AReceive) noexcept
      : FConnect(AConnect), FSend(ASend), FReceive(AReceive) {}

  /// For name look-up, connection and TLS handshake together.
  std::int32_t GetConnect() const noexcept { return FConnect; }
  void SetConnect(std::int32_t AValue) noexcept { FConnect = AValue; }
  /// How long the request may go out without progress.
  std::int32_t GetSend() const noexcept { return FSend; }
  void SetSend(std::int32_t AValue) noexcept { FSend = AValue; }
  /// How long the reply may make no progress: a reply that keeps coming may take for ever.
  std::int32_t GetReceive() const noexcept { return FReceive; }
  void SetReceive(std::int32_t AValue) noexcept { FReceive = AValue; }

  /// Takes over all three.
  void Assign(const TVqHTTPTimeOuts& ASource) noexcept { *this = ASource; }
  friend constexpr bool operator==(const TVqHTTPTimeOuts&, const TVqHTTPTimeOuts&) noexcept = default;

 private:
  std::int32_t FConnect = 60000;
  std::int32_t FSend = 30000;
  std::int32_t FReceive = 30000;
};

/// Headers that every request of a client carries.
class TVqHTTPRequestHeaders {
 public:
  /// "Accept"; empty accepts every type.
  const string& GetAccept() const noexcept { return FAccept; }
  void SetAccept(const string& AValue) { FAccept = AValue; }
  /// The "Connection" header; none at first.
  TVqHTTPConnectionHeader GetConnection() const noexcept { return FConnection; }
  void SetConnection(TVqHTTPConnectionHeader AValue) noexcept { FConnection = AValue; }

  /// Takes over both.
  void Assign(const TVqHTTPRequestHeaders& ASource) { *this = ASource; }

 private:
  string FAccept;
  TVqHTTPConnectionHeader FConnection = TVqHTTPConnectionHeader::none;
};

/// The status of a reply, such as 200 and "OK".
struct TVqHTTPStatus {
  /// The number, and the words after it, which servers choose as they like.
  std::uint16_t Code = 0;
  string Text;
};

/// Numbers of API errors, the same with every engine. docs/errors.md tells what to do about those that are met.
enum TVqHTTPErrorNumber : std::uint32_t {
  VqErrCancelled = 6,  // the handle of the request was closed under it
  VqErrNotEnoughMemory = 8,
  VqErrWriteFault = 29,
  VqErrReadFault = 30,
  VqErrNotSupported = 50,
  VqErrInvalidParameter = 87,
  VqErrOutOfHandles = 12001,
  VqErrTimeOut = 12002,
  VqErrInternal = 12004,
  VqErrInvalidUrl = 12005,
  VqErrUnrecognizedScheme = 12006,
  VqErrNameNotResolved = 12007,
  VqErrInvalidOption = 12009,
  VqErrIncorrectUserName = 12013,
  VqErrIncorrectPassword = 12014,
  VqErrLoginFailure = 12015,
  VqErrInvalidOperation = 12016,
  VqErrOperationCancelled = 12017,
  VqErrCannotConnect = 12029,
  VqErrConnectionAborted = 12030,
  VqErrConnectionReset = 12031,
  VqErrCertDateInvalid = 12037,
  VqErrCertCommonNameInvalid = 12038,
  VqErrClientCertificateNeeded = 12044,
  VqErrInvalidCA = 12045,
  VqErrRevocationCheckFailed = 12057,
  VqErrInvalidServerResponse = 12152,
  VqErrRedirectFailed = 12156,
  VqErrSecureChannel = 12157,
  VqErrInvalidCertificate = 12169,
  VqErrCertRevoked = 12170,
  VqErrSecureFailure = 12175,
  VqErrCertWrongUsage = 12179,
};

// What a status, or an API error number, tells of the request that met it. Neither range has a number of the other.

/// Whether the request may have been carried out: the server, or something in between, broke off after it had gone out.
bool VqHTTPLeavesOpen(std::uint32_t ANumber) noexcept;
/// Whether other requests may succeed: not when the credentials, the certificate, TLS or the address is wrong.
bool VqHTTPLeavesSessionUsable(std::uint32_t ANumber) noexcept;
/// Whether it may pass by itself: a busy server or gateway, a cut connection, a name that was not found just now.
bool VqHTTPMayPass(std::uint32_t ANumber) noexcept;
/// The number when it is a status, else 0.
constexpr std::int32_t VqHTTPStatusOf(std::uint32_t ANumber) noexcept {
  return ANumber >= 100 && ANumber < 600 ? static_cast<std::int32_t>(ANumber) : 0;
}

/// Root of the HTTP layer's failures; `GetNumber` is the HTTP status of a refused request here, an API error number in
/// the classes below. No text of this family ever holds a password or a token.
class EVqHTTPException : public EVqException {
 public:
  /// The text, and a status or an API error number.
  EVqHTTPException(string AMessage, std::uint32_t ANumber) : EVqException(std::move(AMessage)), FNumber(ANumber) {}
  /// See the class.
  std::uint32_t GetNumber() const noexcept { return FNumber; }
  std::int32_t HTTPStatus() const noexcept override { return VqHTTPStatusOf(FNumber); }

 protected:
  bool LeavesOpen() const noexcept override { return VqHTTPLeavesOpen(FNumber); }
  bool LeavesSessionUsable() const noexcept override { return VqHTTPLeavesSessionUsable(FNumber); }

 private:
  std::uint32_t FNumber;
};

/// The server asks to be left alone for a while. Each form of this has an exception class of its own, which is this
/// class as well, so that one handler catches them all:
///
///     catch (const EVqServerBusy& busy) { log(busy.Failure().what()); wait(busy.GetRetryAfter()); }
class EVqServerBusy {
 public:
  /// Milliseconds until the next request makes sense; 0 when the server does not say.
  std::int32_t GetRetryAfter() const noexcept { return FRetryAfter; }
  /// The exception itself.
  virtual const EVqException& Failure() const noexcept = 0;

 protected:
  /// In milliseconds.
  explicit EVqServerBusy(std::int32_t ARetryAfter) noexcept : FRetryAfter(ARetryAfter) {}
  EVqServerBusy(const EVqServerBusy&) = default;
  EVqServerBusy& operator=(const EVqServerBusy&) = default;
  ~EVqServerBusy() = default;

 private:
  std::int32_t FRetryAfter;
};

/// A status of 429 or 503, with the time of its "Retry-After".
class EVqHTTPServerBusy : public EVqHTTPException, public EVqServerBusy {
 public:
  /// The text, 429 or 503, and the milliseconds.
  EVqHTTPServerBusy(string AMessage, std::uint32_t AStatus, std::int32_t ARetryAfter)
      : EVqHTTPException(std::move(AMessage), AStatus), EVqServerBusy(ARetryAfter) {}
  const EVqException& Failure() const noexcept override { return *this; }
  std::chrono::milliseconds RetryAfter() const noexcept override { return std::chrono::milliseconds(GetRetryAfter()); }
};

/// A failure of the client: its number is an API error number (TVqHTTPErrorNumber).
class EVqHTTPClientApiException : public EVqHTTPException {
 public:
  using EVqHTTPException::EVqHTTPException;
};

/// A failure that an operation of the engine reported: connection, name look-up, certificate, time-out, log-on.
class EVqHTTPApiException : public EVqHTTPClientApiException {
 public:
  /// The operation, the text, the API error number, and the status of the reply where one refused the credentials.
  EVqHTTPApiException(string AApiName, string AMessage, std::uint32_t ANumber, std::int32_t AStatus = 0)
      : EVqHTTPClientApiException(std::move(AMessage), ANumber), FApiName(std::move(AApiName)), FStatus(AStatus) {}
  /// The operation that failed.
  const string& GetApiName() const noexcept { return FApiName; }
  std::int32_t HTTPStatus() const noexcept override { return FStatus; }

 private:
  string FApiName;
  std::int32_t FStatus;
};

/// An argument that can never work, such as a header with a line break in it. An error of the caller: never swallowed.
class EVqHTTPInvalidArgument : public EVqHTTPApiException {
 public:
  /// As the class above; 87 unless another number says more.
  EVqHTTPInvalidArgument(string AApiName, string AMessage, std::uint32_t ANumber = VqErrInvalidParameter)
      : EVqHTTPApiException(std::move(AApiName), std::move(AMessage), ANumber) {}

 protected:
  /// Found before anything is sent.
  bool LeavesOpen() const noexcept override { return false; }
};

}  // namespace velmore
