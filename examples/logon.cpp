// Tries a server, and prints what it found step by step: where it was looked for, what it calls itself, whose mailbox
// this is, what time zone it takes us for, what is in the inbox. When a step fails it says what to do about it.
//
// An address alone will do (--address ann@example.com), and so will a profile (--profile Ann).

#include <iostream>

#include "ews/VelmoreEWS.h"
#include "platform/http/uVqHTTPBase.h"
#include "support/ExampleServer.h"

using namespace velmore;

namespace {

/// What usually helps, by the number of a failure.
const char* Advice(std::uint32_t number) {
  switch (number) {
    case VqErrTimeOut:
      return "The server did not answer in time: look at the network, or allow more by SetTimeOuts.";
    case VqErrInvalidUrl:
    case VqErrUnrecognizedScheme:
      return "The service URL looks like https://mail.example.com/EWS/Exchange.asmx.";
    case VqErrNameNotResolved:
      return "No such host: look at the service URL, and at the name server of this machine.";
    case VqErrLoginFailure:
      return "Look at user name and password; some servers want DOMAIN\\user, others user@domain.";
    case VqErrCannotConnect:
      return "Nobody listens there, or a firewall is between.";
    case VqErrCertDateInvalid:
      return "The certificate has expired, or this machine's clock is wrong.";
    case VqErrCertCommonNameInvalid:
      return "The certificate is another host's: use the name that it was made out to.";
    case VqErrInvalidCA:
      return "The authority behind the certificate is not known: give its file with --ca-file.";
    case 401:
    case 403:
      return "The server does not let this user in here.";
    case 404:
      return "There is a web server, but no Exchange Web Services at this path.";
    default:
      return "See docs/guide/logon.md.";
  }
}

/// An exception with all that is nested in it: the outer one names the failure, the inner ones tell more.
void Explain(const std::exception& failure, std::uint32_t number = 0, int depth = 0) {
  std::cout << std::string(static_cast<std::size_t>(depth) * 2 + 2, ' ') << failure.what() << '\n';
  if (const auto* http = dynamic_cast<const EVqHTTPException*>(&failure)) number = http->GetNumber();
  if (const auto* ews = dynamic_cast<const EEWSException*>(&failure)) number = ews->HTTPErrorCode();
  try {
    std::rethrow_if_nested(failure);
    if (number != 0) std::cout << "  Number " << number << ". " << Advice(number) << '\n';
  } catch (const std::exception& nested) {
    Explain(nested, number, depth + 1);
  }
}

/// One step: its name, and what it found or why it failed.
template <typename TAction>
bool Step(const char* name, TAction action) {
  std::cout << name << '\n';
  try {
    action();
    return true;
  } catch (const EVqServerBusy& busy) {
    std::cout << "  " << busy.Failure().what() << "\n  Try again in " << busy.GetRetryAfter() / 1000 << " seconds.\n";
  } catch (const std::exception& failure) {
    Explain(failure);
  }
  return false;
}

/// Where a server was looked for, and what came of each address.
void PrintWalk(const TVqEWSCustomSession& session) {
  int number = 0;
  for (const TVqEWSAutodiscoverStep& step : session.GetAutodiscoverReport())
    std::cout << "  " << ++number << ". " << step.URL << ": " << step.Outcome << '\n';
  if (number == 0 && !session.GetServiceUrl().empty())
    std::cout << "  told by the service of Exchange Online, or by a service record of the domain\n";
}

}  // namespace

int main(int argc, char** argv) {
  const ExampleServer server(argc, argv, "logon: tries a server and prints what it found");
  TVqEWSServiceSession session;
  server.Configure(session);  // ServiceUrl, Credentials
  if (server.HasOption("wrong-password")) session.GetCredentials().SetPassword("not this one");

  if (server.HasOption("profile") && !Step("Loading the profile", [&] {
        if (!session.LoadProfile(session.GetProfileName())) throw EVqException("There is no file with profiles.");
        std::cout << "  " << session.GetProfileName() << '\n';
      }))
    return 1;
  const bool looking = session.GetServiceUrl().empty();
  if (looking) std::cout << "Looking for the server of " << session.GetAutodiscoverEMail() << '\n';
  const bool active = Step(looking ? "Finding it and logging on" : "Logging on", [&] { session.SetActive(true); });
  if (looking) {
    std::cout << "Where it was looked for\n";
    PrintWalk(session);
  }
  if (!active) return 1;
  std::cout << "Service URL: " << session.GetServiceUrl() << '\n';
  Step("What the server is", [&] {
    std::cout << "  " << session.GetServerDescription() << "; requests carry "
              << VqEnumToText(session.GetRequestVersion()) << '\n';
  });
  Step("Time zone", [&] {
    const string& zone = session.GetCurrentTimeZoneContext();
    std::cout << "  " << (zone.empty() ? string("none that both sides know") : zone) << '\n';
  });
  TVqRef<IVqEWSMsgStore> store;
  if (!Step("Whose mailbox", [&] {
        store = session.OpenDefaultMsgStore();
        const auto owner = store->GetIdentity();
        std::cout << "  " << owner->GetName() << " <" << owner->GetEmailAddress() << ">\n";
      }))
    return 1;
  const bool inbox = Step("Inbox", [&] {
    const auto folder = store->GetFolder(dfininbox, "");
    std::cout << "  " << folder->GetDisplayName() << ": " << folder->GetTotalCount() << " items\n";
  });
  session.SetActive(false);
  if (inbox) std::cout << "Everything works.\n";
  return inbox ? 0 : 1;
}
