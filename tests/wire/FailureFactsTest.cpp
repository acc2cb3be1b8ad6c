// What failures tell over real sockets: whether a request may have been carried out, and whether the session is usable.

#include "ews/idioms/uVqEWSFailures.h"
#include "ews/idioms/uVqEWSRanges.h"
#include "tests/wire/BothForms.h"

namespace velmore::testing {
namespace {

using namespace std::chrono_literals;

class FailureFactsOnTheWire : public BothFormsTest {
 protected:
  struct TFacts {
    std::string Code;
    std::int32_t Status;
    bool MayHaveHappened;
    bool SessionUsable;
    friend bool operator==(const TFacts&, const TFacts&) = default;
    friend std::ostream& operator<<(std::ostream& out, const TFacts& facts) {
      return out << facts.Code << " " << facts.Status << (facts.MayHaveHappened ? " may have happened" : "")
                 << (facts.SessionUsable ? "" : " unusable");
    }
  };
  template <typename TAction>
  static TFacts FactsOf(TAction action) {
    try {
      action();
    } catch (const EVqException& failure) {
      return {VqResponseCode(failure).utf8(), failure.HTTPStatus(), failure.MayHaveHappened(), failure.SessionUsable()};
    }
    ADD_FAILURE() << "no exception";
    return {};
  }
  /// What a request that changes something, and one that only reads, tell of the same fault.
  std::pair<TFacts, TFacts> Facts(simulator::Fault fault) {
    const TVqRef<IVqEWSFolder> inbox = Inbox();
    fault.operation = "CreateFolder";
    Server().AddFault(fault);
    const TFacts changing = FactsOf([&] { inbox->CreateFolder(sffFolder, "New"); });
    fault.operation = "FindItem";
    Server().AddFault(fault);
    return {changing, FactsOf([&] { inbox->GetItems()->Open(); })};
  }
};
INSTANTIATE_TEST_SUITE_P(Forms, FailureFactsOnTheWire, ::testing::Bool(), FormOf);

TEST_P(FailureFactsOnTheWire, ACutConnectionLeavesOpenWhatChangesSomething) {
  simulator::Fault fault;
  fault.close_before_reply = true;
  const auto [changing, reading] = Facts(fault);
  EXPECT_EQ(changing, (TFacts{"", 0, true, true}));
  EXPECT_EQ(reading, (TFacts{"", 0, false, true}));
}

TEST_P(FailureFactsOnTheWire, AReplyThatCannotBeReadLeavesItOpen) {
  simulator::Fault fault;
  fault.replace_body = true;
  fault.content_type = "text/xml; charset=utf-8";
  for (const char* body : {"<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body><m:Cre",
                           "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body><Other/></s:Body>"
                           "</s:Envelope>"}) {
    fault.body = body;
    const auto [changing, reading] = Facts(fault);
    EXPECT_EQ(changing, (TFacts{"", 0, true, true})) << body;
    EXPECT_EQ(reading, (TFacts{"", 0, false, true})) << body;
  }
  fault.body = "<html>Log on to this network</html>";
  EXPECT_EQ(Facts(fault).first, (TFacts{"", 200, true, true}));
}

TEST_P(FailureFactsOnTheWire, AnAnswerThatLacksWhatIsRequired) {
  AnswerNext("CreateFolder", ReplyOf("CreateFolder", "<m:Folders/>"));
  EXPECT_EQ(FactsOf([&] { Inbox()->CreateFolder(sffFolder, "New"); }), (TFacts{"", 0, true, true}));
  AnswerNext("FindItem", ReplyOf("FindItem", ""));
  EXPECT_EQ(FactsOf([&] { Inbox()->GetItems()->Open(); }), (TFacts{"", 0, false, true}));
}

TEST_P(FailureFactsOnTheWire, RefusalsCarriedNothingOut) {
  simulator::Fault fault;
  fault.response_code = "ErrorAccessDenied";
  EXPECT_EQ(Facts(fault).first, (TFacts{"ErrorAccessDenied", 0, false, true}));
  fault.response_code = "ErrorTimeoutExpired";
  EXPECT_EQ(Facts(fault).first, (TFacts{"ErrorTimeoutExpired", 0, true, true}));
  EXPECT_EQ(Facts(fault).second, (TFacts{"ErrorTimeoutExpired", 0, false, true}));
  fault.response_code = "ErrorPasswordExpired";
  EXPECT_EQ(Facts(fault).first, (TFacts{"ErrorPasswordExpired", 0, false, false}));
  fault.response_code.clear();
  fault.soap_fault_code = "ErrorInvalidIdMalformed";
  EXPECT_EQ(Facts(fault).first, (TFacts{"ErrorInvalidIdMalformed", 500, false, true}));
  fault.soap_fault_code.clear();
  fault.http_status = 503;
  EXPECT_EQ(Facts(fault).first, (TFacts{"", 503, false, true}));
  fault.http_status = 502;
  EXPECT_EQ(Facts(fault).first, (TFacts{"", 502, true, true}));
  fault.http_status = 404;
  EXPECT_EQ(Facts(fault).second, (TFacts{"", 404, false, false}));
}

TEST_P(FailureFactsOnTheWire, TheTimeOfABusyServer) {
  simulator::Fault fault;
  fault.http_status = 429;
  fault.headers = {{"Retry-After", "7"}};
  fault.operation = "FindItem";
  Server().AddFault(fault);
  try {
    Inbox()->GetItems()->Open();
    ADD_FAILURE() << "no exception";
  } catch (const EVqException& failure) {
    EXPECT_EQ(failure.RetryAfter(), 7s);
  }
}

TEST_P(FailureFactsOnTheWire, WithoutASessionThatIsLoggedOnNothingIsUsable) {
  const TVqRef<IVqEWSFolder> inbox = Inbox();
  Session().SetActive(false);
  EXPECT_EQ(FactsOf([&] { inbox->GetItems()->Open(); }), (TFacts{"", 0, false, false}));
  TVqEWSServiceSession session;
  EXPECT_EQ(FactsOf([&] { session.GetServerVersion(); }), (TFacts{"", 0, false, false}));
  EXPECT_EQ(FactsOf([&] { session.CreateHTTPClient(true); }), (TFacts{"", 0, false, false}));
}

TEST_P(FailureFactsOnTheWire, ALogonThatFailed) {
  TVqEWSServiceSession session;
  Configure(session);
  session.GetCredentials().SetPassword("wrong");
  EXPECT_EQ(FactsOf([&] { session.SetActive(true); }), (TFacts{"", 401, false, false}));
  Configure(session);
  simulator::Fault fault;
  fault.operation = "ConvertId";
  fault.close_before_reply = true;
  Server().AddFault(fault);
  EXPECT_EQ(FactsOf([&] { session.SetActive(true); }), (TFacts{"ErrorAutoDiscoverFailed", 0, false, false}));
  Configure(session);
  session.SetAfterLogon([](TVqComponent&) { throw EVqException("of the application"); });
  EXPECT_EQ(FactsOf([&] { session.SetActive(true); }), (TFacts{"", 0, false, true})) << "it is logged on by then";
}

TEST_P(FailureFactsOnTheWire, APasswordThatIsWrongFromNowOn) {
  const TVqRef<IVqEWSFolder> inbox = Inbox();
  TVqCredentials wrong;
  wrong.SetUserName("alice");
  wrong.SetPassword("wrong");
  Session().SetCredentials(wrong);
  EXPECT_EQ(FactsOf([&] { inbox->CreateFolder(sffFolder, "New"); }), (TFacts{"", 401, false, false}));
}

TEST_P(FailureFactsOnTheWire, AnEmptyReferenceSaysWhatWasAskedFor) {
  const auto item = Store().GetItem(AddMessage("One"));
  EXPECT_EQ(MessageOf<EVqException>([&] { Supports<IVqEWSCalendarItem>(item)->GetIsAllDayEvent(); }),
            "An empty reference to IVqEWSCalendarItem was used.");
  EXPECT_EQ(MessageOf<EVqException>([&] { static_cast<void>(*TVqRef<IVqEWSFolder>()); }),
            "An empty reference to IVqEWSFolder was used.");
}

}  // namespace
}  // namespace velmore::testing
