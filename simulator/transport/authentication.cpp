#include "simulator/transport/authentication.h"

#include <stdexcept>

#include "simulator/types/text.h"
#include "simulator/xml/element.h"

namespace velmore::simulator {

namespace {

class Basic : public AuthenticationScheme {
 public:
  explicit Basic(const FindUser& find) : find_(find) {}
  std::string Name() const override { return "Basic"; }
  std::string Challenge() const override { return "Basic realm=\"Velmore EWS Simulator\""; }
  std::optional<User> Check(const std::string& credentials, std::shared_ptr<void>&, std::string&) override {
    std::string text;
    try {
      text = DecodeBase64(credentials);
    } catch (const std::invalid_argument&) {
      return std::nullopt;
    }
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos) return std::nullopt;
    std::optional<User> user = find_(text.substr(0, colon));
    if (user && user->password != text.substr(colon + 1)) user.reset();
    return user;
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
  std::optional<User> Check(const std::string& credentials, std::shared_ptr<void>&, std::string&) override {
    return tokens_.UserOf(credentials);
  }

 private:
  const Tokens& tokens_;
};

/// A scheme that is only offered: nobody can log on with it.
class Offered : public AuthenticationScheme {
 public:
  explicit Offered(std::string name) : name_(std::move(name)) {}
  std::string Name() const override { return name_; }
  std::string Challenge() const override { return name_; }
  std::optional<User> Check(const std::string&, std::shared_ptr<void>&, std::string&) override { return std::nullopt; }

 private:
  std::string name_;
};

std::unique_ptr<AuthenticationScheme> MakeScheme(const FindUser& find, const Tokens& tokens, const std::string& name) {
  if (SameText(name, "Basic")) return std::make_unique<Basic>(find);
  if (SameText(name, "Bearer")) return std::make_unique<Bearer>(tokens);
  return std::make_unique<Offered>(name);
}

}  // namespace

Authenticator::Authenticator(FindUser find, const Tokens& tokens, const std::vector<std::string>& schemes)
    : find_(std::move(find)), tokens_(tokens) {
  SetSchemes(schemes);
}

void Authenticator::SetSchemes(const std::vector<std::string>& schemes) {
  auto made = std::make_shared<Schemes>();
  for (const std::string& name : schemes) made->push_back(MakeScheme(find_, tokens_, name));
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
  for (const auto& scheme : *schemes) {
    if (header != nullptr) {
      const std::size_t blank = std::min(header->find(' '), header->size());
      if (SameText(header->substr(0, blank), scheme->Name())) {
        std::string continuation;
        result.user = scheme->Check(blank < header->size() ? header->substr(blank + 1) : std::string(),
                                    connection.authentication, continuation);
        if (result.user) return result;
        if (!continuation.empty()) return {std::nullopt, {scheme->Name() + " " + continuation}};
      }
    }
    result.challenges.push_back(scheme->Challenge());
  }
  return result;
}

}  // namespace velmore::simulator
