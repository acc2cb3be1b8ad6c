// The library's own failure, its texts and its number.

#include <gtest/gtest.h>

#include "ews/model/uVqEWSInterfaces.h"

namespace velmore {
namespace {

TEST(EWSException, CodeComesFirstAndTheHumanTextInBrackets) {
  const EEWSException failure("ErrorItemNotFound", "There was no ItemId in the SOAP Response!", 0);
  EXPECT_EQ(failure.Message(), "ErrorItemNotFound (There was no ItemId in the SOAP Response!).");
  EXPECT_STREQ(failure.what(), "ErrorItemNotFound (There was no ItemId in the SOAP Response!).");
}

TEST(EWSException, ErrorCodeHoldsTheSecondTextWhateverItsNameSays) {
  EXPECT_EQ(EEWSException("ErrorItemNotFound", "The human text", 0).EWSErrorCode(), "The human text");
}

TEST(EWSException, OneTrailingPointOfTheFirstTextIsDropped) {
  EXPECT_EQ(EEWSException("It failed.", "Code", 0).Message(), "It failed (Code).");
  EXPECT_EQ(EEWSException("It failed..", "Code", 0).Message(), "It failed. (Code).");
  EXPECT_EQ(EEWSException(".", "Code", 0).Message(), " (Code).");
  EXPECT_EQ(EEWSException("It failed!", "Code", 0).Message(), "It failed! (Code).");
}

TEST(EWSException, PointOfTheSecondTextStays) {
  const EEWSException failure("ErrorItemNotFound", "The item was not found.", 0);
  EXPECT_EQ(failure.Message(), "ErrorItemNotFound (The item was not found.).");
  EXPECT_EQ(failure.EWSErrorCode(), "The item was not found.");
}

TEST(EWSException, EmptyTextsKeepTheFrame) {
  EXPECT_EQ(EEWSException("", "", 0).Message(), " ().");
}

TEST(EWSException, NumberIsKept) {
  EXPECT_EQ(EEWSException("a", "b", 12007).HTTPErrorCode(), 12007u);
  EXPECT_EQ(EEWSException("a", "b", 0xFFFFFFFF).HTTPErrorCode(), 0xFFFFFFFFu);
  EXPECT_EQ(EEWSException("a", 404).HTTPErrorCode(), 404u);
  EXPECT_EQ(EEWSException("a").HTTPErrorCode(), 0u);
}

TEST(EWSException, OneTextStandsAsItIsWithoutACode) {
  const EEWSException failure("No profile selected!.", 7);
  EXPECT_EQ(failure.Message(), "No profile selected!.");
  EXPECT_EQ(failure.EWSErrorCode(), "");
}

TEST(EWSException, FormatIsMadeOfBothTexts) {
  const EEWSException failure = EEWSException::CreateFmt("The %s failed.", {"item", "second"}, "Error %s");
  EXPECT_EQ(failure.Message(), "The item failed (Error second).");
  EXPECT_EQ(failure.EWSErrorCode(), "Error %s") << "the code is kept as it was given";
  EXPECT_EQ(failure.HTTPErrorCode(), 0u);
}

TEST(EWSException, FormatWithANumberHasNoCode) {
  const EEWSException failure = EEWSException::CreateFmt("%d of %s.", {3, "five"}, 500u);
  EXPECT_EQ(failure.Message(), "3 of five.");
  EXPECT_EQ(failure.EWSErrorCode(), "");
  EXPECT_EQ(failure.HTTPErrorCode(), 500u);
}

TEST(EWSException, IsAPlainExceptionAndCopies) {
  const EEWSException failure("a", "b", 1);
  const EEWSException copy = failure;
  const EVqException& plain = copy;
  EXPECT_EQ(plain.Message(), "a (b).");
  EXPECT_EQ(copy.HTTPErrorCode(), 1u);
}

TEST(EWSException, BusyServerIsOneOfThemAndTellsHowLongToWait) {
  try {
    throw EEWSServerBusy("ErrorServerBusy", "The server cannot service this request right now.", 5000);
  } catch (const EVqServerBusy& busy) {
    EXPECT_EQ(busy.GetRetryAfter(), 5000);
    EXPECT_STREQ(busy.Failure().what(), "ErrorServerBusy (The server cannot service this request right now.).");
    EXPECT_TRUE(dynamic_cast<const EEWSException*>(&busy.Failure()));
  }
}

}  // namespace
}  // namespace velmore
