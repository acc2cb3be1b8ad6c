#include "programs/velmore-mail/Account.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <memory>

#include "platform/common/uVqSecret.h"
#include "platform/http/uVqHTTPBase.h"
#include "programs/velmore-mail/Text.h"

namespace mail {

using velmore::string;

namespace {

/// The terminal of whoever started the program, whatever its standard input is. Gives it back as it was.
class HiddenTerminal {
 public:
  HiddenTerminal() : file_(::open("/dev/tty", O_RDWR | O_CLOEXEC)) {
    if (file_ < 0 || ::tcgetattr(file_, &shown_) != 0) return;
    termios hidden = shown_;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    changed_ = ::tcsetattr(file_, TCSAFLUSH, &hidden) == 0;
  }
  ~HiddenTerminal() {
    if (changed_) ::tcsetattr(file_, TCSAFLUSH, &shown_);
    if (file_ >= 0) ::close(file_);
  }
  HiddenTerminal(const HiddenTerminal&) = delete;
  HiddenTerminal& operator=(const HiddenTerminal&) = delete;

  bool IsThere() const { return changed_; }
  void Write(const std::string& text) const {
    [[maybe_unused]] const auto written = ::write(file_, text.data(), text.size());
  }
  /// A line without its end. Raises Interruption for Ctrl+C, so that the terminal is given back as it was.
  std::string Read() const {
    std::string line;
    for (char c = 0;;) {
      pollfd waiting{file_, POLLIN, 0};
      const int ready = ::poll(&waiting, 1, 100);  // a signal that came just before would not end it
      CheckInterrupted();
      if (ready <= 0) continue;
      if (::read(file_, &c, 1) != 1 || c == '\n') return line;
      line += c;
    }
  }

 private:
  int file_;
  termios shown_{};
  bool changed_ = false;
};

string Password(const std::string& user) {
  if (const char* variable = std::getenv("VELMORE_MAIL_PASSWORD")) return variable;
  const HiddenTerminal terminal;
  if (!terminal.IsThere())
    throw UsageError("There is no password for " + string(user) +
                     ": set VELMORE_MAIL_PASSWORD, or keep one with \"velmore-mail profile save NAME\".");
  terminal.Write("Password of " + user + ": ");
  const std::string password = terminal.Read();
  terminal.Write("\n");
  return password;
}

/// What usually helps, by the number of a failure.
struct Advice {
  std::uint32_t number;
  const char* text;
};
constexpr Advice kAdvice[] = {
    {velmore::VqErrTimeOut,
     "The server was silent for too long: a firewall that drops what it does not like, or a busy server."},
    {velmore::VqErrInvalidUrl,
     "--url takes something like https://mail.example.com/EWS/Exchange.asmx; --address looks for it."},
    {velmore::VqErrUnrecognizedScheme, "--url begins with https://."},
    {velmore::VqErrNameNotResolved,
     "There is no such host, or this machine cannot ask for it. Is the name right, and the network up?"},
    {velmore::VqErrLoginFailure,
     "The password, or the form of the name: try DOMAIN\\user and user@domain with --user. An account of Exchange "
     "Online wants a token (OAuth)."},
    {velmore::VqErrCannotConnect, "Nobody listens at that address and port, or a firewall is between."},
    {velmore::VqErrCertDateInvalid, "The certificate has expired, or the clock of this machine is wrong."},
    {velmore::VqErrCertCommonNameInvalid, "The certificate was made out to another host: use that name with --url."},
    {velmore::VqErrInvalidCA,
     "This machine does not know the authority behind the certificate: give its file (PEM) with --ca-file."},
    {401, "The server lets this user in nowhere: ask its administrator whether EWS is switched on for the mailbox."},
    {403, "The server knows the user and does not let him use EWS: ask its administrator."},
    {404, "There is a web server but no EWS at that path: it ends in /EWS/Exchange.asmx as a rule."},
    {503, "The server is up and does not want to work now. Try again later."},
};

std::uint32_t NumberOf(const std::exception& failure) {
  if (const auto* http = dynamic_cast<const velmore::EVqHTTPException*>(&failure)) return http->GetNumber();
  if (const auto* ews = dynamic_cast<const velmore::EEWSException*>(&failure)) return ews->HTTPErrorCode();
  return 0;
}

void Append(std::string& text, const std::exception& failure, std::uint32_t number) {
  text += Printable(failure.what()) + '\n';
  if (const std::uint32_t own = NumberOf(failure)) number = own;
  try {
    std::rethrow_if_nested(failure);
  } catch (const std::exception& nested) {
    Append(text, nested, number);
    return;
  }
  for (const Advice& advice : kAdvice)
    if (advice.number == number) text += advice.text + std::string("\n");
}

}  // namespace

std::string Explained(const std::exception& failure) {
  std::string text;
  Append(text, failure, 0);
  return text;
}

velmore::TVqEWSServiceSession& Account::Configured() {
  if (configured_) return session_;
  session_.SetCAFile(options_.ca_file);
  const bool described = !options_.url.empty() || !options_.address.empty();
  if (described && !options_.profile.empty())
    throw UsageError(
        "--profile says where to log on, and so do --url and --address: give one of them. Variables count.");
  if (!described) {
    if (options_.profile.empty()) options_.profile = profiles_.GetDefaultProfileName().utf8();
    if (options_.profile.empty())
      throw UsageError(
          "Which account? Give --url and --user, or --address, or keep one with \"velmore-mail profile save NAME\".");
    if (!profiles_.ProfileExists(options_.profile))
      throw UsageError("There is no profile \"" + string(options_.profile) +
                       "\". \"velmore-mail profile list\" tells which there are.");
    profiles_.LoadProfile(session_, options_.profile);
    if (std::getenv("VELMORE_MAIL_PASSWORD")) session_.GetCredentials().SetPassword(Password({}));
  } else {
    const std::string user = options_.user.empty() ? options_.address : options_.user;
    if (user.empty()) throw UsageError("--url needs --user.");
    if (options_.url.empty()) session_.SetAutodiscoverEMail(options_.address);
    session_.SetServiceUrl(options_.url);
    session_.GetCredentials().SetUserName(user);
    session_.GetCredentials().SetPassword(Password(user));
  }
  configured_ = true;
  return session_;
}

velmore::TVqEWSServiceSession& Account::Session() {
  Configured();
  if (!session_.GetActive()) session_.SetActive(true);
  return session_;
}

velmore::IVqEWSMsgStore& Account::Store() {
  if (!store_)
    store_ = options_.mailbox.empty() ? Session().OpenDefaultMsgStore() : Session().OpenMsgStore(options_.mailbox);
  return *store_;
}

bool Account::Check() {
  const auto step = [](const char* name, auto action) {
    std::cout << Column(name, 12) << std::flush;
    try {
      std::cout << action() << std::endl;
      return true;
    } catch (const UsageError&) {
      throw;
    } catch (const Interruption&) {
      throw;
    } catch (const std::exception& failure) {
      std::string text = Explained(failure);
      text.pop_back();
      for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; ++at)
        text.insert(at + 1, std::string(11, ' '));
      std::cout << text << std::endl;
      return false;
    }
  };
  Configured();
  const bool looking = session_.GetServiceUrl().empty();
  const bool on = step("Logging on", [&] {
    Session();
    return Printable(session_.GetServiceUrl());
  });
  if (looking)
    for (const velmore::TVqEWSAutodiscoverStep& asked : session_.GetAutodiscoverReport())
      std::cout << Column("  asked", 12) << Printable(asked.URL) << ": " << Printable(asked.Outcome) << '\n';
  if (!on) return false;
  step("Server", [&] { return Printable(session_.GetServerDescription()); });
  const bool mailbox = step("Mailbox", [&] {
    const auto owner = Store().GetIdentity();
    return Printable(owner->GetName() + " <" + owner->GetEmailAddress() + ">");
  });
  const bool inbox = mailbox && step("Inbox", [&] {
                       const auto folder = Store().GetFolder(velmore::dfininbox, "");
                       return std::to_string(folder->GetTotalCount()) + " items, " +
                              std::to_string(folder->GetUnreadCount()) + " unread";
                     });
  if (inbox) std::cout << "Everything works.\n";
  return inbox;
}

int Account::Save(const std::string& name) {
  Session();
  profiles_.SaveProfile(session_, name);
  return 0;
}

int Account::ListProfiles() {
  velmore::TVqStrings names;
  velmore::TVqEWSProfileRegistryContainer(nullptr).GetProfileNames(names);
  for (const string& name : names) std::cout << Printable(name) << '\n';
  return 0;
}

int Account::Forget(const std::string& name) {
  velmore::TVqEWSProfileRegistryContainer profiles(nullptr);
  if (!profiles.ProfileExists(name)) throw UsageError("There is no profile \"" + string(name) + "\".");
  profiles.DeleteProfile(name);
  return 0;
}

}  // namespace mail
