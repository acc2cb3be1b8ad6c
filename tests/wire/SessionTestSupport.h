#pragma once

// A session whose hooks the test plays, and a server that answers it word by word.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "ews/VelmoreEWS.h"
#include "platform/http/uVqHTTPBase.h"
#include "platform/soap/uVqSOAPClient.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/WhichClient.h"

namespace velmore::testing {

/// A session with its hooks open to tests. Without dialogs, unless a test wants them.
class TTestSession : public TVqEWSCustomSession {
 public:
  explicit TTestSession(bool ANTService = TestsUseWinHTTP()) : TVqEWSCustomSession(nullptr) {
    SetName("Session1");
    TVqEWSCustomSession::SetNTService(ANTService);
    SetPasswordDialog(false);
  }

  using TVqEWSCustomSession::DoOnShowProfileDialog;
  using TVqEWSCustomSession::GetAutodiscoverResults;
  using TVqEWSCustomSession::GetHTTPClient;

  string HostBySRVOf(const string& AName) { return TVqEWSCustomSession::FindHostBySRV(AName); }
  bool AnswersAtOf(const string& AURL) { return TVqEWSCustomSession::AnswersAt(AURL); }

  /// What was called, in order.
  std::vector<std::string> Calls;
  std::function<string(const string&)> OnCreateProfile;
  std::function<string()> OnSelectProfile;
  std::function<IVqDOMDocument(const string&)> OnAutodiscover;
  std::function<string(const string&, const string&)> OnAutodiscoverV2;
  std::function<string(const string&)> OnFindHost;
  std::function<bool(const string&)> OnAnswersAt;
  std::function<void(bool)> OnWaitCursor;

 protected:
  void SetWaitCursor(bool AValue) override {
    Calls.push_back(AValue ? "SetWaitCursor(true)" : "SetWaitCursor(false)");
    if (OnWaitCursor) OnWaitCursor(AValue);
  }
  string CreateProfile(const string& AName) override {
    Calls.push_back("CreateProfile(" + AName.utf8() + ")");
    return OnCreateProfile ? OnCreateProfile(AName) : TVqEWSCustomSession::CreateProfile(AName);
  }
  string SelectProfile() override {
    Calls.push_back("SelectProfile");
    return OnSelectProfile ? OnSelectProfile() : TVqEWSCustomSession::SelectProfile();
  }
  IVqDOMDocument Autodiscover(const string& AEMail) override {
    Calls.push_back("Autodiscover(" + AEMail.utf8() + ")");
    return OnAutodiscover ? OnAutodiscover(AEMail) : TVqEWSCustomSession::Autodiscover(AEMail);
  }
  string AutodiscoverV2(const string& AEMail, const string& AProtocol) override {
    Calls.push_back("AutodiscoverV2(" + AEMail.utf8() + ", " + AProtocol.utf8() + ")");
    return OnAutodiscoverV2 ? OnAutodiscoverV2(AEMail, AProtocol)
                            : TVqEWSCustomSession::AutodiscoverV2(AEMail, AProtocol);
  }
  string FindHostBySRV(const string& AName) override {
    Calls.push_back("FindHostBySRV(" + AName.utf8() + ")");
    return OnFindHost ? OnFindHost(AName) : TVqEWSCustomSession::FindHostBySRV(AName);
  }
  bool AnswersAt(const string& AURL) override {
    Calls.push_back("AnswersAt(" + AURL.utf8() + ")");
    return OnAnswersAt ? OnAnswersAt(AURL) : TVqEWSCustomSession::AnswersAt(AURL);
  }
};

/// The numbers and the name that a server tells of itself; an empty name leaves the attribute out.
struct TToldVersion {
  int Major = 8, Minor = 1, Build = 240, MinorBuild = 5;
  std::string Name = "Exchange2007_SP1";
};

class SessionTest : public ::testing::Test {
 protected:
  using Answer = ScriptedServer::Answer;
  using Names = std::vector<std::string>;

  using Version = TToldVersion;

  explicit SessionTest(bool ntService = true) : Session(ntService) {
    Session.SetServiceUrl(Server.Url("/EWS/Exchange.asmx"));
    Session.SetCurrentTimeZoneContext("");
  }

  // ---- What the server says

  /// A reply as it goes over the wire.
  static Answer Http(const std::string& status, const std::string& body, const std::string& headers = {});
  static Answer Http(const std::string& bytes);
  /// An envelope with a header and a body.
  static std::string Envelope(const std::string& header, const std::string& body);
  static std::string VersionHeader(const Version& version);
  /// A proper reply of an operation, with these response messages.
  static Answer Reply(const std::string& operation, const std::string& messages);
  /// The messages of a reply: "Success", "NoError" and a content.
  static std::string Success(const std::string& operation, const std::string& content = {});
  static std::string Refusal(const std::string& operation, const std::string& code, const std::string& text,
                             const std::string& responseClass = "Error");
  static Answer ProbeAnswer(const Version& version);
  static Answer SoapFault(const std::string& code, const std::string& text);

  /// Answers what is asked when a store is opened (GetFolder, ConvertId, ResolveNames), and anything else with a
  /// success. The mailbox is `address`'s.
  static Answer StoreAnswer(const ScriptedServer::Request& request, const std::string& address);

  /// Logs on to a server that calls itself this version. From Exchange2010 on the script must have the answer to
  /// GetServerTimeZones behind it.
  void LogOn(const Version& version = {});

  // ---- What went over the wire

  /// The request at a position, 0 for the first.
  ScriptedServer::Request Request(std::size_t at);
  ScriptedServer::Request LastRequest();
  /// The whole envelope of a request, to be compared with `Expected`.
  static std::string Sent(const ScriptedServer::Request& request);
  /// The envelope with these header elements and this body, in the form of `Sent`.
  static std::string Expected(const std::string& header, const std::string& body);

  /// Makes the server's script a proper exchange and runs it: the session is usable.
  void ExpectUsable();

  ScriptedServer Server;
  TTestSession Session;
};

/// Runs `action`, which must raise a T, and looks at it.
template <typename T, typename TAction, typename TCheck>
void ExpectRaised(TAction action, TCheck check) {
  try {
    action();
  } catch (const T& failure) {
    check(failure);
    return;
  } catch (const std::exception& failure) {
    ADD_FAILURE() << "another exception: " << failure.what();
    return;
  }
  ADD_FAILURE() << "no exception";
}

/// The text of the plain exception that `action` raises; of an EEWSException or another class the test fails.
std::string PlainMessageOf(const std::function<void()>& action);
/// The texts of an exception and of all that are nested in it, outermost first.
std::vector<std::string> NestedMessagesOf(const std::function<void()>& action);

}  // namespace velmore::testing
