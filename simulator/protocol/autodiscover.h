#pragma once

// Tells clients where the service of a mailbox is: the exchange in XML at /autodiscover/autodiscover.xml, and the
// service that answers in JSON at /autodiscover/autodiscover.json.

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "simulator/mailbox/model.h"

namespace velmore::simulator {

class Autodiscover {
 public:
  /// What it is asked. The addresses are those of this server as clients reach it.
  struct Question {
    std::string method;
    std::string target;
    std::string host;  // as the client names it, with a port if it told one
    std::string body;
    bool secure = false;
    std::string https;  // "https://localhost:4433"; empty when there is no such side
    std::string http;
  };
  struct Reply {
    int status = 200;
    std::string content_type;
    std::string body;
    std::string location;  // of a redirect
  };
  enum class Kind { kNone, kXml, kJson };

  Autodiscover(const Store& store, const Options& options) : store_(store), options_(options) {}

  static Kind KindOf(std::string_view target);
  /// A redirect of the address itself, which needs nobody's name; nothing: the question is to be answered.
  std::optional<Reply> RedirectOf(const Question& question) const;
  /// The exchange in XML, for somebody who has logged on.
  Reply AnswerXml(const Question& question) const;
  /// The service in JSON, for anybody.
  Reply AnswerJson(const Question& question) const;
  /// An answer in XML that says what went wrong, by number.
  static Reply Failed(const std::string& code, const std::string& message);
  /// The same in JSON.
  static Reply RefusedJson(const std::string& code, const std::string& message, int status = 400);
  /// The domains of the mailboxes and those of the settings, in lower case.
  std::vector<std::string> Domains() const;

 private:
  /// Where a question in JSON goes on to, if somewhere else.
  std::optional<Reply> JsonRedirectOf(const Question& question, const std::string& address,
                                      const std::string& protocol) const;
  std::string ServiceUrl(const Question& question) const;
  std::string Settings(const Question& question, const Mailbox& mailbox) const;

  const Store& store_;
  const Options& options_;
};

}  // namespace velmore::simulator
