#pragma once

// A simulator and sessions on it, for tests of whole conversations.

#include <gtest/gtest.h>

#include <string>

#include "ews/VelmoreEWS.h"
#include "simulator/simulator.h"

namespace velmore::testing {

/// Alice and Bob, mailboxes empty.
simulator::Options TwoUsers(const std::string& version = "Exchange2016");

/// A running simulator for one test. Sessions are configured for Alice over plain HTTP, which is what most tests want.
class EWSTest : public ::testing::Test {
 protected:
  explicit EWSTest(simulator::Options options = TwoUsers());

  simulator::Simulator& Server() { return FServer; }
  /// Points a session at the simulator as Alice.
  void Configure(TVqEWSCustomSession& session);
  /// The session, logged on at the first call.
  TVqEWSServiceSession& Session();

  /// The last request of an operation, as it went over the wire. Fails the test when there was none.
  simulator::Exchange LastExchange(const std::string& operation);
  /// The operations since the last call of `Forget`, in order: {"GetFolder", "GetItem"}.
  std::vector<std::string> Operations();
  void Forget() { FServer.ClearExchanges(); }

  static constexpr const char* kAlice = "alice@example.com";
  static constexpr const char* kBob = "bob@example.com";

 private:
  simulator::Simulator FServer;
  std::unique_ptr<TVqEWSServiceSession> FSession;
};

/// The markup of the first element below the SOAP body ("m:GetItem ..."), without its own formatting.
std::string BodyOf(const std::string& envelope);
/// The markup inside the SOAP header.
std::string HeaderOf(const std::string& envelope);

/// The exception's text when `action` raises a T; fails the test when it raises nothing or something else.
template <typename T, typename TAction>
std::string MessageOf(TAction action) {
  try {
    action();
  } catch (const T& failure) {
    return failure.what();
  } catch (const std::exception& failure) {
    ADD_FAILURE() << "another exception: " << failure.what();
    return {};
  }
  ADD_FAILURE() << "no exception";
  return {};
}

}  // namespace velmore::testing
