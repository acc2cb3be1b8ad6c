#include "tests/support/EWSTestSupport.h"

#include <cstdlib>

#include "tests/support/WhichClient.h"

namespace velmore::testing {

simulator::Options TwoUsers(const std::string& version) {
  simulator::Options options;
  options.version = version;
  options.accept_departures = true;  // most tests hold the library's own form to the letter
  options.users = {{"alice", "alice@example.com", "Alice Arden", "wonder"},
                   {"bob", "bob@example.com", "Bob Birch", "builder"}};
  return options;
}

EWSTest::EWSTest(simulator::Options options) : FServer(std::move(options)) {
  FServer.Start();
}

void EWSTest::Configure(TVqEWSCustomSession& session) {
  session.SetServiceUrl(FServer.HttpUrl());
  session.GetCredentials().SetUserName("alice");
  session.GetCredentials().SetPassword("wonder");
  // For a second run of the same tests: what they see does not depend on it.
  if (std::getenv("VELMORE_LEAN")) session.SetLeanRoundTrips(true);
  if (!TestsUseWinHTTP()) session.TVqEWSCustomSession::SetNTService(false);  // a service's session would refuse it
}

TVqEWSServiceSession& EWSTest::Session() {
  if (!FSession) {
    FSession = std::make_unique<TVqEWSServiceSession>();
    Configure(*FSession);
    FSession->SetActive(true);
  }
  return *FSession;
}

simulator::Exchange EWSTest::LastExchange(const std::string& operation) {
  const auto exchanges = FServer.Exchanges();
  for (auto exchange = exchanges.rbegin(); exchange != exchanges.rend(); ++exchange) {
    if (exchange->operation == operation) return *exchange;
  }
  ADD_FAILURE() << "no " << operation << " was sent";
  return {};
}

std::vector<std::string> EWSTest::Operations() {
  std::vector<std::string> operations;
  for (const auto& exchange : FServer.Exchanges()) operations.push_back(exchange.operation);
  return operations;
}

std::string BodyOf(const std::string& envelope) {
  return VqCreateDOM(envelope)
      .SelectSingleElement("/Envelope/Body", kSelectRequired)
      .GetFirstChildElement()
      .GetXMLAsUtf8();
}

std::string HeaderOf(const std::string& envelope) {
  return VqCreateDOM(envelope).SelectSingleElement("/Envelope/Header", kSelectRequired).GetInnerXML().utf8();
}

}  // namespace velmore::testing
