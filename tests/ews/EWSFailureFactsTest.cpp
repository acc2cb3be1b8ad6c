// What a handler asks of a failure, class by class: the table of docs/errors.md, held against the classes.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "ews/idioms/uVqEWSFailures.h"
#include "ews/model/uVqEWSCalendarInterfaces.h"
#include "ews/model/uVqEWSSyncInterfaces.h"
#include "ews/stores/uVqEWSFolder.h"
#include "platform/crypt/uVqCNG.h"
#include "platform/os/uVqDns.h"
#include "platform/os/uVqFiles.h"
#include "platform/os/uVqRegistry.h"
#include "platform/soap/uVqSOAPStreamCutter.h"

namespace velmore {
namespace {

using namespace std::chrono_literals;

/// An instance of a class and what it answers.
struct TInstance {
  std::string Class;
  std::shared_ptr<const EVqException> Failure;
  std::int32_t HTTPStatus = 0;
  std::string ResponseCode = {};
  std::chrono::milliseconds RetryAfter{0};
  bool MayHaveHappened = false;
  bool SessionUsable = true;
};

template <typename T, typename... TArgs>
std::shared_ptr<const EVqException> Of(TArgs&&... args) {
  return std::make_shared<const T>(std::forward<TArgs>(args)...);
}

EVqSOAPFault Fault(const char* code, const char* responseCode, std::int32_t backOff = 0, std::int32_t status = 500) {
  return EVqSOAPFault("text", code, "reason", responseCode, "", backOff, status);
}

std::exception_ptr Thrown(const auto& failure) {
  return std::make_exception_ptr(failure);
}

std::vector<TInstance> Instances() {
  std::vector<TInstance> all;
  const auto add = [&](const char* name, std::shared_ptr<const EVqException> failure, std::int32_t status = 0,
                       const char* code = "", std::chrono::milliseconds wait = 0ms, bool may = false,
                       bool usable = true) {
    all.push_back({name, std::move(failure), status, code, wait, may, usable});
  };
  add("EVqException", Of<EVqException>("text"));
  add("EListError", Of<EListError>("text"));
  add("EConvertError", Of<EConvertError>("text"));
  add("EStreamError", Of<EStreamError>("text"));
  add("EAssertionFailed", Of<EAssertionFailed>("text"));
  add("EVqNotSupported", Of<EVqNotSupported>("text"));
  add("ENotSupportedException", Of<ENotSupportedException>("text"));
  add("EAbort", Of<EAbort>("text"));
  add("EVqFileError", Of<EVqFileError>("text", EVqFileError::TReason::missing));
  add("EVqRegistryError", Of<EVqRegistryError>("text", 5));
  add("EVqDataProtection", Of<EVqDataProtection>("text", TVqProtectionFailure::keyMissing));
  add("EVqSOAPStreamTooLong", Of<EVqSOAPStreamTooLong>("text"));
  add("EVqXMLError", Of<EVqXMLError>("text", 1, 2));
  add("EVqEWSNotCarriedOut", Of<EVqEWSNotCarriedOut>("text"));
  // The transport, by its number.
  for (const std::uint32_t refused : {301, 400, 408, 413, 501, 503}) {
    add("EVqHTTPException", Of<EVqHTTPException>("text", refused), static_cast<std::int32_t>(refused));
  }
  for (const std::uint32_t address : {401, 403, 404, 405, 407, 410}) {
    add("EVqHTTPException", Of<EVqHTTPException>("text", address), static_cast<std::int32_t>(address), "", 0ms, false,
        false);
  }
  for (const std::uint32_t open : {200, 500, 502, 504}) {
    add("EVqHTTPException", Of<EVqHTTPException>("text", open), static_cast<std::int32_t>(open), "", 0ms, true);
  }
  add("EVqHTTPServerBusy", Of<EVqHTTPServerBusy>("text", 429, 2000), 429, "", 2s);
  add("EVqHTTPServerBusy", Of<EVqHTTPServerBusy>("text", 503, 0), 503);
  add("EVqHTTPClientApiException", Of<EVqHTTPClientApiException>("text", VqErrConnectionAborted), 0, "", 0ms, true);
  for (const std::uint32_t open : {6, 8, 29, 30, 12001, 12002, 12004, 12016, 12017, 12030, 12031, 12152}) {
    add("EVqHTTPApiException", Of<EVqHTTPApiException>("api", "text", open), 0, "", 0ms, true);
  }
  for (const std::uint32_t before : {87, 12007, 12009, 12029, 12156}) {
    add("EVqHTTPApiException", Of<EVqHTTPApiException>("api", "text", before));
  }
  for (const std::uint32_t wrong :
       {50, 12005, 12006, 12013, 12014, 12015, 12037, 12038, 12044, 12045, 12057, 12157, 12169, 12170, 12175, 12179}) {
    add("EVqHTTPApiException", Of<EVqHTTPApiException>("api", "text", wrong), 0, "", 0ms, false, false);
  }
  add("EVqHTTPApiException", Of<EVqHTTPApiException>("api", "text", 12015, 401), 401, "", 0ms, false, false);
  add("EVqHTTPInvalidArgument", Of<EVqHTTPInvalidArgument>("api", "text"));
  add("EVqHTTPInvalidArgument", Of<EVqHTTPInvalidArgument>("api", "text", VqErrInvalidCA), 0, "", 0ms, false, false);
  add("EVqOAuthException", Of<EVqOAuthException>("text", 400, "invalid_grant"), 400, "invalid_grant", 0ms, false,
      false);
  add("EVqOAuthException", Of<EVqOAuthException>("text", 503, "temporarily_unavailable"), 503,
      "temporarily_unavailable");
  add("EVqOAuthException", Of<EVqOAuthException>("text", 500, "server_error"), 500, "server_error");
  add("EVqOAuthException", Of<EVqOAuthException>("text", VqErrTimeOut));
  add("EVqOAuthException", Of<EVqOAuthException>("text", VqErrCancelled));
  add("EVqOAuthException", Of<EVqOAuthException>("text", 0), 0, "", 0ms, false, false);
  // The service, by its code.
  add("EVqSOAPFault", Of<EVqSOAPFault>(Fault("a:ErrorSchemaValidation", "ErrorSchemaValidation")), 500,
      "ErrorSchemaValidation");
  add("EVqSOAPFault", Of<EVqSOAPFault>(Fault("soap:Client", "")), 500);
  add("EVqSOAPFault", Of<EVqSOAPFault>(Fault("soap:Server", "")), 500, "", 0ms, true);
  add("EVqSOAPFault", Of<EVqSOAPFault>(Fault("Receiver", "", 70)), 500, "", 70ms, true);
  add("EVqSOAPFault", Of<EVqSOAPFault>(Fault("soap:Server", "ErrorAccessDenied")), 500, "ErrorAccessDenied");
  add("EVqSOAPFault", Of<EVqSOAPFault>(Fault("", "ErrorInternalServerError")), 500, "ErrorInternalServerError", 0ms,
      true);
  add("EVqSOAPFault", Of<EVqSOAPFault>(Fault("", "ErrorAccountDisabled", 0, 200)), 200, "ErrorAccountDisabled", 0ms,
      false, false);
  add("EVqSOAPServerBusy", Of<EVqSOAPServerBusy>(Fault("soap:Server", "ErrorServerBusy", 300)), 500, "ErrorServerBusy",
      300ms);
  add("EVqSOAPServerBusy", Of<EVqSOAPServerBusy>(Fault("soap:Server", "", 0, 503)), 503);
  add("EVqSOAPUnexpectedReply", Of<EVqSOAPUnexpectedReply>("GetItem", "GetItemResponse", "x"), 0, "", 0ms, true);
  add("EEWSException", Of<EEWSException>("ErrorItemNotFound", "The item was not found.", 0), 0, "ErrorItemNotFound");
  add("EEWSException", Of<EEWSException>("The human text", "ErrorInvalidId", 0), 0, "ErrorInvalidId");
  add("EEWSException", Of<EEWSException>("A text without a code"));
  add("EEWSException", Of<EEWSException>("ErrorAutoDiscoverFailed", "text", 404), 404, "ErrorAutoDiscoverFailed");
  add("EEWSException", Of<EEWSException>("ErrorAutoDiscoverFailed", "text", 12007), 0, "ErrorAutoDiscoverFailed");
  add("EEWSException", Of<EEWSException>(EEWSException::CreateFmt("ErrorItemNotFound", {}, "text of it")), 0,
      "ErrorItemNotFound");
  for (const char* open :
       {"ErrorTimeoutExpired", "ErrorInternalServerError", "ErrorInternalServerTransientError", "ErrorRequestAborted",
        "ErrorClientDisconnected", "ErrorProxyCallFailed", "ErrorProxyRequestProcessingFailed"}) {
    add("EEWSException", Of<EEWSException>(open, "text", 0), 0, open, 0ms, true);
  }
  for (const char* wrong :
       {"ErrorAccountDisabled", "ErrorAccountSuspend", "ErrorPasswordExpired", "ErrorPasswordChangeRequired",
        "ErrorCallerIsInvalidADAccount", "ErrorOrganizationAccessBlocked", "ErrorInvalidServerVersion"}) {
    add("EEWSException", Of<EEWSException>(wrong, "text", 0), 0, wrong, 0ms, false, false);
  }
  add("EVqEWSSyncStateInvalid", Of<EVqEWSSyncStateInvalid>("ErrorInvalidSyncStateData", "text", 0), 0,
      "ErrorInvalidSyncStateData");
  add("EEWSServerBusy", Of<EEWSServerBusy>("ErrorServerBusy", "text", 5000), 0, "ErrorServerBusy", 5s);
  add("EVqEWSUnclearAnswer", Of<EVqEWSUnclearAnswer>("text"), 0, "", 0ms, true);
  add("EVqEWSIdNotTold", Of<EVqEWSIdNotTold>("text"), 0, "", 0ms, true);
  // A second save that failed: what it met, and that the first one was carried out.
  add("EVqEWSAttendeesNotSaved", Of<EVqEWSAttendeesNotSaved>(Thrown(EEWSServerBusy("ErrorServerBusy", "text", 400))), 0,
      "ErrorServerBusy", 400ms, true);
  add("EVqEWSAttendeesNotSaved", Of<EVqEWSAttendeesNotSaved>(Thrown(EVqHTTPApiException("api", "text", 12015, 401))),
      401, "", 0ms, true, false);
  add("EVqEWSAttendeesNotSaved", Of<EVqEWSAttendeesNotSaved>(Thrown(std::runtime_error("text"))), 0, "", 0ms, true);
  return all;
}

TEST(FailureFacts, EveryClassAnswersAsItsTableSays) {
  for (const TInstance& one : Instances()) {
    SCOPED_TRACE(one.Class + ": " + one.Failure->what());
    EXPECT_EQ(one.Failure->HTTPStatus(), one.HTTPStatus);
    EXPECT_EQ(one.Failure->ResponseCode(), one.ResponseCode);
    EXPECT_EQ(one.Failure->RetryAfter(), one.RetryAfter);
    EXPECT_EQ(one.Failure->MayHaveHappened(), one.MayHaveHappened);
    EXPECT_EQ(one.Failure->SessionUsable(), one.SessionUsable);
    EXPECT_EQ(VqResponseCode(*one.Failure), one.ResponseCode);
  }
}

// The page tells of each class whether the questions have an answer: "no", "yes", or by what they are answered.
TEST(FailureFacts, ThePageTellsTheSame) {
  std::map<std::string, std::vector<std::string>> told;
  std::ifstream page(std::string(VELMORE_SOURCE_DIR) + "/docs/errors.md");
  bool inTable = false;
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with("## ")) inTable = line == "## What a handler asks";
    if (!inTable || !line.starts_with("| `")) continue;
    std::vector<std::string> cells;
    std::istringstream columns(line.substr(2));
    for (std::string cell; std::getline(columns, cell, '|');) cells.push_back(cell.substr(0, cell.size() - 1));
    for (std::string& cell : cells) cell.erase(0, cell.find_first_not_of(' '));
    ASSERT_EQ(cells.size(), 6u) << line;
    static const std::regex name("`(E\\w+)`");
    for (std::sregex_iterator at(cells[0].begin(), cells[0].end(), name), end; at != end; ++at)
      told[(*at)[1]].assign(cells.begin() + 1, cells.end());
  }
  std::map<std::string, std::vector<std::set<std::string>>> seen;
  for (const TInstance& one : Instances()) {
    std::vector<std::set<std::string>>& answers = seen[one.Class];
    answers.resize(5);
    answers[0].insert(one.HTTPStatus != 0 ? "yes" : "no");
    answers[1].insert(!one.ResponseCode.empty() ? "yes" : "no");
    answers[2].insert(one.RetryAfter.count() != 0 ? "yes" : "no");
    answers[3].insert(one.MayHaveHappened ? "yes" : "no");
    answers[4].insert(one.SessionUsable ? "yes" : "no");
  }
  for (const auto& [name, answers] : seen) {
    ASSERT_TRUE(told.contains(name)) << name;
    for (std::size_t i = 0; i < 5; ++i) {
      const std::string& cell = told[name][i];
      if (answers[i].size() == 1 && (cell == "yes" || cell == "no"))
        EXPECT_EQ(cell, *answers[i].begin()) << name << ", column " << i;
      else
        EXPECT_TRUE(cell != "yes" && cell != "no") << name << ", column " << i << ": " << cell;
    }
  }
  for (const auto& [name, cells] : told) EXPECT_TRUE(seen.contains(name)) << name << " has no row in this test";
}

TEST(FailureFacts, NoPublicClassIsLeftOut) {
  std::set<std::string> tested, declared;
  for (const TInstance& one : Instances()) tested.insert(one.Class);
  const std::regex declaration("\nclass (E\\w+)[^;{]*: public");
  for (const char* room : {"/platform", "/ews"}) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(std::string(VELMORE_SOURCE_DIR) + room)) {
      const std::string path = entry.path().string();
      if (!path.ends_with(".h") || path.ends_with("_p.h")) continue;
      std::ifstream file(path);
      const std::string text((std::istreambuf_iterator<char>(file)), {});
      for (std::sregex_iterator at(text.begin(), text.end(), declaration), end; at != end; ++at)
        declared.insert((*at)[1]);
    }
  }
  EXPECT_GT(declared.size(), 20u);
  EXPECT_EQ(tested, declared);
}

TEST(FailureFacts, WhatALayerNotesCountsMoreThanTheClass) {
  EVqHTTPApiException cut("api", "text", VqErrConnectionAborted);
  EXPECT_TRUE(cut.MayHaveHappened());
  cut.NoteMayHaveHappened(false);
  EXPECT_FALSE(cut.MayHaveHappened());
  EXPECT_TRUE(cut.SessionUsable());
  cut.NoteSessionUnusable();
  EXPECT_FALSE(cut.SessionUsable());
  const EVqException copy = EVqException("text").NoteMayHaveHappened(true);
  EXPECT_TRUE(copy.MayHaveHappened());
}

TEST(FailureFacts, TheCodeIsFoundInWhatIsNested) {
  const auto nest = [](const auto& inner, const auto& outer) {
    try {
      try {
        throw inner;
      } catch (...) {
        std::throw_with_nested(outer);
      }
    } catch (...) {
      return std::current_exception();
    }
  };
  const auto nested = nest(EEWSException("ErrorItemNotFound", "text", 0), EVqException("outer"));
  EXPECT_EQ(VqResponseCode(nested), "ErrorItemNotFound");
  EXPECT_EQ(VqResponseCode(nest(EVqOAuthException("text", 400, "invalid_grant"), std::runtime_error("outer"))),
            "invalid_grant");
  EXPECT_EQ(VqResponseCode(nest(EEWSException("ErrorItemNotFound", "text", 0), EEWSException("ErrorOuter", "x", 0))),
            "ErrorOuter");
  EXPECT_EQ(VqResponseCode(std::runtime_error("text")), "");
  EXPECT_EQ(VqResponseCode(std::exception_ptr()), "");
  EXPECT_EQ(VqResponseCode(std::make_exception_ptr(5)), "");
}

}  // namespace
}  // namespace velmore
