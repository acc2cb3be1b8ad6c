// How operations on many make their requests: busy servers, answers that are too large or cannot be read, stops.

#include "tests/wire/BulkTestSupport.h"

namespace velmore::testing {
namespace {

using Sizes = std::vector<std::int32_t>;
using std::chrono::milliseconds;

class BulkRequests : public BulkTest {
 protected:
  void FaultNext(const std::string& operation, const std::string& code, int times = 1, int skip = 0) {
    simulator::Fault fault;
    fault.operation = operation;
    fault.soap_fault_code = code;
    fault.times = times;
    fault.skip = skip;
    Server().AddFault(fault);
  }
  void StatusNext(const std::string& operation, int status, int times = 1) {
    simulator::Fault fault;
    fault.operation = operation;
    fault.http_status = status;
    fault.times = times;
    Server().AddFault(fault);
  }
  static bool SaysThatItMayHaveHappened(const TVqEWSIdResult& result) {
    try {
      result.Value();
    } catch (const EVqException& failure) {
      return failure.MayHaveHappened();
    }
    return false;
  }
  Sizes SizesOfUpdate() { return SizesOf("UpdateItem", "ItemChanges/ItemChange"); }
  bool IsReadOnServer(const TItemId& id) { return Mail(id)->GetIsRead(); }
};
INSTANTIATE_TEST_SUITE_P(Forms, BulkRequests, kBothForms, NameOfForm);

// ---- Busy

TEST_P(BulkRequests, ABusyServerIsWaitedForAndAskedForLess) {
  const auto ids = AddMessages(8);
  auto bulk = Bulk(8);
  BusyNext("GetItem", 30, 2);
  Forget();
  const auto begin = std::chrono::steady_clock::now();
  const auto results = bulk.GetItems(ids);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(60));
  EXPECT_EQ(SizesOfGetItem(), (Sizes{8, 4, 2, 2, 2, 2}));
  EXPECT_EQ(CountOf(results), 8u);
  for (std::size_t i = 0; i < 8; ++i) EXPECT_EQ(results[i].Value()->GetID(), ids[i]);
}

TEST_P(BulkRequests, ABusyServerHasDoneNothingToWhatIsMarked) {
  const auto ids = AddMessages(4);
  auto bulk = Bulk();
  BusyNext("UpdateItem", 1);
  StatusNext("UpdateItem", 503);
  simulator::Fault later = {};
  later.operation = "UpdateItem";
  later.http_status = 429;
  later.headers = {{"Retry-After", "0"}};
  Server().AddFault(later);
  bulk.SetLongestWait(std::chrono::seconds(30));
  Forget();
  EXPECT_EQ(CountOf(bulk.MarkAsRead(ids)), 4u);
  EXPECT_EQ(SizesOfUpdate(), (Sizes{4, 2, 1, 1, 1, 1, 1}));
  for (const TItemId& id : ids) EXPECT_TRUE(IsReadOnServer(id));
}

TEST_P(BulkRequests, ItGivesUpAfterSoManyWaits) {
  const auto ids = AddMessages(6);
  auto bulk = Bulk(4);
  bulk.SetBusyRetries(2);
  BusyNext("GetItem", 1, 3);
  Forget();
  const auto results = bulk.GetItems(ids);
  EXPECT_EQ(SizesOfGetItem(), (Sizes{4, 2, 1}));
  EXPECT_EQ(CountOf(results), 0u);
  EXPECT_TRUE(results[0].WasSent());
  for (std::size_t i = 1; i < 6; ++i) EXPECT_FALSE(results[i].WasSent()) << i;
  for (const auto& result : results) EXPECT_THROW(result.Value(), EVqSOAPServerBusy);
  EXPECT_EQ(CountOf(bulk.GetItems(ids)), 6u);
}

TEST_P(BulkRequests, ItDoesNotWaitWhenItIsToldNotTo) {
  const auto ids = AddMessages(2);
  auto bulk = Bulk();
  bulk.SetBusyRetries(0);
  BusyNext("GetItem", 1);
  Forget();
  const auto results = bulk.GetItems(ids);
  EXPECT_EQ(SizesOfGetItem(), Sizes{2});
  EXPECT_THROW(results[0].Value(), EVqSOAPServerBusy);
}

TEST_P(BulkRequests, ItDoesNotWaitLongerThanItMay) {
  const auto ids = AddMessages(2);
  auto bulk = Bulk();
  bulk.SetLongestWait(milliseconds(500));
  BusyNext("GetItem", 60000);
  EXPECT_THROW(bulk.GetItems(ids)[0].Value(), EVqSOAPServerBusy);
}

TEST_P(BulkRequests, ItemsThatTheServerWasTooBusyForAreAskedForAgain) {
  const auto ids = AddMessages(3);
  auto bulk = Bulk();
  bulk.GetItems(ids);
  // The first and the last are refused for load, the one between is there.
  const std::string message = BodyOf(LastExchange("GetItem").response_body);
  const IVqDOMDocument answer = VqCreateDOM(LastExchange("GetItem").response_body);
  const IVqDOMElement messages = answer.SelectSingleElement("//ResponseMessages", kSelectRequired);
  for (const int which : {0, 2}) {
    const IVqDOMElement refused = messages.GetChildElements().GetItem(which);
    refused.SetAttribute("ResponseClass", "Error");
    refused.SetInnerXML(
        "<m:MessageText>Later.</m:MessageText><m:ResponseCode>ErrorServerBusy</m:ResponseCode><m:MessageXml>"
        "<t:Value Name=\"BackOffMilliseconds\">20</t:Value></m:MessageXml>");
  }
  AnswerNext("GetItem", answer.GetXMLAsUtf8());
  Forget();
  std::vector<std::size_t> told;
  bulk.GetItems(ids, [&](std::size_t index, const TVqEWSItemResult& result) {
    EXPECT_EQ(result.Value()->GetID(), ids[index]);
    told.push_back(index);
  });
  EXPECT_EQ(told, (std::vector<std::size_t>{0, 1, 2}));
  EXPECT_EQ(SizesOfGetItem(), (Sizes{3, 1, 1}));
}

TEST_P(BulkRequests, WhatAServerDidNotComeToIsAskedForAgain) {
  const auto ids = AddMessages(3);
  auto bulk = Bulk();
  bulk.MarkAsRead(ids);
  const IVqDOMDocument answer = VqCreateDOM(LastExchange("UpdateItem").response_body);
  const IVqDOMElement messages = answer.SelectSingleElement("//ResponseMessages", kSelectRequired);
  const auto refuse = [&](int which, const char* code) {
    const IVqDOMElement refused = messages.GetChildElements().GetItem(which);
    refused.SetAttribute("ResponseClass", "Error");
    refused.SetInnerXML(string("<m:MessageText>No.</m:MessageText><m:ResponseCode>") + code + "</m:ResponseCode>");
  };
  refuse(1, "ErrorQuotaExceeded");
  refuse(2, "ErrorBatchProcessingStopped");
  AnswerNext("UpdateItem", answer.GetXMLAsUtf8());
  Forget();
  EXPECT_EQ(CodesOf(bulk.MarkAsRead(ids)), (Names{"", "ErrorQuotaExceeded", ""}));
  EXPECT_EQ(SizesOfUpdate(), (Sizes{3, 1}));
}

TEST_P(BulkRequests, ABusyReadIsWaitedForOnceThoughTheSessionHasAPolicy) {
  const auto ids = AddMessages(8);
  auto bulk = Bulk();
  bulk.SetRequestSize(8);
  int waitsOfThePolicy = 0, waitsTold = 0;
  TVqEWSRetryPolicy policy{.Attempts = 4, .FirstWait = milliseconds(1), .Jitter = 0};
  policy.OnWait = [&](const EVqException&, std::int32_t, milliseconds) { ++waitsOfThePolicy; };
  Session().SetRetryPolicy(policy);
  bulk.SetOnProgress([&](const TVqEWSBulkProgress& at) {
    waitsTold += at.Waiting > milliseconds(0);
    return true;
  });
  BusyNext("GetItem", 20);
  Forget();
  EXPECT_EQ(CountOf(bulk.GetItems(ids)), 8u);
  EXPECT_EQ(SizesOfGetItem(), (Sizes{8, 4, 4}));
  EXPECT_EQ(waitsOfThePolicy, 0);
  EXPECT_GE(waitsTold, 1);
  // Of a single item, which has a message of its own to be refused in.
  simulator::Fault refusal;
  refusal.operation = "GetItem";
  refusal.response_code = "ErrorServerBusy";
  refusal.back_off_milliseconds = 20;
  Server().AddFault(refusal);
  EXPECT_EQ(CountOf(bulk.GetItems(std::span(ids).first(1))), 1u);
  EXPECT_EQ(waitsOfThePolicy, 0);
  // What is no operation on many is the policy's, during one too.
  Server().AddFault(refusal);
  Store().GetItem(ids[0]);
  EXPECT_EQ(waitsOfThePolicy, 1);
}

TEST_P(BulkRequests, WhatElseMayPassIsThePolicysAffair) {
  const auto ids = AddMessages(4);
  auto bulk = Bulk();
  int waits = 0;
  TVqEWSRetryPolicy policy{.Attempts = 4, .FirstWait = milliseconds(1), .Jitter = 0};
  policy.OnWait = [&](const EVqException&, std::int32_t, milliseconds) { ++waits; };
  Session().SetRetryPolicy(policy);
  CutNext("GetItem", Cut::before);
  StatusNext("GetItem", 502);
  Forget();
  EXPECT_EQ(CountOf(bulk.GetItems(ids)), 4u);
  EXPECT_EQ(SizesOfGetItem(), (Sizes{4, 4, 4}));
  EXPECT_EQ(waits, 2);
  // What changes something is not sent again by either.
  CutNext("UpdateItem", Cut::before);
  EXPECT_EQ(CountOf(bulk.MarkAsRead(ids)), 0u);
  EXPECT_EQ(waits, 2);
}

// ---- Too large, not to be read

TEST_P(BulkRequests, AnAnswerThatIsTooLargeIsAskedForInHalves) {
  const auto ids = AddMessages(8);
  auto bulk = Bulk(4);
  bulk.GetItems(ids);
  TVqHTTPLimits limits = Session().GetLimits();
  limits.ReplyBytes = limits.UnpackedBytes = LastExchange("GetItem").response_body.size() * 3 / 4;
  Session().SetLimits(limits);
  Forget();
  const auto results = bulk.GetItems(ids);
  EXPECT_EQ(SizesOfGetItem(), (Sizes{4, 2, 2, 2, 2}));
  EXPECT_EQ(CountOf(results), 8u);
}

TEST_P(BulkRequests, ADocumentWithTooManyNodesIsAskedForInHalves) {
  const auto ids = AddMessages(4);
  auto bulk = Bulk();
  TVqXMLLimits limits = Session().GetXMLLimits();
  limits.MaxNodes = 200;
  Session().SetXMLLimits(limits);
  Forget();
  EXPECT_EQ(CountOf(bulk.GetItems(ids)), 4u);
  EXPECT_LT(SizesOfGetItem().back(), 4);
}

TEST_P(BulkRequests, OneThatIsTooLargeFailsAloneAndTheSizeComesBack) {
  auto ids = AddMessages(40);
  ids[3] =
      AddItem("inbox", "<t:Message><t:Subject>" + std::string(200, 'x') + "</t:Subject><t:Body BodyType=\"Text\">" +
                           std::string(300000, 'y') + "</t:Body></t:Message>");
  auto bulk = Bulk(4);
  TVqHTTPLimits limits = Session().GetLimits();
  limits.ReplyBytes = limits.UnpackedBytes = 200000;
  Session().SetLimits(limits);
  Forget();
  const auto results = bulk.GetItems(ids);
  EXPECT_EQ(CountOf(results), 39u);
  EXPECT_THROW(results[3].Value(), EVqHTTPApiException);
  const Sizes sizes = SizesOfGetItem();
  EXPECT_EQ((Sizes(sizes.begin(), sizes.begin() + 5)), (Sizes{4, 2, 2, 1, 1}));
  EXPECT_EQ(*std::max_element(sizes.begin() + 8, sizes.end()), 4);
}

TEST_P(BulkRequests, AFaultThatOneItemCausesIsThatItemsFailure) {
  const auto ids = AddMessages(8);
  auto bulk = Bulk();
  // Each request with the third item in it: eight, then its four, then its two, then itself.
  FaultNext("GetItem", "ErrorTimeoutExpired", 2);
  FaultNext("GetItem", "ErrorTimeoutExpired", 2, 1);
  Forget();
  const auto results = bulk.GetItems(ids);
  EXPECT_EQ(SizesOfGetItem(), (Sizes{8, 4, 2, 2, 1, 1, 1, 1, 1, 1}));
  EXPECT_EQ(CountOf(results), 7u);
  EXPECT_THROW(results[2].Value(), EVqSOAPFault);
}

TEST_P(BulkRequests, AFaultThatEveryItemCausesIsNotTriedForEach) {
  const auto ids = AddMessages(40);
  auto bulk = Bulk();
  FaultNext("GetItem", "ErrorAccessDenied", -1);
  Forget();
  const auto results = bulk.GetItems(ids);
  EXPECT_EQ(CountOf(results), 0u);
  EXPECT_LT(SizesOfGetItem().size(), 12u);
  EXPECT_THROW(results[39].Value(), EVqSOAPFault);
  EXPECT_TRUE(results[2].WasSent());
  EXPECT_FALSE(results[39].WasSent());
}

TEST_P(BulkRequests, AnAnswerForAnotherNumberOfItemsIsNobodys) {
  const auto ids = AddMessages(3);
  auto bulk = Bulk();
  bulk.GetItems(std::span(ids).first(2));
  const std::string two = LastExchange("GetItem").response_body;
  AnswerNext("GetItem", two);
  Forget();
  const auto results = bulk.GetItems(ids);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(results[i].Value()->GetID(), ids[i]);
  EXPECT_EQ(SizesOfGetItem(), (Sizes{3, 1, 1, 1}));

  bulk.MarkAsRead(std::span(ids).first(2));
  AnswerNext("UpdateItem", LastExchange("UpdateItem").response_body);
  Forget();
  const auto marked = bulk.MarkAsRead(ids);
  EXPECT_EQ(SizesOfUpdate(), Sizes{3});
  for (const auto& result : marked) {
    EXPECT_THROW(result.Value(), EVqEWSUnclearAnswer);
    EXPECT_EQ(result.FailureText(),
              "The answer to \"UpdateItem\" has 2 response messages for 3 items. It may have been carried out.");
  }
}

// ---- Lost answers

TEST_P(BulkRequests, AWriteWhoseAnswerIsLostIsNotRepeated) {
  const auto ids = AddMessages(4);
  auto bulk = Bulk(2);
  CutNext("UpdateItem", Cut::after);
  Forget();
  const auto results = bulk.MarkAsRead(ids);
  EXPECT_EQ(SizesOfUpdate(), Sizes{2});
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_THROW(results[i].Value(), EVqHTTPApiException);
    EXPECT_EQ(results[i].WasSent(), i < 2);
    EXPECT_EQ(results[i].MayHaveHappened(), i < 2);
    EXPECT_EQ(SaysThatItMayHaveHappened(results[i]), i < 2) << "whoever asks the exception is told the same";
    EXPECT_EQ(IsReadOnServer(ids[i]), i < 2);
  }
}

TEST_P(BulkRequests, AWriteThatNeverArrivedMayHaveHappenedForAllThatAnybodyKnows) {
  const auto ids = AddMessages(4);
  auto bulk = Bulk();
  bulk.SetRequestSize(2);
  for (const Cut cut : {Cut::before, Cut::within}) {
    CutNext("UpdateItem", cut, 1);
    const auto results = bulk.MarkAsRead(ids);
    EXPECT_EQ(CountOf(results), 2u);
    for (std::size_t i = 2; i < 4; ++i) {
      EXPECT_TRUE(results[i].WasSent());
      EXPECT_TRUE(results[i].MayHaveHappened());
    }
    EXPECT_FALSE(results[0].MayHaveHappened()) << "of a success there is no doubt";
  }
}

TEST_P(BulkRequests, WhatOnlyReadsNeverHappened) {
  const auto ids = AddMessages(2);
  auto bulk = Bulk();
  CutNext("GetItem", Cut::after);
  const auto results = bulk.GetItems(ids);
  EXPECT_TRUE(results[0].WasSent());
  EXPECT_FALSE(results[0].MayHaveHappened());
}

TEST_P(BulkRequests, AWriteThatWasRefusedAsAWholeIsDivided) {
  const auto ids = AddMessages(4);
  auto bulk = Bulk();
  FaultNext("UpdateItem", "ErrorInvalidIdMalformed");
  StatusNext("UpdateItem", 400);
  Forget();
  EXPECT_EQ(CountOf(bulk.MarkAsRead(ids)), 4u);
  EXPECT_EQ(SizesOfUpdate(), (Sizes{4, 2, 1, 1, 1, 1}));
  // But what may have been done is not.
  StatusNext("UpdateItem", 502);
  Forget();
  const auto results = bulk.MarkAsRead(ids);
  EXPECT_EQ(SizesOfUpdate(), Sizes{4});
  for (const auto& result : results) EXPECT_TRUE(result.MayHaveHappened());
}

TEST_P(BulkRequests, WhatEveryRequestWouldMeetEndsIt) {
  const auto ids = AddMessages(6);
  auto bulk = Bulk();
  bulk.SetRequestSize(2);
  for (const char* operation : {"GetItem", "UpdateItem"}) {
    StatusNext(operation, 403);
    Forget();
    std::vector<std::pair<bool, std::string>> sent;
    const auto note = [&](const TVqEWSResultBase& result) {
      EXPECT_FALSE(result.MayHaveHappened());
      sent.emplace_back(result.WasSent(), result.FailureText().utf8());
    };
    if (operation == std::string("GetItem")) {
      for (const auto& result : bulk.GetItems(ids)) note(result);
    } else {
      for (const auto& result : bulk.MarkAsRead(ids)) note(result);
    }
    EXPECT_EQ(Operations(), Names{operation});
    for (std::size_t i = 0; i < 6; ++i) {
      EXPECT_EQ(sent[i].first, i < 2) << i;
      EXPECT_EQ(sent[i].second, sent[0].second);
    }
  }
}

TEST_P(BulkRequests, AnAccountThatWasClosedEndsIt) {
  const auto ids = AddMessages(4);
  auto bulk = Bulk();
  bulk.SetRequestSize(1);
  simulator::Fault closed;
  closed.operation = "UpdateItem";
  closed.skip = 1;
  closed.response_code = "ErrorAccountDisabled";
  Server().AddFault(closed);
  Forget();
  const auto results = bulk.MarkAsRead(ids);
  EXPECT_EQ(CodesOf(results), (Names{"", "ErrorAccountDisabled", "ErrorAccountDisabled", "ErrorAccountDisabled"}));
  EXPECT_EQ(SizesOfUpdate(), (Sizes{1, 1}));
  EXPECT_TRUE(results[1].WasSent());
  EXPECT_FALSE(results[2].WasSent());
}

TEST_P(BulkRequests, AWriteWhoseAnswerAHandlerOfTheSessionChokesOnIsNotRepeated) {
  const TItemId drafts = Store().GetFolderId(dfindrafts);
  const auto ids = AddMessages(4);
  auto bulk = Bulk(2);
  int left = 1;
  Session().SetOnResponse([&](TVqComponent&, const TVqEWSTraffic&) {
    if (left-- == 1) throw EVqException("The disk is full.");
  });
  const auto results = bulk.CopyItems(ids, drafts);
  Session().SetOnResponse(nullptr);
  EXPECT_EQ(SizesOf("CopyItem", "ItemIds/ItemId"), (Sizes{2, 2}));
  EXPECT_EQ(Folder(dfindrafts)->GetTotalCount(), 4);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(results[i].Succeeded(), i >= 2);
    EXPECT_TRUE(results[i].WasSent());
  }
  try {
    results[0].Value();
  } catch (const EVqException& failure) {
    EXPECT_EQ(failure.Message(), "The disk is full.");
    EXPECT_TRUE(failure.MayHaveHappened());
  }
}

TEST_P(BulkRequests, AWriteThatFailsWithAFaultIsNotRepeatedAndTheOthersGoOn) {
  const auto ids = AddMessages(6);
  auto bulk = Bulk(2);
  FaultNext("UpdateItem", "ErrorInternalServerError", 1, 1);
  Forget();
  const auto results = bulk.MarkAsRead(ids);
  EXPECT_EQ(SizesOfUpdate(), (Sizes{2, 2, 2}));
  for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ(results[i].Succeeded(), i / 2 != 1);
}

TEST_P(BulkRequests, AWriteThatWasNotValidIsDividedUntilTheCauseStandsAlone) {
  const auto ids = AddMessages(4);
  auto bulk = Bulk();
  FaultNext("UpdateItem", "ErrorSchemaValidation");
  Forget();
  const auto results = bulk.MarkAsRead(ids);
  EXPECT_EQ(SizesOfUpdate(), (Sizes{4, 2, 2}));
  EXPECT_EQ(CountOf(results), 4u);
}

TEST_P(BulkRequests, NoConnectionEndsIt) {
  const auto ids = AddMessages(6);
  auto bulk = Bulk(2);
  CutNext("GetItem", Cut::before, 1);
  Forget();
  const auto results = bulk.GetItems(ids);
  EXPECT_EQ(CountOf(results), 2u);
  EXPECT_TRUE(results[3].WasSent());
  EXPECT_FALSE(results[4].WasSent());
  EXPECT_THROW(results[5].Value(), EVqHTTPApiException);
}

// ---- Progress and stops

TEST_P(BulkRequests, ProgressIsToldAfterEachAnswer) {
  auto ids = AddMessages(5);
  ids[1] = {"no id", ""};
  auto bulk = Bulk(2);
  std::vector<std::string> told;
  bulk.SetOnProgress([&](const TVqEWSBulkProgress& at) {
    told.push_back(std::to_string(at.Done) + "/" + std::to_string(at.Total) + " " + std::to_string(at.Failed) + " " +
                   std::to_string(at.Requests) + " " + std::to_string(at.RequestSize));
    EXPECT_EQ(at.Waiting, milliseconds(0));
    return true;
  });
  bulk.GetItems(ids);
  EXPECT_EQ(told, (Names{"2/5 1 1 2", "4/5 1 2 2", "5/5 1 3 2"}));
  told.clear();
  bulk.GetItems({});
  EXPECT_EQ(told, Names{});
}

TEST_P(BulkRequests, TheCallbackStopsIt) {
  const auto ids = AddMessages(6);
  auto bulk = Bulk(2);
  bulk.SetOnProgress([](const TVqEWSBulkProgress& at) { return at.Done < 4; });
  Forget();
  const auto results = bulk.MarkAsRead(ids);
  EXPECT_EQ(SizesOfUpdate(), (Sizes{2, 2}));
  for (std::size_t i = 0; i < 6; ++i) {
    EXPECT_EQ(results[i].Succeeded(), i < 4);
    EXPECT_EQ(results[i].WasSent(), i < 4);
    EXPECT_FALSE(results[i].MayHaveHappened());
    EXPECT_EQ(IsReadOnServer(ids[i]), i < 4);
  }
  EXPECT_THROW(results[5].Value(), EAbort);
  EXPECT_THROW(VqCheckResults(results), EAbort);
  bulk.SetOnProgress(nullptr);
  VqCheckResults(bulk.MarkAsRead(ids));
  EXPECT_EQ(results[5].FailureText(), "The operation was stopped before the turn of this item came.");
}

TEST_P(BulkRequests, TheCallbackStopsAWait) {
  const auto ids = AddMessages(2);
  auto bulk = Bulk();
  BusyNext("GetItem", 60000);
  std::vector<milliseconds> waits;
  bulk.SetOnProgress([&](const TVqEWSBulkProgress& at) {
    if (at.Waiting > milliseconds(0)) waits.push_back(at.Waiting);
    return waits.size() < 2;
  });
  const auto results = bulk.GetItems(ids);
  EXPECT_THROW(results[0].Value(), EAbort);
  EXPECT_FALSE(results[0].WasSent());
  ASSERT_EQ(waits.size(), 2u);
  EXPECT_LE(waits[0], milliseconds(60000));
  EXPECT_LT(waits[1], waits[0]);
}

TEST_P(BulkRequests, WhatTheCallbackRaisesComesOut) {
  const auto ids = AddMessages(2);
  auto bulk = Bulk();
  bulk.SetOnProgress([](const TVqEWSBulkProgress&) -> bool { throw EVqException("No more."); });
  EXPECT_EQ(MessageOf<EVqException>([&] { bulk.GetItems(ids); }), "No more.");
}

// ---- Misuse

TEST_P(BulkRequests, MisuseIsToldAtOnce) {
  EXPECT_EQ(MessageOf<EVqException>([] { TVqEWSBulk(nullptr); }),
            "Operations on many need a store that a session has opened.");
  auto bulk = Bulk();
  EXPECT_EQ(MessageOf<EVqException>([&] { bulk.SetConnections(0); }), "An operation needs one connection at least.");
  EXPECT_EQ(bulk.GetConnections(), 1);
  EXPECT_TRUE(TVqEWSBulk(Store()).GetItems({}).empty()) << "a store at hand will do";
  const auto ids = AddMessages(1);
  Session().SetActive(false);
  EXPECT_EQ(MessageOf<EVqException>([&] { bulk.GetItems(ids); }), "You must logon first!");
}

TEST(BulkResult, WithoutAnythingItIsOneWhoseTurnDidNotCome) {
  const TVqEWSIdResult result;
  EXPECT_FALSE(result);
  EXPECT_FALSE(result.WasSent());
  EXPECT_EQ(result.FailureText(), "The turn of this item did not come.");
  EXPECT_THROW(result.Value(), EAbort);
  struct TNoException {};
  EXPECT_FALSE(result.MayHaveHappened());
  EXPECT_EQ(TVqEWSIdResult(std::make_exception_ptr(std::runtime_error("Out.")), true).FailureText(), "Out.");
  EXPECT_TRUE(TVqEWSIdResult(std::make_exception_ptr(std::runtime_error("Out.")), true).MayHaveHappened());
  EXPECT_FALSE(TVqEWSIdResult(std::make_exception_ptr(std::runtime_error("Out.")), false).MayHaveHappened());
  EXPECT_EQ(TVqEWSIdResult(std::make_exception_ptr(TNoException()), true).FailureText(),
            "An exception of an unknown kind.");
}

}  // namespace
}  // namespace velmore::testing
