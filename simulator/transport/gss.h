#pragma once

// The server's side of logging on by tokens of GSSAPI: Kerberos in Negotiate's wrapping, for which a keytab holds the
// key of the service, and NTLM, where a module for it is installed (gss-ntlmssp). No header of the library stands here:
// a build without MIT Kerberos has neither.

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "simulator/types/options.h"
#include "simulator/types/temporary_file.h"

namespace velmore::simulator {

/// Where NTLM's passwords come from: those of the users as they are now.
using AllUsers = std::function<std::vector<User>()>;

enum class GssMechanism { kNegotiate, kNtlm };

/// What the server proves itself with. Any thread may use it.
class GssKeys {
 public:
  /// `keytab` empty: no Kerberos. `ntlm_file` has a line "DOMAIN:name:password" for each user of NTLM; empty: the users
  /// themselves, named "alice", "alice@example.com", "EXAMPLE\alice" or "example.com\alice". Throws OptionError for a
  /// file that cannot be used.
  GssKeys(std::string keytab, std::string ntlm_file, AllUsers users);
  ~GssKeys();
  GssKeys(const GssKeys&) = delete;
  GssKeys& operator=(const GssKeys&) = delete;

  bool Has(GssMechanism mechanism) const;

 private:
  friend class GssHandshake;
  struct Credential;
  std::shared_ptr<Credential> For(GssMechanism mechanism);

  const std::string keytab_;
  const std::string ntlm_file_;
  const AllUsers users_;
  std::mutex mutex_;  // protects what follows
  std::shared_ptr<Credential> negotiate_;
  std::shared_ptr<Credential> ntlm_;
  std::string ntlm_text_;  // the passwords that it was made with
};

/// One exchange of tokens with one client, on one connection.
class GssHandshake {
 public:
  /// `end_point` is that of the TLS connection, empty without TLS. Tokens that are bound to another one are refused.
  GssHandshake(GssKeys& keys, GssMechanism mechanism, std::string end_point);
  ~GssHandshake();
  GssHandshake(const GssHandshake&) = delete;
  GssHandshake& operator=(const GssHandshake&) = delete;

  enum class Step { kRefused, kGoesOn, kDone };
  /// Takes a token of the client. `answer` is the server's, which may be empty when it is done.
  Step Take(const std::string& token, std::string& answer);
  /// Who it was: "alice@EXAMPLE.COM" for Kerberos, "EXAMPLE\alice" for NTLM.
  const std::string& User() const { return user_; }
  /// True when the client's proof holds for this TLS connection only.
  bool IsBound() const { return bound_; }

 private:
  struct Context;
  std::unique_ptr<Context> context_;
  std::string user_;
  bool bound_ = false;
};

}  // namespace velmore::simulator
