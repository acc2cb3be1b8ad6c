#include "platform/common/uVqNetEncoding.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <random>

#include "platform/common/uVqBase64_p.h"

namespace velmore {
namespace {

using namespace std::string_literals;

std::string RandomBytes(std::mt19937& random, std::size_t size) {
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

std::string ByOpenSsl(const std::string& bytes) {
  std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
  const int length =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                      reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
  text.resize(static_cast<std::size_t>(length));
  return text;
}

std::string Message(const std::function<void()>& operation) {
  try {
    operation();
  } catch (const EConvertError& error) {
    return error.what();
  }
  return "nothing raised";
}

TEST(Base64, KnownTexts) {
  const std::pair<const char*, const char*> known[] = {{"", ""},
                                                       {"f", "Zg=="},
                                                       {"fo", "Zm8="},
                                                       {"foo", "Zm9v"},
                                                       {"foob", "Zm9vYg=="},
                                                       {"fooba", "Zm9vYmE="},
                                                       {"foobar", "Zm9vYmFy"},
                                                       {"\xFB\xFF\xBF", "+/+/"}};
  for (const auto& [bytes, text] : known) {
    EXPECT_EQ(VqBase64Encode(bytes), text);
    EXPECT_EQ(VqBase64Decode(text), bytes);
    EXPECT_EQ(VqBase64Length(std::string(bytes).size()), std::string(text).size());
  }
}

TEST(Base64, AgreesWithOpenSslAtEveryLength) {
  std::mt19937 random(1);
  for (std::size_t size = 0; size < 400; ++size) {
    const std::string bytes = RandomBytes(random, size);
    const std::string text = ByOpenSsl(bytes);
    ASSERT_EQ(VqBase64Encode(bytes), text);
    ASSERT_EQ(VqBase64Decode(text), bytes);
  }
  const std::string large = RandomBytes(random, 1'000'001);
  EXPECT_TRUE(VqBase64Encode(large) == ByOpenSsl(large));
  EXPECT_TRUE(VqBase64Decode(ByOpenSsl(large)) == large);
}

TEST(Base64, EveryKernelOfThisMachineDoesTheSame) {
  ASSERT_FALSE(VqBase64Kernels().empty());
  EXPECT_STREQ(VqBase64Kernels().back().Name, "portable");
  std::mt19937 random(2);
  for (const TVqBase64Kernel& kernel : VqBase64Kernels()) {
    SCOPED_TRACE(kernel.Name);
    for (std::size_t size = 0; size < 300; ++size) {
      const std::string bytes = RandomBytes(random, size);
      const std::string expected = ByOpenSsl(bytes.substr(0, size / 3 * 3));
      // Exactly as large as promised: a sanitizer sees what goes beyond.
      std::vector<char> text(expected.size());
      const std::vector<std::uint8_t> in(bytes.begin(), bytes.end());
      ASSERT_EQ(kernel.Encode(in.data(), in.size(), text.data()), size / 3 * 3);
      ASSERT_EQ(std::string(text.begin(), text.end()), expected);
      std::vector<std::uint8_t> out(expected.size() / 4 * 3);
      ASSERT_EQ(kernel.Decode(text.data(), text.size(), out.data()), expected.size());
      ASSERT_EQ(std::string(out.begin(), out.end()), bytes.substr(0, size / 3 * 3));
    }
  }
}

TEST(Base64, EveryKernelStopsAtTheGroupOfEveryForeignCharacter) {
  const std::string alphabet = kVqBase64Alphabet;
  for (const TVqBase64Kernel& kernel : VqBase64Kernels()) {
    SCOPED_TRACE(kernel.Name);
    for (int c = 0; c < 256; ++c) {
      if (c != 0 && alphabet.find(static_cast<char>(c)) != std::string::npos) continue;
      for (const std::size_t place : {0u, 1u, 17u, 30u, 31u, 32u, 50u, 63u, 64u, 95u, 98u, 99u}) {
        std::string text(100, 'Q');
        text[place] = static_cast<char>(c);
        std::vector<std::uint8_t> out(75);
        ASSERT_EQ(kernel.Decode(text.data(), text.size(), out.data()), place / 4 * 4) << c << " at " << place;
      }
    }
  }
}

TEST(Base64, EveryKernelKnowsTheWholeAlphabet) {
  for (const TVqBase64Kernel& kernel : VqBase64Kernels()) {
    std::string text;
    for (int i = 0; i < 3; ++i) text += kVqBase64Alphabet;
    std::vector<std::uint8_t> bytes(text.size() / 4 * 3);
    ASSERT_EQ(kernel.Decode(text.data(), text.size(), bytes.data()), text.size()) << kernel.Name;
    std::string back(text.size(), '\0');
    ASSERT_EQ(kernel.Encode(bytes.data(), bytes.size(), back.data()), bytes.size());
    EXPECT_EQ(back, text) << kernel.Name;
  }
}

TEST(Base64, WhiteSpaceIsSkippedWhereverItStands) {
  EXPECT_EQ(VqBase64Decode(" Zm9v\r\nYm\tFy\n"), "foobar");
  EXPECT_EQ(VqBase64Decode("Z g = \r\n = \n"), "f");
  EXPECT_EQ(VqBase64Decode(" \r\n\t"), "");
  std::mt19937 random(3);
  const std::string bytes = RandomBytes(random, 10000);
  const std::string text = VqBase64Encode(bytes);
  for (const std::size_t line : {1u, 2u, 3u, 4u, 5u, 60u, 61u, 64u, 75u, 76u, 77u, 998u}) {
    std::string broken;
    for (std::size_t i = 0; i < text.size(); i += line) broken += text.substr(i, line) + "\r\n";
    EXPECT_TRUE(VqBase64Decode(broken) == bytes) << line;
  }
}

TEST(Base64, EverythingElseIsRefusedWithItsPlace) {
  EXPECT_EQ(Message([] { VqBase64Decode("Zm9v*mFy"); }), "The text is not base64: unexpected \"*\" at position 4.");
  EXPECT_EQ(Message([] { VqBase64Decode("Zm9v\r\nYm-y"); }), "The text is not base64: unexpected \"-\" at position 8.");
  EXPECT_EQ(Message([] { VqBase64Decode("Zm9v\0mFy"s); }), "The text is not base64: unexpected 0x00 at position 4.");
  EXPECT_EQ(Message([] { VqBase64Decode("Zm\xC3\xBC"); }), "The text is not base64: unexpected 0xC3 at position 2.");
  EXPECT_EQ(Message([] { VqBase64Decode("Zm9v\x0BYmFy"); }), "The text is not base64: unexpected 0x0B at position 4.");
  const std::string alphabet = kVqBase64Alphabet;
  for (int c = 0; c < 256; ++c) {
    const char character = static_cast<char>(c);
    if ((c != 0 && alphabet.find(character) != std::string::npos) || c == ' ' || c == '\t' || c == '\r' || c == '\n')
      continue;
    for (const std::size_t place : {0u, 1u, 150u, 399u}) {
      if (c == '=' && place % 4 > 1) continue;
      std::string text(400, 'x');
      text[place] = character;
      const std::string message = Message([&] { VqBase64Decode(text); });
      EXPECT_TRUE(message.ends_with(" at position " + std::to_string(place) + ".")) << c << ": " << message;
    }
  }
}

TEST(Base64, PaddingStandsAtTheEndOnly) {
  EXPECT_EQ(Message([] { VqBase64Decode("="); }), "The text is not base64: unexpected \"=\" at position 0.");
  EXPECT_EQ(Message([] { VqBase64Decode("Z==="); }), "The text is not base64: unexpected \"=\" at position 1.");
  EXPECT_EQ(Message([] { VqBase64Decode("Zg=g"); }), "The text is not base64: unexpected \"g\" at position 3.");
  EXPECT_EQ(Message([] { VqBase64Decode("Zg==Zg=="); }), "The text is not base64: unexpected \"Z\" at position 4.");
  EXPECT_EQ(Message([] { VqBase64Decode("Zm8=\r\n="); }), "The text is not base64: unexpected \"=\" at position 6.");
  EXPECT_EQ(Message([] { VqBase64Decode("Zm9v===="); }), "The text is not base64: unexpected \"=\" at position 4.");
}

TEST(Base64, ATextThatWasCutIsRefused) {
  EXPECT_EQ(Message([] { VqBase64Decode("Z"); }), "The text is not base64: it ends within a group at position 1.");
  EXPECT_EQ(Message([] { VqBase64Decode("Zm9vYg"); }), "The text is not base64: it ends within a group at position 6.");
  EXPECT_EQ(Message([] { VqBase64Decode("Zm9vYg=\r\n"); }),
            "The text is not base64: it ends within a group at position 9.");
}

TEST(Base64, BitsBehindTheLastByteAreIgnored) {
  EXPECT_EQ(VqBase64Decode("Zh=="), "f") << "some writers leave rubbish there";
  EXPECT_EQ(VqBase64Decode("Zm9="), "fo");
}

TEST(Base64, DecodesATextCutAnywhere) {
  std::mt19937 random(4);
  const std::string bytes = RandomBytes(random, 301);
  std::string text;
  for (const char c : VqBase64Encode(bytes)) {
    text += c;
    if (random() % 20 == 0) text += "\r\n";
  }
  for (std::size_t first = 0; first <= text.size(); ++first) {
    for (const std::size_t second : {first, first + (text.size() - first) / 2, text.size()}) {
      TVqMemoryStream target;
      TVqBinaryDecoder decoder(TVqBinaryEncoding::beBase64, target);
      decoder.Add(std::string_view(text).substr(0, first));
      decoder.Add(std::string_view(text).substr(first, second - first));
      decoder.Add(std::string_view(text).substr(second));
      decoder.Finish();
      ASSERT_EQ(target.Bytes(), bytes) << first << ", " << second;
    }
  }
}

TEST(Base64, PlacesCountOverAllPieces) {
  TVqMemoryStream target;
  TVqBinaryDecoder decoder(TVqBinaryEncoding::beBase64, target);
  decoder.Add("Zm9");
  decoder.Add("vYm");
  EXPECT_EQ(Message([&] { decoder.Add("F!"); }), "The text is not base64: unexpected \"!\" at position 7.");
  TVqBinaryDecoder large(TVqBinaryEncoding::beBase64, target);
  EXPECT_EQ(Message([&] { large.Add(std::string(100000, 'x') + "!"); }),
            "The text is not base64: unexpected \"!\" at position 100000.");
  TVqBinaryDecoder cut(TVqBinaryEncoding::beBase64, target);
  cut.Add("Zm9v");
  cut.Add("Z");
  EXPECT_EQ(Message([&] { cut.Finish(); }), "The text is not base64: it ends within a group at position 5.");
}

TEST(Base64, EncodesBytesCutAnywhere) {
  std::mt19937 random(5);
  const std::string bytes = RandomBytes(random, 100);
  const std::string text = ByOpenSsl(bytes);
  for (std::size_t first = 0; first <= bytes.size(); ++first) {
    for (std::size_t second = first; second <= bytes.size(); ++second) {
      TVqMemoryStream target;
      TVqBinaryEncoder encoder(TVqBinaryEncoding::beBase64, target);
      encoder.Add(std::string_view(bytes).substr(0, first));
      encoder.Add(std::string_view(bytes).substr(first, second - first));
      encoder.Add(std::string_view(bytes).substr(second));
      encoder.Finish();
      ASSERT_EQ(target.Bytes(), text) << first << ", " << second;
    }
  }
}

/// Gives at most seven bytes at a time.
class TTrickle : public TVqMemoryStream {
 public:
  using TVqMemoryStream::TVqMemoryStream;
  std::size_t Read(void* buffer, std::size_t count) override {
    return TVqMemoryStream::Read(buffer, std::min<std::size_t>(count, 7));
  }
};

TEST(Base64, StreamsOfEverySizeGoThrough) {
  std::mt19937 random(6);
  for (const std::size_t size : {0u, 1u, 2u, 3u, 100u, 12287u, 12288u, 12289u, 100000u}) {
    const std::string bytes = RandomBytes(random, size);
    const std::string text = ByOpenSsl(bytes);
    TTrickle source(bytes);
    EXPECT_TRUE(VqBase64Encode(source) == text) << size;
    source.SetPosition(0);
    TVqMemoryStream encoded;
    VqBase64Encode(source, encoded);
    EXPECT_TRUE(encoded.Bytes() == text) << size;
    TVqMemoryStream decoded;
    VqBase64Decode(text, decoded);
    EXPECT_TRUE(decoded.Bytes() == bytes) << size;
  }
}

TEST(Base64, EncodingStartsAtThePositionAndNeedsNoRoomBeyondTheText) {
  TVqMemoryStream source("xxfoobar");
  source.SetPosition(2);
  EXPECT_EQ(VqBase64Encode(source), "Zm9vYmFy");
  TVqMemoryStream large(std::string(1'000'000, 'x'));
  const std::string text = VqBase64Encode(large);
  EXPECT_EQ(text.size(), VqBase64Length(1'000'000));
  EXPECT_LT(text.capacity(), text.size() + 64);
}

TEST(Base64Url, HasItsOwnAlphabetAndNoPadding) {
  EXPECT_EQ(VqBase64UrlEncode("\xFB\xFF\xBF"), "-_-_");
  EXPECT_EQ(VqBase64UrlEncode("f"), "Zg");
  EXPECT_EQ(VqBase64UrlEncode(""), "");
  EXPECT_EQ(VqBase64UrlDecode("-_-_"), "\xFB\xFF\xBF");
  EXPECT_EQ(VqBase64UrlDecode("Zg"), "f");
  EXPECT_EQ(VqBase64UrlDecode("Zm8"), "fo");
  EXPECT_EQ(VqBase64UrlDecode("Zg=="), "f");
  EXPECT_EQ(VqBase64UrlDecode("Zm9v"), "foo");
  EXPECT_EQ(Message([] { VqBase64UrlDecode("Zm9+"); }), "The text is not base64: unexpected \"+\" at position 3.");
  EXPECT_EQ(Message([] { VqBase64UrlDecode("Zm/v"); }), "The text is not base64: unexpected \"/\" at position 2.");
  EXPECT_EQ(Message([] { VqBase64UrlDecode("Zm9vZ"); }),
            "The text is not base64: it ends within a group at position 5.");
}

TEST(Hex, BothWays) {
  EXPECT_EQ(VqHexEncode("\x00\x7F\xAB\xFF"s.append(1, '\x10')), "007FABFF10");
  EXPECT_EQ(VqHexDecode("007fAbFF10"), "\x00\x7F\xAB\xFF\x10"s);
  EXPECT_EQ(VqHexDecode("41 4\r\n2"), "AB");
  EXPECT_EQ(VqHexEncode(""), "");
  EXPECT_EQ(VqHexDecode(""), "");
  std::mt19937 random(7);
  const std::string bytes = RandomBytes(random, 1000);
  EXPECT_EQ(VqHexDecode(VqHexEncode(bytes)), bytes);
}

TEST(Hex, EverythingElseIsRefusedWithItsPlace) {
  EXPECT_EQ(Message([] { VqHexDecode("41G2"); }), "The text is not hexadecimal: unexpected \"G\" at position 2.");
  EXPECT_EQ(Message([] { VqHexDecode("0x41"); }), "The text is not hexadecimal: unexpected \"x\" at position 1.");
  EXPECT_EQ(Message([] { VqHexDecode("414"); }), "The text is not hexadecimal: it ends within a group at position 3.");
  for (int c = 0; c < 256; ++c) {
    if (std::isxdigit(c) || std::isspace(c)) continue;
    EXPECT_THROW(VqHexDecode(std::string(2, static_cast<char>(c))), EConvertError) << c;
  }
}

TEST(Hex, ComesAndGoesInPieces) {
  TVqMemoryStream target;
  TVqBinaryDecoder decoder(TVqBinaryEncoding::beHex, target);
  decoder.Add("4");
  decoder.Add("14");
  decoder.Add("2" + VqHexEncode(std::string(50000, 'x')));
  decoder.Finish();
  EXPECT_TRUE(target.Bytes() == "AB" + std::string(50000, 'x'));
  TVqMemoryStream text;
  TVqBinaryEncoder encoder(TVqBinaryEncoding::beHex, text);
  encoder.Add("A");
  encoder.Add(std::string(50000, 'B'));
  encoder.Finish();
  EXPECT_TRUE(text.Bytes() == "41" + VqHexEncode(std::string(50000, 'B')));
}

TEST(Bytes, ComeFromTextInBothForms) {
  EXPECT_EQ(TVqBytes(u"aü").Bytes(), (TBytes{0x61, 0xC3, 0xBC}));
  EXPECT_EQ(TVqBytes(u"aü", true).Bytes(), (TBytes{0x61, 0x00, 0xFC, 0x00}));
  for (const bool unicode : {false, true}) {
    const string text(u"Grüße \U0001F600");
    EXPECT_EQ(TVqBytes(text, unicode).AsString(unicode), text);
    EXPECT_TRUE(TVqBytes("", unicode).empty());
  }
  EXPECT_EQ(TVqBytes(TBytes{0x61, 0x00, 0x62}).AsString(true), u"a\uFFFD");
  EXPECT_EQ(TVqBytes(TBytes{0xFF}).AsString(), u"\uFFFD");
}

TEST(Bytes, EncodeAndDecode) {
  const TVqBytes bytes("foo");
  EXPECT_EQ(bytes.Encode(), "Zm9v");
  EXPECT_EQ(bytes.Encode(TVqBinaryEncoding::beHex), "666F6F");
  EXPECT_EQ(TVqBytes::Decode("Zm9v"), bytes);
  EXPECT_EQ(TVqBytes::Decode("666f6f", TVqBinaryEncoding::beHex), bytes);
  EXPECT_EQ(bytes.size(), 3u);
  EXPECT_EQ(bytes.View(), "foo");
  EXPECT_THROW(TVqBytes::Decode("!"), EConvertError);
}

}  // namespace
}  // namespace velmore
