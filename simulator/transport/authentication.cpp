#include "simulator/transport/authentication.h"

#include <stdexcept>

#include "simulator/types/text.h"
#include "simulator/xml/element.h"

namespace velmore::simulator {

namespace {

using Verdict = AuthenticationScheme::Verdict;

class Basic : public AuthenticationScheme {
 public:
  explicit Basic(const FindUser& find) : find_(find) {}
  std::string Name() const override { return "Basic"; }
  std::string Challenge() const override { return "Basic realm=\"Velmore EWS Simulator\""; }
  Verdict Check(const std::string& credentials, ConnectionState&) override {
    std::string text;
    try {
      text = DecodeBase64(credentials);
    } catch (const std::invalid_argument&) {
      return {};
    }
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos) return {};
    std::optional<User> user = find_(text.substr(0, colon));
    if (user && user->password != text.substr(colon + 1)) user.reset();
    return {std::move(user), false, {}, false, {}};
  }

 private:
  const FindUser& find_;
};

/// Tokens of the simulator's own endpoint.
class Bearer : public AuthenticationScheme {
 public:
  explicit Bearer(const Tokens& tokens) : tokens_(tokens) {}
  std::string Name() const override { return "Bearer"; }
  std::string Challenge() const override { return "Bearer"; }
  Verdict Check(const std::string& credentials, ConnectionState&) override {
    Verdict verdict;
    verdict.user = tokens_.UserOf(credentials);
    if (!verdict.user) verdict.challenge = "Bearer error=\"invalid_token\"";  // the client may ask for a new one
    return verdict;
  }

 private:
  const Tokens& tokens_;
};

/// What a connection remembers of a handshake: the half of it that is done, or who came in.
struct Conversation {
  std::string scheme;
  std::unique_ptr<GssHandshake> handshake;  // null once it is done
  std::string user;                         // log-on name
};

/// Negotiate and NTLM. Both hold for the connection, as servers have it.
class Gss : public AuthenticationScheme {
 public:
  Gss(std::string name, GssMechanism mechanism, GssKeys& keys, const FindUser& find, bool require_binding)
      : name_(std::move(name)), mechanism_(mechanism), keys_(keys), find_(find), require_binding_(require_binding) {}
  std::string Name() const override { return name_; }
  std::string Challenge() const override { return name_; }

  Verdict Check(const std::string& credentials, ConnectionState& connection) override {
    std::string token;
    try {
      token = DecodeBase64(credentials);
    } catch (const std::invalid_argument&) {
      return {};
    }
    auto conversation = std::static_pointer_cast<Conversation>(connection.authentication);
    connection.authentication.reset();
    const bool continues = conversation != nullptr && conversation->scheme == name_ &&
                           conversation->handshake != nullptr && !IsFirstOfNtlm(token);
    if (!continues) {
      conversation = std::make_shared<Conversation>();
      conversation->scheme = name_;
      conversation->handshake = std::make_unique<GssHandshake>(keys_, mechanism_, connection.end_point);
    }
    Verdict verdict;
    const GssHandshake::Step step = conversation->handshake->Take(token, verdict.token);
    if (step == GssHandshake::Step::kRefused) return {};
    if (step == GssHandshake::Step::kGoesOn) {
      verdict.goes_on = true;
    } else {
      if (require_binding_ && !connection.end_point.empty() && !conversation->handshake->IsBound()) return {};
      verdict.user = UserOf(conversation->handshake->User());
      if (!verdict.user) return {};
      verdict.for_connection = true;
      conversation->handshake.reset();
      conversation->user = verdict.user->name;
    }
    connection.authentication = std::move(conversation);
    return verdict;
  }

 private:
  static bool IsFirstOfNtlm(const std::string& token) { return token.starts_with(std::string_view("NTLMSSP\0\1", 9)); }
  /// "EXAMPLE\alice" is known as it stands; of "alice@EXAMPLE.COM" the realm need not be the domain of the mail.
  std::optional<User> UserOf(const std::string& name) const {
    std::optional<User> user = find_(name);
    if (!user && mechanism_ == GssMechanism::kNegotiate) user = find_(name.substr(0, name.rfind('@')));
    return user;
  }
  const std::string name_;
  const GssMechanism mechanism_;
  GssKeys& keys_;
  const FindUser& find_;
  const bool require_binding_;
};

/// A scheme that is only offered: nobody can log on with it.
class Offered : public AuthenticationScheme {
 public:
  explicit Offered(std::string name) : name_(std::move(name)) {}
  std::string Name() const override { return name_; }
  std::string Challenge() const override { return name_; }
  Verdict Check(const std::string&, ConnectionState&) override { return {}; }

 private:
  std::string name_;
};

}  // namespace

Authenticator::Authenticator(Directory directory, const Tokens& tokens, const Options& options)
    : directory_(std::move(directory)),
      tokens_(tokens),
      keys_(options.keytab_file, options.ntlm_file, directory_.all),
      require_binding_(options.require_channel_binding) {
  SetSchemes(options.authentication);
}

std::unique_ptr<AuthenticationScheme> Authenticator::MakeScheme(const std::string& name) {
  if (SameText(name, "Basic")) return std::make_unique<Basic>(directory_.find);
  if (SameText(name, "Bearer")) return std::make_unique<Bearer>(tokens_);
  const auto gss = [&](GssMechanism mechanism) -> std::unique_ptr<AuthenticationScheme> {
    if (!keys_.Has(mechanism)) return std::make_unique<Offered>(name);
    return std::make_unique<Gss>(name, mechanism, keys_, directory_.find, require_binding_);
  };
  if (SameText(name, "Negotiate")) return gss(GssMechanism::kNegotiate);
  if (SameText(name, "NTLM")) return gss(GssMechanism::kNtlm);
  return std::make_unique<Offered>(name);
}

void Authenticator::SetSchemes(const std::vector<std::string>& schemes) {
  auto made = std::make_shared<Schemes>();
  for (const std::string& name : schemes) made->push_back(MakeScheme(name));
  const std::lock_guard lock(mutex_);
  schemes_ = std::move(made);
}

std::shared_ptr<const Authenticator::Schemes> Authenticator::Current() const {
  const std::lock_guard lock(mutex_);
  return schemes_;
}

std::vector<std::string> Authenticator::Challenges() const {
  std::vector<std::string> challenges;
  for (const auto& scheme : *Current()) challenges.push_back(scheme->Challenge());
  return challenges;
}

Authenticator::Result Authenticator::Check(const HttpRequest& request, ConnectionState& connection) {
  Result result;
  const std::string* header = request.Header("Authorization");
  const std::shared_ptr<const Schemes> schemes = Current();
  const auto* known = static_cast<const Conversation*>(connection.authentication.get());
  for (const auto& scheme : *schemes) {
    std::string challenge = scheme->Challenge();
    if (header != nullptr) {
      const std::size_t blank = std::min(header->find(' '), header->size());
      if (SameText(header->substr(0, blank), scheme->Name())) {
        Verdict verdict = scheme->Check(blank < header->size() ? header->substr(blank + 1) : std::string(), connection);
        if (verdict.goes_on) return {std::nullopt, {scheme->Name() + " " + EncodeBase64(verdict.token)}, {}};
        if (verdict.user) {
          result.user = std::move(verdict.user);
          result.challenges.clear();
          if (!verdict.token.empty())
            result.headers.emplace_back("WWW-Authenticate", scheme->Name() + " " + EncodeBase64(verdict.token));
          if (verdict.for_connection) result.headers.emplace_back("Persistent-Auth", "true");
          return result;
        }
        if (!verdict.challenge.empty()) challenge = std::move(verdict.challenge);
      }
    } else if (known != nullptr && known->handshake == nullptr && known->scheme == scheme->Name()) {
      result.user = directory_.find(known->user);
      if (result.user) return {std::move(result.user), {}, {}};
    }
    result.challenges.push_back(std::move(challenge));
  }
  return result;
}

}  // namespace velmore::simulator
