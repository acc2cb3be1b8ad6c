#pragma once

/// A web address taken apart.
///
///     const TVqURLData target = VqDecodeURL("https://mail.example.com:8443/ews/exchange.asmx?x=1");
///     target.Host;       // "mail.example.com"
///     target.Path;       // "/ews/exchange.asmx"

#include "platform/common/uVqTypes.h"

namespace velmore {

/// The parts of an address, as they stand in it (nothing is percent-decoded). A plain value.
struct TVqURLData {
  string Scheme;           ///< lower case, without "://"
  string UserInfo;         ///< what stands before "@"; empty as a rule
  string Host;             ///< an IPv6 address without its brackets
  std::uint16_t Port = 0;  ///< as written, else the scheme's: 443 for https, 80 for http, else 0
  string Path;             ///< with its leading "/"; empty when there is none
  string Query;            ///< without "?"
  string Fragment;         ///< without "#"
  bool IsValid = false;    ///< false when the text is no absolute address: then all else is empty

  /// True for the scheme "https".
  bool IsHttps() const { return Scheme == u"https"; }
};

/// Takes an absolute address apart. Never raises: see `IsValid`.
TVqURLData VqDecodeURL(const string& AURL);

/// True for this machine itself: "localhost" and names below it, 127.0.0.0/8, ::1.
bool VqIsLoopbackHost(const string& AHost);

}  // namespace velmore
