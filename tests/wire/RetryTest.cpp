// Asking again: which failures of what only reads are waited out, for how long, and what is never sent again.

#include <cmath>

#include "ews/idioms/uVqEWSFailures.h"
#include "ews/idioms/uVqEWSRanges.h"
#include "tests/wire/BothForms.h"

namespace velmore::testing {
namespace {

using namespace std::chrono_literals;

class Retry : public BothFormsTest {
 protected:
  struct TWait {
    std::string Code;
    std::int32_t Attempts;
    std::chrono::milliseconds Time;
  };

  Retry() {
    Inbox();  // before anything fails
    Forget();
  }

  /// Waits of a millisecond, four attempts.
  TVqEWSRetryPolicy Policy() {
    TVqEWSRetryPolicy policy{.Attempts = 4, .FirstWait = 1ms, .LongestWait = 50ms, .Jitter = 0};
    policy.OnWait = [this](const EVqException& failure, std::int32_t attempts, std::chrono::milliseconds wait) {
      Waits.push_back({VqResponseCode(failure).utf8(), attempts, wait});
    };
    return policy;
  }
  void Use() { Session().SetRetryPolicy(Policy()); }
  static simulator::Fault Fault(const std::string& operation, int times) {
    simulator::Fault fault;
    fault.operation = operation;
    fault.times = times;
    return fault;
  }
  void RefuseWith(const std::string& operation, const std::string& code, int times, int backOff = 0) {
    simulator::Fault fault = Fault(operation, times);
    fault.response_code = code;
    fault.back_off_milliseconds = backOff;
    Server().AddFault(fault);
  }
  void List() {
    for ([[maybe_unused]] const auto row : VqItemsOf(*FInbox, FLD_ITEM_SUBJECT)) {
    }
  }

  std::vector<TWait> Waits;
  TVqRef<IVqEWSFolder> FInbox = Inbox();
};
INSTANTIATE_TEST_SUITE_P(Forms, Retry, ::testing::Bool(), FormOf);

TEST_P(Retry, IsOffAtFirst) {
  EXPECT_EQ(Session().GetRetryPolicy().Attempts, 1);
  RefuseWith("FindItem", "ErrorServerBusy", 1);
  EXPECT_THROW(List(), EVqServerBusy);
  EXPECT_EQ(Operations(), Names{"FindItem"});
}

TEST_P(Retry, ABusyServerIsAskedAgainInEachOfItsForms) {
  Use();
  const auto busy = [&](auto shape) {
    simulator::Fault fault = Fault("FindItem", 1);
    shape(fault);
    Server().AddFault(fault);
  };
  busy([](simulator::Fault& fault) { fault.response_code = "ErrorServerBusy"; });
  busy([](simulator::Fault& fault) { fault.soap_fault_code = "ErrorServerBusy"; });
  busy([](simulator::Fault& fault) { fault.http_status = 503; });
  List();
  EXPECT_EQ(Operations(), (Names{"FindItem", "FindItem", "FindItem", "FindItem"}));
  ASSERT_EQ(Waits.size(), 3u);
  EXPECT_EQ(Waits[0].Code, "ErrorServerBusy");
  EXPECT_EQ(Waits[1].Code, "ErrorServerBusy");
  EXPECT_EQ(Waits[2].Code, "");
}

TEST_P(Retry, WaitsGetLongerUpToTheLongest) {
  TVqEWSRetryPolicy policy = Policy();
  policy.Attempts = 6;
  policy.LongestWait = 5ms;
  Session().SetRetryPolicy(policy);
  RefuseWith("FindItem", "ErrorServerBusy", 5);
  List();
  std::vector<std::chrono::milliseconds> times;
  for (const TWait& wait : Waits) {
    EXPECT_EQ(wait.Attempts, static_cast<std::int32_t>(times.size()) + 1);
    times.push_back(wait.Time);
  }
  EXPECT_EQ(times, (std::vector{1ms, 2ms, 4ms, 5ms, 5ms}));
}

TEST_P(Retry, TheServersOwnTimeIsKept) {
  Use();
  RefuseWith("FindItem", "ErrorServerBusy", 1, 30);
  simulator::Fault fault = Fault("FindItem", 1);
  fault.soap_fault_code = "ErrorServerBusy";
  fault.back_off_milliseconds = 20;
  Server().AddFault(fault);
  const auto began = std::chrono::steady_clock::now();
  List();
  EXPECT_GE(std::chrono::steady_clock::now() - began, 50ms);
  ASSERT_EQ(Waits.size(), 2u);
  EXPECT_EQ(Waits[0].Time, 30ms);
  EXPECT_EQ(Waits[1].Time, 20ms);
}

TEST_P(Retry, AServerThatWantsMoreThanTheLongestWaitIsNotAskedAgain) {
  Use();
  simulator::Fault fault = Fault("FindItem", 1);
  fault.http_status = 503;
  fault.headers = {{"Retry-After", "1"}};
  Server().AddFault(fault);
  try {
    List();
    ADD_FAILURE() << "no exception";
  } catch (const EVqException& failure) {
    EXPECT_EQ(failure.RetryAfter(), 1s);
    EXPECT_EQ(failure.HTTPStatus(), 503);
  }
  EXPECT_EQ(Operations(), Names{"FindItem"});
  RefuseWith("FindItem", "ErrorServerBusy", 1, 60);
  EXPECT_THROW(List(), EEWSServerBusy);
  EXPECT_TRUE(Waits.empty());
}

TEST_P(Retry, JitterMakesWaitsLongerAndNeverShorter) {
  TVqEWSRetryPolicy policy = Policy();
  policy.Attempts = 9;
  policy.Jitter = 1;
  Session().SetRetryPolicy(policy);
  RefuseWith("FindItem", "ErrorServerBusy", 8, 10);
  List();
  ASSERT_EQ(Waits.size(), 8u);
  std::set<std::chrono::milliseconds> different;
  for (const TWait& wait : Waits) {
    EXPECT_GE(wait.Time, 10ms);
    EXPECT_LE(wait.Time, 20ms);
    different.insert(wait.Time);
  }
  EXPECT_GT(different.size(), 1u);
}

TEST_P(Retry, CutConnectionsAndGatewaysPass) {
  Use();
  simulator::Fault cut = Fault("FindItem", 1);
  cut.close_before_reply = true;
  Server().AddFault(cut);
  for (const int status : {502, 504}) {
    simulator::Fault gateway = Fault("FindItem", 1);
    gateway.http_status = status;
    Server().AddFault(gateway);
  }
  List();
  EXPECT_EQ(Waits.size(), 3u);
}

TEST_P(Retry, CodesOfLoadPassAndRefusalsDoNot) {
  Use();
  for (const char* code : {"ErrorMailboxStoreUnavailable", "ErrorTimeoutExpired", "ErrorMailboxMoveInProgress"})
    RefuseWith("FindItem", code, 1);
  List();
  EXPECT_EQ(Waits.size(), 3u);
  Forget();
  RefuseWith("FindItem", "ErrorAccessDenied", 1);
  EXPECT_EQ(CodeOf([&] { List(); }), "ErrorAccessDenied");
  simulator::Fault wrong = Fault("FindItem", 1);
  wrong.http_status = 404;
  Server().AddFault(wrong);
  EXPECT_THROW(List(), EVqHTTPException);
  EXPECT_EQ(Operations(), (Names{"FindItem", "FindItem"}));
}

TEST_P(Retry, TheLastAttemptRaises) {
  Use();
  RefuseWith("FindItem", "ErrorServerBusy", 4);
  EXPECT_THROW(List(), EEWSServerBusy);
  EXPECT_EQ(Operations().size(), 4u);
  EXPECT_EQ(Waits.size(), 3u);
  List();
}

// Every operation of the service that changes something, by what it is refused with; one round of each.
TEST_P(Retry, WhatChangesSomethingIsNeverSentAgain) {
  Use();
  const TItemId message = AddMessage("One");
  const TItemId drafts = Folder(dfindrafts)->GetID();
  const auto refused = [&](const char* operation, auto action) {
    simulator::Fault fault = Fault(operation, 1);
    fault.soap_fault_code = "ErrorServerBusy";
    Server().AddFault(fault);
    EXPECT_THROW(action(), EVqServerBusy) << operation;
    RefuseWith(operation, "ErrorServerBusy", 1);
    EXPECT_THROW(action(), EVqServerBusy) << operation;
    simulator::Fault cut = Fault(operation, 1);
    cut.close_before_reply = true;
    Server().AddFault(cut);
    EXPECT_THROW(action(), EVqHTTPApiException) << operation;
    EXPECT_TRUE(Waits.empty()) << operation;
    Waits.clear();
  };
  refused("CopyItem", [&] { FInbox->CopyItem(message, drafts); });
  refused("DeleteItem", [&] { FInbox->DeleteItem(message, dtHardDelete); });
  refused("CreateFolder", [&] { FInbox->CreateFolder(sffFolder, "New"); });
  refused("CreateItem", [&] {
    const auto mail = FInbox->CreateItem(tMessage);
    mail->SetSubject("New");
    mail->SaveChanges(soAutoResolve);
  });
  const auto mail = Supports<IVqEWSEMail>(Store().GetItem(message));
  refused("UpdateItem", [&] {
    mail->SetSubject("Other " + IntToStr(std::rand()));
    mail->SaveChanges(soAutoResolve);
  });
}

TEST_P(Retry, WhatOnWaitRaisesEndsTheOperation) {
  TVqEWSRetryPolicy policy = Policy();
  policy.OnWait = [](const EVqException&, std::int32_t, std::chrono::milliseconds) { throw EAbort("Enough."); };
  Session().SetRetryPolicy(policy);
  RefuseWith("FindItem", "ErrorServerBusy", 1);
  EXPECT_EQ(MessageOf<EAbort>([&] { List(); }), "Enough.");
  simulator::Fault fault = Fault("FindItem", 1);
  fault.http_status = 503;
  Server().AddFault(fault);
  EXPECT_EQ(MessageOf<EAbort>([&] { List(); }), "Enough.");
}

TEST_P(Retry, APolicyThatIsReplacedDuringAWaitHoldsForItsRequest) {
  Names told;
  TVqEWSRetryPolicy policy = Policy();
  policy.OnWait = [&, text = std::string("longer than what a text keeps in itself")](const EVqException&, std::int32_t,
                                                                                     std::chrono::milliseconds) {
    Session().SetRetryPolicy({});
    told.push_back(text);
  };
  Session().SetRetryPolicy(policy);
  RefuseWith("FindItem", "ErrorServerBusy", 2);
  List();
  EXPECT_EQ(told, Names(2, "longer than what a text keeps in itself"));
  EXPECT_EQ(Session().GetRetryPolicy().Attempts, 1);
}

TEST_P(Retry, ALogonIsTriedAgainToo) {
  TVqEWSServiceSession session;
  Configure(session);
  session.SetStrictSchema(GetParam());
  session.SetRetryPolicy(Policy());
  simulator::Fault fault = Fault("ConvertId", 1);
  fault.http_status = 503;
  Server().AddFault(fault);
  session.SetActive(true);
  EXPECT_EQ(Waits.size(), 1u);
}

TEST_P(Retry, OtherClientsOfTheSessionKeepToItToo) {
  Use();
  const TVqRef<IVqHTTPClient> http = Session().CreateHTTPClient(true);
  const std::unique_ptr<TVqSOAPClient> soap(Session().CreateSOAPClient(http));
  const auto request = Session().CreateRequest(soap.get(), "m:GetFolder", "");
  request->GetMethod().AddElement("m:FolderShape/t:BaseShape").SetText("IdOnly");
  request->GetMethod().AddElement("m:FolderIds/t:DistinguishedFolderId").SetAttribute("Id", "inbox");
  RefuseWith("GetFolder", "ErrorServerBusy", 1);
  TVqRef<IVqSOAPResponse> response;
  request->Send(response);
  EXPECT_EQ(Waits.size(), 1u);
  EXPECT_TRUE(response->GetDocument().SelectSingleElement("//FolderId", kSelectQuiet));
}

TEST_P(Retry, AStopThatWasAskedForEndsTheWaitAtOnce) {
  TVqEWSRetryPolicy policy = Policy();
  policy.FirstWait = policy.LongestWait = 600'000ms;
  std::stop_source stop;
  policy.OnWait = [&](const EVqException&, std::int32_t, std::chrono::milliseconds) { stop.request_stop(); };
  Session().SetRetryPolicy(policy);
  Session().SetStopToken(stop.get_token());
  RefuseWith("FindItem", "ErrorServerBusy", 1);
  try {
    List();
    ADD_FAILURE() << "no exception";
  } catch (const EVqHTTPApiException& failure) {
    EXPECT_EQ(failure.GetNumber(), VqErrCancelled);
    EXPECT_FALSE(failure.MayHaveHappened());
  }
  Session().SetStopToken({});
  List();
}

TEST_P(Retry, PoliciesThatMakeNoSenseAreRefused) {
  const auto text = [&](const TVqEWSRetryPolicy& policy) {
    return MessageOf<EVqException>([&] { Session().SetRetryPolicy(policy); });
  };
  EXPECT_EQ(text({.Attempts = 0}), "A request is sent once at least: a retry policy needs an attempt.");
  EXPECT_EQ(text({.FirstWait = -1ms}), "A retry policy cannot have a negative wait.");
  EXPECT_EQ(text({.LongestWait = -1ms}), "A retry policy cannot have a negative wait.");
  for (const double jitter : {-0.1, 1.1, std::nan("")})
    EXPECT_EQ(text({.Jitter = jitter}), "The jitter of a retry policy is a part of its waits: from 0 to 1.");
  EXPECT_EQ(Session().GetRetryPolicy().Attempts, 1);
}

TEST_P(Retry, IsCopiedWithTheSession) {
  Use();
  TVqEWSServiceSession other;
  Session().SetActive(false);
  Session().AssignTo(&other);
  EXPECT_EQ(other.GetRetryPolicy().Attempts, 4);
}

}  // namespace
}  // namespace velmore::testing
