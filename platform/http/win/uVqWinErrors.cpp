#include "platform/http/win/uVqWinErrors_p.h"

#include <windows.h>
// After windows.h, which it needs.
#include <winhttp.h>

#include "platform/http/uVqHTTPTypes.h"

namespace velmore {

namespace {

struct TRow {
  std::uint32_t Windows;
  TVqWinError Ours;
};

// Both stacks count from 12000 and mean the same where they share a number, but for 12175: WinINet calls a packed body
// so that it could not unpack, and is never asked to unpack one.
constexpr TRow kRows[] = {
    {ERROR_NOT_ENOUGH_MEMORY, {VqErrNotEnoughMemory, "There is not enough memory."}},
    {ERROR_WINHTTP_OUT_OF_HANDLES, {VqErrOutOfHandles, "There is no free connection to \"%s\"."}},
    {ERROR_WINHTTP_INTERNAL_ERROR, {VqErrInternal, "The HTTP engine failed."}},
    {ERROR_WINHTTP_INVALID_URL, {VqErrInvalidUrl, "The address is not valid."}},
    {ERROR_WINHTTP_UNRECOGNIZED_SCHEME, {VqErrUnrecognizedScheme, "The scheme of the address is not supported."}},
    {ERROR_WINHTTP_NAME_NOT_RESOLVED, {VqErrNameNotResolved, "The name of the server \"%s\" could not be resolved."}},
    {ERROR_WINHTTP_INVALID_OPTION, {VqErrInvalidOption, "An option of the HTTP engine has a wrong value."}},
    {ERROR_WINHTTP_LOGIN_FAILURE, {VqErrLoginFailure, "The server \"%s\" refused the log-on."}},
    {ERROR_WINHTTP_OPERATION_CANCELLED, {VqErrOperationCancelled, "The request to \"%s\" was stopped."}},
    {ERROR_WINHTTP_CANNOT_CONNECT, {VqErrCannotConnect, "No connection to \"%s\" could be made."}},
    // WinINet alone from here to 12031.
    {12013, {VqErrIncorrectUserName, "The server \"%s\" refused the log-on."}},
    {12014, {VqErrIncorrectPassword, "The server \"%s\" refused the log-on."}},
    {12031, {VqErrConnectionReset, "The connection to \"%s\" was reset."}},
    {ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED,
     {VqErrClientCertificateNeeded, "The server \"%s\" asks for a certificate of the client."}},
    {ERROR_WINHTTP_CLIENT_CERT_NO_PRIVATE_KEY,
     {VqErrClientCertificateNeeded, "The client's certificate could not be used."}},
    {ERROR_WINHTTP_HEADER_NOT_FOUND, {VqErrInvalidServerResponse, "The server \"%s\" gave a reply that is not HTTP."}},
    {ERROR_WINHTTP_INVALID_SERVER_RESPONSE,
     {VqErrInvalidServerResponse, "The server \"%s\" gave a reply that is not HTTP."}},
    {ERROR_WINHTTP_HEADER_COUNT_EXCEEDED, {VqErrInvalidServerResponse, "The reply of \"%s\" has too many headers."}},
    {ERROR_WINHTTP_HEADER_SIZE_OVERFLOW,
     {VqErrInvalidServerResponse, "The reply of \"%s\" has a header line that is too long."}},
    {ERROR_WINHTTP_CHUNKED_ENCODING_HEADER_SIZE_OVERFLOW,
     {VqErrInvalidServerResponse, "The server \"%s\" sent a chunk that could not be read."}},
    {ERROR_WINHTTP_RESPONSE_DRAIN_OVERFLOW, {VqErrInvalidServerResponse, "The reply of \"%s\" is too large."}},
    {12153, {VqErrInvalidServerResponse, "The server \"%s\" gave a reply that is not HTTP."}},
    {12163, {VqErrCannotConnect, "No connection to \"%s\" could be made."}},
    {12164, {VqErrCannotConnect, "No connection to \"%s\" could be made."}},
    {12165, {VqErrCannotConnect, "The proxy for \"%s\" could not be reached."}},
    {ERROR_WINHTTP_REDIRECT_FAILED, {VqErrRedirectFailed, "The server \"%s\" redirected too often."}},
    {ERROR_WINHTTP_SECURE_CHANNEL_ERROR, {VqErrSecureChannel, "No secure connection to \"%s\" could be made."}},
    {ERROR_WINHTTP_SECURE_FAILURE, {VqErrSecureFailure, "The certificate of \"%s\" is not accepted."}},
    {ERROR_WINHTTP_UNABLE_TO_DOWNLOAD_SCRIPT,
     {VqErrCannotConnect, "The script that chooses the proxy for \"%s\" could not be fetched."}},
    {ERROR_WINHTTP_BAD_AUTO_PROXY_SCRIPT,
     {VqErrCannotConnect, "The script that chooses the proxy for \"%s\" is not valid."}},
    {ERROR_WINHTTP_AUTODETECTION_FAILED, {VqErrCannotConnect, "No proxy for \"%s\" was found by itself."}},
};

}  // namespace

TVqWinError VqWinErrorOf(std::uint32_t error, bool answered) noexcept {
  // What the socket says where a stack passes it on.
  if (error == ERROR_WINHTTP_CONNECTION_ERROR || error == WSAECONNRESET || error == WSAECONNABORTED ||
      error == ERROR_HANDLE_EOF || error == ERROR_NETNAME_DELETED) {
    return {VqErrConnectionAborted, answered ? "The connection to \"%s\" ended in the middle of the reply."
                                             : "The server \"%s\" closed the connection without a reply."};
  }
  if (error == WSAECONNREFUSED || error == WSAENETUNREACH || error == WSAEHOSTUNREACH)
    error = ERROR_WINHTTP_CANNOT_CONNECT;
  for (const TRow& row : kRows) {
    if (row.Windows == error) return row.Ours;
  }
  return {error == 0 ? std::uint32_t{VqErrInternal} : error, "The request to \"%s\" failed."};
}

std::uint32_t VqWinCertificateNumber(std::uint32_t bits) noexcept {
  if (bits & WINHTTP_CALLBACK_STATUS_FLAG_CERT_REVOKED) return VqErrCertRevoked;
  if (bits & WINHTTP_CALLBACK_STATUS_FLAG_CERT_REV_FAILED) return VqErrRevocationCheckFailed;
  if (bits & WINHTTP_CALLBACK_STATUS_FLAG_INVALID_CA) return VqErrInvalidCA;
  if (bits & WINHTTP_CALLBACK_STATUS_FLAG_CERT_DATE_INVALID) return VqErrCertDateInvalid;
  if (bits & WINHTTP_CALLBACK_STATUS_FLAG_CERT_CN_INVALID) return VqErrCertCommonNameInvalid;
  if (bits & WINHTTP_CALLBACK_STATUS_FLAG_CERT_WRONG_USAGE) return VqErrCertWrongUsage;
  if (bits & WINHTTP_CALLBACK_STATUS_FLAG_INVALID_CERT) return VqErrInvalidCertificate;
  return VqErrSecureFailure;
}

}  // namespace velmore
