#include "platform/http/curl/uVqCurlErrors_p.h"

#include <algorithm>
#include <iterator>

#include "platform/http/uVqHTTPTypes.h"

namespace velmore {

namespace {

// In the order of the codes. Numbers instead of libcurl's names, because older and newer releases lack some of the
// names; protocols that this library never speaks are "internal": such a code would be a defect here.
constexpr TVqCurlErrorRow kRows[] = {
    {0, 0, "No error."},                                                                     // OK
    {1, VqErrUnrecognizedScheme, "The scheme of the address is not supported."},             // UNSUPPORTED_PROTOCOL
    {2, VqErrInternal, "The HTTP engine could not be started."},                             // FAILED_INIT
    {3, VqErrInvalidUrl, "The address is not valid."},                                       // URL_MALFORMAT
    {4, VqErrNotSupported, "The HTTP engine was built without a feature that is needed."},   // NOT_BUILT_IN
    {5, VqErrNameNotResolved, "The name of the proxy could not be resolved."},               // COULDNT_RESOLVE_PROXY
    {6, VqErrNameNotResolved, "The name of the server %s could not be resolved."},           // COULDNT_RESOLVE_HOST
    {7, VqErrCannotConnect, "No connection to %s could be made."},                           // COULDNT_CONNECT
    {8, VqErrInvalidServerResponse, "The server %s gave a reply that is not HTTP."},         // WEIRD_SERVER_REPLY
    {9, VqErrLoginFailure, "The server %s refused the log-on."},                             // REMOTE_ACCESS_DENIED
    {10, VqErrInternal, "The HTTP engine failed."},                                          // FTP_ACCEPT_FAILED
    {11, VqErrInternal, "The HTTP engine failed."},                                          // FTP_WEIRD_PASS_REPLY
    {12, VqErrInternal, "The HTTP engine failed."},                                          // FTP_ACCEPT_TIMEOUT
    {13, VqErrInternal, "The HTTP engine failed."},                                          // FTP_WEIRD_PASV_REPLY
    {14, VqErrInternal, "The HTTP engine failed."},                                          // FTP_WEIRD_227_FORMAT
    {15, VqErrInternal, "The HTTP engine failed."},                                          // FTP_CANT_GET_HOST
    {16, VqErrInvalidServerResponse, "The server %s broke the rules of HTTP/2."},            // HTTP2
    {17, VqErrInternal, "The HTTP engine failed."},                                          // FTP_COULDNT_SET_TYPE
    {18, VqErrConnectionAborted, "The connection to %s ended in the middle of the reply."},  // PARTIAL_FILE
    {19, VqErrInternal, "The HTTP engine failed."},                                          // FTP_COULDNT_RETR_FILE
    {20, VqErrInternal, "The HTTP engine failed."},                                          // OBSOLETE20
    {21, VqErrInternal, "The HTTP engine failed."},                                          // QUOTE_ERROR
    {22, VqErrInvalidServerResponse, "The server %s returned an error status."},             // HTTP_RETURNED_ERROR
    {23, VqErrWriteFault, "The reply of %s could not be taken in."},                         // WRITE_ERROR
    {24, VqErrInternal, "The HTTP engine failed."},                                          // OBSOLETE24
    {25, VqErrConnectionAborted, "The request to %s could not be sent."},                    // UPLOAD_FAILED
    {26, VqErrReadFault, "The body of the request could not be read."},                      // READ_ERROR
    {27, VqErrNotEnoughMemory, "There is not enough memory."},                               // OUT_OF_MEMORY
    {28, VqErrTimeOut, "The server %s did not answer in time."},                             // OPERATION_TIMEDOUT
    {29, VqErrInternal, "The HTTP engine failed."},                                          // OBSOLETE29
    {30, VqErrInternal, "The HTTP engine failed."},                                          // FTP_PORT_FAILED
    {31, VqErrInternal, "The HTTP engine failed."},                                          // FTP_COULDNT_USE_REST
    {32, VqErrInternal, "The HTTP engine failed."},                                          // OBSOLETE32
    {33, VqErrInvalidServerResponse, "The server %s does not serve ranges."},                // RANGE_ERROR
    {34, VqErrInvalidOperation, "The request could not be composed."},                       // HTTP_POST_ERROR
    {35, VqErrSecureChannel, "No secure connection to %s could be made."},                   // SSL_CONNECT_ERROR
    {36, VqErrInternal, "The HTTP engine failed."},                                          // BAD_DOWNLOAD_RESUME
    {37, VqErrInternal, "The HTTP engine failed."},                                          // FILE_COULDNT_READ_FILE
    {38, VqErrInternal, "The HTTP engine failed."},                                          // LDAP_CANNOT_BIND
    {39, VqErrInternal, "The HTTP engine failed."},                                          // LDAP_SEARCH_FAILED
    {40, VqErrInternal, "The HTTP engine failed."},                                          // OBSOLETE40
    {41, VqErrNotSupported, "A function that is needed was not found."},                     // FUNCTION_NOT_FOUND
    {42, VqErrOperationCancelled, "The request to %s was stopped."},                         // ABORTED_BY_CALLBACK
    {43, VqErrInternal, "The HTTP engine was called with a wrong argument."},                // BAD_FUNCTION_ARGUMENT
    {44, VqErrInternal, "The HTTP engine failed."},                                          // OBSOLETE44
    {45, VqErrCannotConnect, "The network interface for %s is not there."},                  // INTERFACE_FAILED
    {46, VqErrInternal, "The HTTP engine failed."},                                          // OBSOLETE46
    {47, VqErrRedirectFailed, "The server %s redirected too often."},                        // TOO_MANY_REDIRECTS
    {48, VqErrInvalidOption, "An option of the HTTP engine is not known."},                  // UNKNOWN_OPTION
    {49, VqErrInvalidOption, "An option of the HTTP engine has a wrong value."},             // SETOPT_OPTION_SYNTAX
    {50, VqErrInternal, "The HTTP engine failed."},                                          // OBSOLETE50
    {51, VqErrInternal, "The HTTP engine failed."},                                          // OBSOLETE51
    {52, VqErrConnectionAborted, "The server %s closed the connection without a reply."},    // GOT_NOTHING
    {53, VqErrSecureChannel, "The TLS library was not found."},                              // SSL_ENGINE_NOTFOUND
    {54, VqErrSecureChannel, "The TLS library could not be set up."},                        // SSL_ENGINE_SETFAILED
    {55, VqErrConnectionAborted, "The connection to %s broke while the request was sent."},  // SEND_ERROR
    {56, VqErrConnectionAborted, "The connection to %s broke while the reply was read."},    // RECV_ERROR
    {57, VqErrInternal, "The HTTP engine failed."},                                          // OBSOLETE57
    {58, VqErrClientCertificateNeeded, "The client's certificate could not be used."},       // SSL_CERTPROBLEM
    {59, VqErrSecureChannel, "No cipher in common with %s."},                                // SSL_CIPHER
    {60, VqErrInvalidCertificate, "The certificate of %s is not valid."},                    // PEER_FAILED_VERIFICATION
    {61, VqErrInvalidServerResponse,
     "The reply of %s is compressed in a way that cannot be read."},                           // BAD_CONTENT_ENCODING
    {62, VqErrInternal, "The HTTP engine failed."},                                            // OBSOLETE62
    {63, VqErrInvalidServerResponse, "The reply of %s is too large."},                         // FILESIZE_EXCEEDED
    {64, VqErrSecureChannel, "The server %s offers no secure connection."},                    // USE_SSL_FAILED
    {65, VqErrConnectionAborted, "The request to %s could not be sent a second time."},        // SEND_FAIL_REWIND
    {66, VqErrSecureChannel, "The TLS library could not be set up."},                          // SSL_ENGINE_INITFAILED
    {67, VqErrLoginFailure, "The server %s refused the log-on."},                              // LOGIN_DENIED
    {68, VqErrInternal, "The HTTP engine failed."},                                            // TFTP_NOTFOUND
    {69, VqErrInternal, "The HTTP engine failed."},                                            // TFTP_PERM
    {70, VqErrWriteFault, "There is no room for the reply."},                                  // REMOTE_DISK_FULL
    {71, VqErrInternal, "The HTTP engine failed."},                                            // TFTP_ILLEGAL
    {72, VqErrInternal, "The HTTP engine failed."},                                            // TFTP_UNKNOWNID
    {73, VqErrInternal, "The HTTP engine failed."},                                            // REMOTE_FILE_EXISTS
    {74, VqErrInternal, "The HTTP engine failed."},                                            // TFTP_NOSUCHUSER
    {75, VqErrInternal, "The HTTP engine failed."},                                            // OBSOLETE75
    {76, VqErrInternal, "The HTTP engine failed."},                                            // OBSOLETE76
    {77, VqErrInvalidCA, "The file of trusted certification authorities could not be read."},  // SSL_CACERT_BADFILE
    {78, VqErrInvalidServerResponse, "The server %s has no such resource."},                   // REMOTE_FILE_NOT_FOUND
    {79, VqErrInternal, "The HTTP engine failed."},                                            // SSH
    {80, VqErrSecureChannel, "The secure connection to %s could not be closed."},              // SSL_SHUTDOWN_FAILED
    {81, VqErrConnectionAborted, "The connection to %s was not ready."},                       // AGAIN
    {82, VqErrRevocationCheckFailed, "The file of revocation lists could not be read."},       // SSL_CRL_BADFILE
    {83, VqErrInvalidCertificate, "The issuer of the certificate of %s is not the one expected."},  // SSL_ISSUER_ERROR
    {84, VqErrInternal, "The HTTP engine failed."},                                                 // FTP_PRET_FAILED
    {85, VqErrInternal, "The HTTP engine failed."},                                                 // RTSP_CSEQ_ERROR
    {86, VqErrInternal, "The HTTP engine failed."},                                          // RTSP_SESSION_ERROR
    {87, VqErrInternal, "The HTTP engine failed."},                                          // FTP_BAD_FILE_LIST
    {88, VqErrInvalidServerResponse, "The server %s sent a chunk that could not be read."},  // CHUNK_FAILED
    {89, VqErrOutOfHandles, "There is no free connection to %s."},                           // NO_CONNECTION_AVAILABLE
    {90, VqErrInvalidCertificate, "The public key of %s is not the one expected."},          // SSL_PINNEDPUBKEYNOTMATCH
    {91, VqErrRevocationCheckFailed,
     "The revocation status of the certificate of %s is not valid."},                           // SSL_INVALIDCERTSTATUS
    {92, VqErrInvalidServerResponse, "The server %s broke off an HTTP/2 stream."},              // HTTP2_STREAM
    {93, VqErrInvalidOperation, "The HTTP engine was called from within itself."},              // RECURSIVE_API_CALL
    {94, VqErrLoginFailure, "The log-on to %s could not be computed."},                         // AUTH_ERROR
    {95, VqErrInvalidServerResponse, "The server %s broke the rules of HTTP/3."},               // HTTP3
    {96, VqErrCannotConnect, "No QUIC connection to %s could be made."},                        // QUIC_CONNECT_ERROR
    {97, VqErrCannotConnect, "The proxy refused the connection to %s."},                        // PROXY
    {98, VqErrClientCertificateNeeded, "The server %s asks for a certificate of the client."},  // SSL_CLIENTCERT
    {99, VqErrInternal, "Waiting for the network failed."},                                     // UNRECOVERABLE_POLL
    {100, VqErrInvalidParameter, "A value is too large for the HTTP engine."},                  // TOO_LARGE
    {101, VqErrSecureChannel, "The server %s offers no encrypted client hello."},               // ECH_REQUIRED
};

}  // namespace

const TVqCurlErrorRow* VqFindCurlError(int code) noexcept {
  if (code < 0 || code >= static_cast<int>(std::size(kRows))) return nullptr;
  return &kRows[code];
}

std::string VqCurlErrorText(const TVqCurlErrorRow& row, std::string_view host, std::string_view detail) {
  std::string text = row.Text;
  if (const std::size_t mark = text.find("%s"); mark != std::string::npos) {
    text.replace(mark, 2, "\"" + std::string(host) + "\"");
  }
  // What libcurl says of an address shows the address, and a proxy's may hold a password.
  constexpr int withAddress[] = {1, 3, 5, 97};
  if (std::find(std::begin(withAddress), std::end(withAddress), row.Code) != std::end(withAddress)) return text;
  if (!detail.empty()) text.append(" (").append(detail).append(")");
  return text;
}

}  // namespace velmore
