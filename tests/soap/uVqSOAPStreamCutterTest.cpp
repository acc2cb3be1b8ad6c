#include "platform/soap/uVqSOAPStreamCutter.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>

#include "StreamCutterReference.h"

namespace velmore {
namespace {

const std::string kOne =
    "<s:Envelope xmlns:s=\"http://x/y\"><s:Body a=\"1/2\"><m:Ids/><t:Id>AAMk/=</t:Id ></s:Body></s:Envelope>";
const std::string kTwo = "<?xml version=\"1.0\"?><Envelope><Body/></Envelope\r\n>";

/// All envelopes, one data call after the other: what each call gives.
std::vector<std::optional<std::string>> Cut(const std::vector<std::string>& chunks) {
  TVqSOAPStreamCutter cutter;
  std::vector<std::optional<std::string>> taken;
  for (const std::string& chunk : chunks) {
    cutter.Add(chunk);
    taken.push_back(cutter.Take());
  }
  return taken;
}

std::vector<std::string> InPieces(const std::string& text, std::size_t size) {
  std::vector<std::string> pieces;
  for (std::size_t at = 0; at < text.size(); at += size) pieces.push_back(text.substr(at, size));
  return pieces;
}

using TTaken = std::vector<std::optional<std::string>>;

TEST(StreamCutter, OneEnvelopeATakeAndTheSecondWithTheNext) {
  EXPECT_EQ(Cut({kOne + kTwo, "\r\n"}), (TTaken{kOne, kTwo}));
  EXPECT_EQ(Cut({kOne + kTwo + kOne, "", ""}), (TTaken{kOne, kTwo, kOne}));
  TVqSOAPStreamCutter cutter;
  cutter.Add(kOne + kTwo);
  EXPECT_EQ(cutter.Take(), kOne);
  EXPECT_EQ(cutter.Held(), kTwo.size());
  EXPECT_EQ(cutter.Take(), kTwo) << "without new bytes, for who wants all at once";
  EXPECT_EQ(cutter.Take(), std::nullopt);
  EXPECT_EQ(cutter.Held(), 0U);
}

TEST(StreamCutter, AnEnvelopeThatIsSplitAnywhereComesWithTheBytesThatCompleteIt) {
  for (const std::string& text : {kOne, kTwo}) {
    for (std::size_t at = 1; at < text.size(); ++at)
      EXPECT_EQ(Cut({text.substr(0, at), text.substr(at)}), (TTaken{std::nullopt, text})) << at;
    TTaken expected(text.size());
    expected.back() = text;
    EXPECT_EQ(Cut(InPieces(text, 1)), expected);
  }
}

TEST(StreamCutter, BytesBeforeTheFirstTagAreDropped) {
  EXPECT_EQ(Cut({"\xEF\xBB\xBF \r\n" + kOne}), (TTaken{kOne}));
  EXPECT_EQ(Cut({"noise /> /Envelope>", kOne}), (TTaken{std::nullopt, kOne}));
  TVqSOAPStreamCutter cutter(1000);
  for (int i = 0; i < 100000; ++i) {
    cutter.Add("\r\n\r\n\r\n");
    EXPECT_EQ(cutter.Take(), std::nullopt);
  }
  EXPECT_EQ(cutter.Held(), 0U) << "signs of life do not pile up";
}

TEST(StreamCutter, AnyPrefixAnyCaseAndBlanksAreTheSameClosingTag) {
  for (const char* end : {"</Envelope>", "</soap:Envelope>", "</ENVELOPE>", "</x:enVelope>", "</ Envelope >",
                          "</\t\r\n a:Envelope\n>", "< /Envelope>", "</Envelope junk>", "</a:Envelope x='1'>"}) {
    const std::string text = std::string("<Envelope><Body>") + end;
    EXPECT_EQ(Cut({text + "rest"}), (TTaken{text})) << end;
  }
}

TEST(StreamCutter, WhatIsNoClosingTagOfAnEnvelopeDoesNotEndIt) {
  for (const char* inner :
       {"<Envelope/>", "<x:Envelope />", "</Envelop>", "</Envelopes>", "</a:b:Envelope>", "</Envelope:x>", "</>",
        "</ >", "<a href='/Envelope'>", "<a b='x/y'/>", "text /Envelope> text", "&lt;/Envelope&gt;", "</EnvelopeX>",
        "</ xEnvelope>", "<Envelope>"}) {
    const std::string text = std::string("<Envelope>") + inner + "</Envelope>";
    EXPECT_EQ(Cut({text}), (TTaken{text})) << inner;
  }
}

TEST(StreamCutter, TagsAreToldByTheirCharactersAlone) {
  EXPECT_EQ(Cut({"<e><!-- </Envelope> --></Envelope>"}), (TTaken{"<e><!-- </Envelope>"}))
      << "a comment is no exception";
  EXPECT_EQ(Cut({"<a b=\"/Envelope >\"></Envelope>"}), (TTaken{"<a b=\"/Envelope >"})) << "nor is a quoted value";
  const std::string zero("<a>\0\xFF</Envelope>", 16);
  EXPECT_EQ(Cut({zero}), (TTaken{zero}));
}

TEST(StreamCutter, NothingIsTakenWithoutBytes) {
  TVqSOAPStreamCutter cutter;
  EXPECT_EQ(cutter.Take(), std::nullopt);
  cutter.Add("");
  EXPECT_EQ(cutter.Take(), std::nullopt);
  cutter.Add("<");
  EXPECT_EQ(cutter.Take(), std::nullopt);
  EXPECT_EQ(cutter.Held(), 1U);
}

TEST(StreamCutter, HoldsNoMoreThanItsLimit) {
  TVqSOAPStreamCutter cutter(kOne.size());
  cutter.Add(kOne);
  EXPECT_EQ(cutter.Take(), kOne) << "as much as the limit is allowed";
  cutter.Add(kOne.substr(0, kOne.size() - 1));
  try {
    cutter.Add("xy");
    ADD_FAILURE() << "was held";
  } catch (const EVqSOAPStreamTooLong& failure) {
    EXPECT_EQ(failure.Message(), "The stream of envelopes was ended: more than " + std::to_string(kOne.size()) +
                                     " bytes without an envelope that could be taken.");
  }
  EXPECT_EQ(cutter.Held(), 0U);
  cutter.Add(kOne);
  EXPECT_EQ(cutter.Take(), kOne) << "as new";
  EXPECT_THROW(cutter.Add(std::string(kOne.size() + 1, ' ')), EVqSOAPStreamTooLong) << "in one piece, too";
  cutter.SetLimit(1000);
  EXPECT_EQ(cutter.GetLimit(), 1000U);
  for (int i = 0; i < 1000; ++i) {
    cutter.Add(kOne);
    EXPECT_EQ(cutter.Take(), kOne) << "what was taken does not count";
  }
  EXPECT_EQ(TVqSOAPStreamCutter().GetLimit(), 64U << 20);
}

TEST(StreamCutter, ClearingForgetsWhatWasBegun) {
  TVqSOAPStreamCutter cutter;
  cutter.Add("<Envelope><Body></Envelo");
  cutter.Take();
  cutter.Clear();
  EXPECT_EQ(cutter.Held(), 0U);
  cutter.Add("pe>" + kOne);
  EXPECT_EQ(cutter.Take(), kOne);
}

TEST(StreamCutter, CutsAsTheRuleDoesHoweverTheBytesFall) {
  std::mt19937 random(20261121);
  const std::vector<std::string> words = {"<",    ">", "/",    "</",      "Envelope",      "envelope",
                                          ":",    " ", "\r\n", "s:",      "</s:Envelope>", "<Envelope>",
                                          "<a/>", "x", "\"",   "Envelop", "</Envelope >",  "/>"};
  const auto below = [&](std::size_t bound) {
    return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random);
  };
  for (int round = 0; round < 3000; ++round) {
    std::string text;
    for (std::size_t i = below(60); i > 0; --i) text += words[below(words.size())];
    TVqSOAPStreamCutter cutter;
    std::string plain;
    for (std::size_t at = 0; at < text.size();) {
      const std::size_t size = std::min(text.size() - at, 1 + below(40));
      const std::string chunk = text.substr(at, size);
      at += size;
      plain += chunk;
      cutter.Add(chunk);
      ASSERT_EQ(cutter.Take(), CutPlainly(plain)) << text << " after " << at;
    }
    for (int i = 0; i < 40; ++i) ASSERT_EQ(cutter.Take(), CutPlainly(plain)) << text;
  }
}

TEST(StreamCutter, TimeGrowsWithTheBytesAndNotWithThePieces) {
  // A quadratic cutter needs minutes for each of these.
  std::string big = "<Envelope>";
  while (big.size() < 2000000) big += "<t:ItemId Id=\"AAMkAD/x=\"/>text";
  big += "</Envelope>";
  TVqSOAPStreamCutter cutter;
  std::optional<std::string> taken;
  for (const char& c : big) {
    cutter.Add(std::string_view(&c, 1));
    taken = cutter.Take();
  }
  EXPECT_EQ(taken, big);
  std::string many;
  for (int i = 0; i < 50000; ++i) many += kOne;
  cutter.Add(many);
  for (int i = 0; i < 50000; ++i) ASSERT_EQ(cutter.Take(), kOne);
  EXPECT_EQ(cutter.Held(), 0U);
}

}  // namespace
}  // namespace velmore
