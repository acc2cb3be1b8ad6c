// Conversions between values and XML texts, and the text stream.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

#include "platform/common/uVqDateTimeUtils.h"
#include "platform/xml/uVqStringStream.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {
namespace {

TEST(Integers, ReadDecimalAndHexadecimal) {
  EXPECT_EQ(VqXMLToInt("0x3A45"), 0x3A45);
  EXPECT_EQ(VqXMLToInt("0X3a45"), 0x3A45);
  EXPECT_EQ(VqXMLToInt("0xFFFFFFFF"), -1);
  EXPECT_EQ(VqXMLToInt(" 42\n"), 42);
  EXPECT_EQ(VqXMLToInt("-2147483648"), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(VqXMLToInt("+7"), 7);
  EXPECT_EQ(VqXMLToInt("007"), 7);
  for (const char* wrong : {"", " ", "x", "1x", "0x", "0xG", "1.5", "2147483648", "-2147483649", "0x100000000", "+-1",
                            "- 1", "--1", "0x-1"}) {
    EXPECT_THROW(VqXMLToInt(wrong), EConvertError) << wrong;
    EXPECT_EQ(VqXMLToIntDef(wrong, 5), 5) << wrong;
  }
  EXPECT_EQ(VqXMLToInt64("9223372036854775807"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(VqXMLToInt64("0xFFFFFFFFFFFFFFFF"), -1);
  EXPECT_THROW(VqXMLToInt64("9223372036854775808"), EConvertError);
  try {
    VqXMLToInt("abc");
    FAIL();
  } catch (const EConvertError& error) {
    EXPECT_STREQ(error.what(), "\"abc\" is not a 32-bit integer.");
  }
}

TEST(Integers, AreWrittenInDecimal) {
  EXPECT_EQ(VqIntToXML(-1), "-1");
  EXPECT_EQ(VqIntToXML(std::numeric_limits<std::int32_t>::min()), "-2147483648");
  EXPECT_EQ(VqInt64ToXML(std::numeric_limits<std::int64_t>::max()), "9223372036854775807");
}

TEST(Doubles, RoundTrip) {
  for (const double value : {0.0, 1.5, -2.25, 0.1, 1e300, 5e-324, 123456789.125}) {
    EXPECT_EQ(VqXMLToDouble(VqDoubleToXML(value)), value);
  }
  EXPECT_EQ(VqDoubleToXML(0.1), "0.1");
  EXPECT_EQ(VqDoubleToXML(std::numeric_limits<double>::infinity()), "INF");
  EXPECT_EQ(VqDoubleToXML(-std::numeric_limits<double>::infinity()), "-INF");
  EXPECT_EQ(VqDoubleToXML(std::nan("")), "NaN");
  EXPECT_TRUE(std::isnan(VqXMLToDouble("NaN")));
  EXPECT_EQ(VqXMLToDouble("-INF"), -std::numeric_limits<double>::infinity());
  EXPECT_EQ(VqXMLToDouble(" +1.5E2 "), 150);
  EXPECT_EQ(VqXMLToDouble(".5"), 0.5);
  EXPECT_EQ(VqXMLToDouble("1e-999"), 0);
  for (const char* wrong : {"", "x", "1,5", "inf", "nan", "1e", "0x1p3", "+", "-", "1e999", "+-1", "--1"}) {
    EXPECT_THROW(VqXMLToDouble(wrong), EConvertError) << wrong;
  }
}

TEST(Booleans, ReadWordsAndDigits) {
  for (const char* text : {"true", "True", "TRUE", "1", " true "}) EXPECT_TRUE(VqXMLToBool(text)) << text;
  for (const char* text : {"false", "False", "FALSE", "0", "\tfalse"}) EXPECT_FALSE(VqXMLToBool(text)) << text;
  for (const char* text : {"", "yes", "2", "truee", "tru"}) EXPECT_THROW(VqXMLToBool(text), EConvertError) << text;
  EXPECT_EQ(VqBoolToXML(true), "true");
  EXPECT_EQ(VqBoolToXML(false), "false");
}

TEST(DateTimes, AreWrittenAsUtc) {
  EXPECT_EQ(VqDateTimeToXML(0.0), "1899-12-30T00:00:00Z");
  EXPECT_EQ(VqDateTimeToXML(45351.5), "2024-02-29T12:00:00Z");
  EXPECT_EQ(VqDateTimeToXML(45351.5, kVqTimeZoneUtc), "2024-02-29T12:00:00Z");
  EXPECT_EQ(VqDateTimeToXML(45351.5, kVqTimeZoneNone), "2024-02-29T12:00:00");
  EXPECT_EQ(VqDateTimeToXML(1 / 86400.0 * 1.5), "1899-12-30T00:00:01.500Z");
  EXPECT_EQ(VqDateTimeToXML(45351 + 0.9999999999), "2024-03-01T00:00:00Z") << "to the nearest millisecond";
  EXPECT_EQ(VqDateTimeToXML(-0.75), "1899-12-29T06:00:00Z") << "time runs straight through zero";
  EXPECT_EQ(VqDateTimeToXML(-1.25), "1899-12-28T18:00:00Z");
  EXPECT_EQ(VqDateTimeToXML(-693593.0), "0001-01-01T00:00:00Z");
  EXPECT_EQ(VqDateTimeToXML(2958465.5), "9999-12-31T12:00:00Z");
  EXPECT_THROW(VqDateTimeToXML(2958466.0), EConvertError);
  EXPECT_EQ(VqDateTimeToXML(std::nextafter(2958466.0, 0)), "9999-12-31T23:59:59.999Z") << "never beyond the end";
  EXPECT_THROW(VqDateTimeToXML(-693594.0), EConvertError);
  EXPECT_THROW(VqDateTimeToXML(std::nan("")), EConvertError);
  EXPECT_THROW(VqDateTimeToXML(1e300), EConvertError);
}

TEST(DateTimes, AreReadWithEveryZoneIntoUtc) {
  const auto read = [](const char* text) { return VqDateTimeToXML(VqXMLToDateTime(text)); };
  EXPECT_EQ(read("2024-02-29T12:00:00Z"), "2024-02-29T12:00:00Z");
  EXPECT_EQ(read("2024-02-29T12:00:00"), "2024-02-29T12:00:00Z");
  EXPECT_EQ(read("2024-02-29T12:00:00+01:00"), "2024-02-29T11:00:00Z");
  EXPECT_EQ(read("2024-02-29T12:00:00-05:30"), "2024-02-29T17:30:00Z");
  EXPECT_EQ(read("2024-03-01T00:30:00+01:00"), "2024-02-29T23:30:00Z");
  EXPECT_EQ(read("2024-02-29T12:00:00.5Z"), "2024-02-29T12:00:00.500Z");
  EXPECT_EQ(read("2024-02-29T12:00:00.1234567Z"), "2024-02-29T12:00:00.123Z");
  EXPECT_EQ(read("2024-02-29T12:00:00.9996Z"), "2024-02-29T12:00:01Z");
  EXPECT_EQ(read("2024-02-29T23:59:59.99951234567890123456789Z"), "2024-03-01T00:00:00Z");
  EXPECT_EQ(read("2024-02-29T24:00:00Z"), "2024-03-01T00:00:00Z");
  EXPECT_EQ(read("2024-02-29"), "2024-02-29T00:00:00Z");
  EXPECT_EQ(read("2024-02-29Z"), "2024-02-29T00:00:00Z");
  EXPECT_EQ(read("2024-02-29+02:00"), "2024-02-28T22:00:00Z");
  EXPECT_EQ(read(" 2024-02-29T12:00:00Z\n"), "2024-02-29T12:00:00Z");
  EXPECT_EQ(read("0001-01-01T00:00:00Z"), "0001-01-01T00:00:00Z");
  EXPECT_EQ(read("1601-01-01T00:00:00Z"), "1601-01-01T00:00:00Z");
  EXPECT_EQ(read("2000-02-29T00:00:00Z"), "2000-02-29T00:00:00Z");
  EXPECT_EQ(VqDateTimeToXML(VqXMLToDateTime("2024-02-29T12:00:00+01:00", kVqTimeZoneNone)), "2024-02-29T12:00:00Z")
      << "the other format leaves the time as it is written";
}

TEST(DateTimes, EndOfTimeIsRoundedDown) {
  const auto read = [](const char* text, TVqTimeZoneFormat format = kVqTimeZoneUtc) {
    return VqDateTimeToXML(VqXMLToDateTime(text, format));
  };
  EXPECT_EQ(read("9999-12-31T23:59:59.9999999Z"), "9999-12-31T23:59:59.999Z");
  EXPECT_EQ(read("9999-12-31T23:59:59.9999999"), "9999-12-31T23:59:59.999Z");
  EXPECT_EQ(read("9999-12-31T23:59:59.9995Z"), "9999-12-31T23:59:59.999Z");
  EXPECT_EQ(read("9999-12-31T22:59:59.9999999-01:00"), "9999-12-31T23:59:59.999Z");
  EXPECT_EQ(read("9999-12-31T23:59:59.9999999-01:00", kVqTimeZoneNone), "9999-12-31T23:59:59.999Z");
  EXPECT_EQ(read("9999-12-31T23:59:59.9999999+01:00"), "9999-12-31T23:00:00Z") << "elsewhere to the nearest";
  EXPECT_EQ(read("9998-12-31T23:59:59.9999999Z"), "9999-01-01T00:00:00Z");
  EXPECT_EQ(VqDateToXML(std::nextafter(2958466.0, 0)), "9999-12-31");
}

TEST(DateTimes, AndPartsAreOneCalendar) {
  for (const double day : {-693593.0, -109205.0, -45351.0, -1.0, 0.0, 45351.0, 2958465.0}) {
    for (int ms = 0; ms < 86'400'000; ms += 3'210'123) {
      TVqDateTimeParts parts = VqDecodeDateTime(day);
      parts.Hour = ms / 3'600'000;
      parts.Minute = ms / 60'000 % 60;
      parts.Second = ms / 1000 % 60;
      parts.Millisecond = ms % 1000;
      char text[40];
      std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", parts.Year, parts.Month, parts.Day,
                    parts.Hour, parts.Minute, parts.Second, parts.Millisecond);
      const TDateTime value = VqXMLToDateTime(text);
      ASSERT_EQ(double(value), double(VqEncodeDateTime(parts))) << text;
      ASSERT_EQ(VqDecodeDateTime(value), parts) << text;
      const string written = VqDateTimeToXML(value);
      ASSERT_EQ(written, ms % 1000 != 0 ? string(text) : VqDateTimeToXML(VqEncodeDateTime(parts)));
      ASSERT_EQ(double(VqXMLToDateTime(written)), double(value)) << text;
      ASSERT_EQ(VqDateToXML(value), string(text).Copy(0, 10));
      ASSERT_EQ(VqTimeToXML(value), written.Copy(11)) << text;
    }
  }
}

TEST(DateTimes, RefuseWhatIsNone) {
  for (const char* wrong : {"",
                            "x",
                            "2024",
                            "2024-02",
                            "2024-2-29",
                            "2024-02-30",
                            "2023-02-29",
                            "1900-02-29",
                            "2024-00-01",
                            "2024-13-01",
                            "2024-01-00",
                            "2024-01-32",
                            "0000-01-01",
                            "2024-02-29T",
                            "2024-02-29T12",
                            "2024-02-29T12:00",
                            "2024-02-29T25:00:00",
                            "2024-02-29T24:00:01",
                            "2024-02-29T12:60:00",
                            "2024-02-29T12:00:60",
                            "2024-02-29T12:00:00.",
                            "2024-02-29T12:00:00+1",
                            "2024-02-29T12:00:00+15:00",
                            "2024-02-29T12:00:00+14:01",
                            "2024-02-29T12:00:00+01:60",
                            "2024-02-29T12:00:00Zx",
                            "2024-02-29T12:00:00 Z",
                            "2024-02-29 12:00:00",
                            "24-02-29T12:00:00",
                            "12024-02-29T12:00:00",
                            "-2024-02-29T12:00:00",
                            "0001-01-01T00:00:00+01:00",
                            "9999-12-31T23:59:59-01:00",
                            "9999-12-31T24:00:00Z",
                            "9999-12-31T23:59:59.9999999-01:00",
                            "10000-01-01T00:00:00Z"}) {
    EXPECT_THROW(VqXMLToDateTime(wrong), EConvertError) << wrong;
  }
}

TEST(DateTimes, EveryDayOfFourCenturiesRoundTrips) {
  string previous;
  for (std::int32_t day = -109205 - 400; day <= 73050; ++day) {  // 1599 to 2100
    const string text = VqDateTimeToXML(static_cast<double>(day));
    ASSERT_EQ(static_cast<double>(VqXMLToDateTime(text)), day) << text;
    ASSERT_TRUE(previous.empty() || previous < text);
    previous = text;
  }
}

TEST(DateTimes, MillisecondsRoundTripBeforeAndAfterDayZero) {
  for (const double day : {45351.0, -45351.0, 0.0, -1.0}) {
    for (int ms = 0; ms < 86'400'000; ms += 1234567) {
      const double value = day + ms / 86400000.0;
      const double read = VqXMLToDateTime(VqDateTimeToXML(value));
      ASSERT_NEAR(read, value, 1e-9);
      ASSERT_EQ(VqDateTimeToXML(read), VqDateTimeToXML(value));
    }
  }
}

TEST(Dates, AreDays) {
  EXPECT_EQ(VqDateToXML(45351.75), "2024-02-29");
  EXPECT_EQ(static_cast<double>(VqXMLToDate("2024-02-29")), 45351);
  EXPECT_EQ(static_cast<double>(VqXMLToDate("2024-02-29Z")), 45351);
  EXPECT_EQ(static_cast<double>(VqXMLToDate("2024-02-29+13:00")), 45351) << "a day, wherever";
  EXPECT_EQ(static_cast<double>(VqXMLToDate("2024-02-29T23:00:00Z")), 45351);
  EXPECT_THROW(VqXMLToDate("2024-02-30"), EConvertError);
  EXPECT_THROW(VqXMLToDate("29.02.2024"), EConvertError);
}

TEST(Times, OfDay) {
  EXPECT_EQ(VqTimeToXML(0.5), "12:00:00Z");
  EXPECT_EQ(VqTimeToXML(45351.25), "06:00:00Z");
  EXPECT_EQ(VqTimeToXML(0.5, kVqTimeZoneNone), "12:00:00");
  EXPECT_EQ(VqTimeToXML(-0.25), "18:00:00Z") << "of the day before";
  EXPECT_EQ(VqTimeToXML(0.99999999999), "00:00:00Z");
  EXPECT_EQ(VqTimeToXML(1.5 / 86400), "00:00:01.500Z");
  EXPECT_EQ(static_cast<double>(VqXMLToTime("12:00:00")), 0.5);
  EXPECT_EQ(static_cast<double>(VqXMLToTime("00:00:00+06:00")), 0.75) << "wraps round";
  EXPECT_EQ(static_cast<double>(VqXMLToTime("24:00:00")), 0);
  for (const char* wrong : {"", "12", "12:00", "25:00:00", "12:00:00Zx"})
    EXPECT_THROW(VqXMLToTime(wrong), EConvertError);
  EXPECT_THROW(VqTimeToXML(std::nan("")), EConvertError);
}

TEST(Durations, ReadAndWrite) {
  EXPECT_EQ(VqDurationToXML(0), "PT0S");
  EXPECT_EQ(VqDurationToXML(1), "P1D");
  EXPECT_EQ(VqDurationToXML(1.5), "P1DT12H");
  EXPECT_EQ(VqDurationToXML(-0.5 / 24), "-PT30M");
  EXPECT_EQ(VqDurationToXML(1.5 / 86400), "PT1.5S");
  EXPECT_EQ(VqXMLToDuration("P1DT2H3M4.5S"), 1 + (2 * 3600 + 3 * 60 + 4.5) / 86400);
  EXPECT_EQ(VqXMLToDuration("PT90M"), 0.0625);
  EXPECT_EQ(VqXMLToDuration("-P1D"), -1);
  EXPECT_EQ(VqXMLToDuration("P1Y2M"), 365 + 60);
  for (const char* wrong :
       {"", "P", "PT", "P1", "1D", "P1DT", "PD", "P1H", "PT1D", "P1M1Y", "P1D1D", "PT1.5H", "P-1D", "PT1S x"}) {
    EXPECT_THROW(VqXMLToDuration(wrong), EConvertError) << wrong;
  }
  EXPECT_THROW(VqDurationToXML(1e300), EConvertError);
}

TEST(Variants, GiveTheTextOfWhateverTheyHold) {
  EXPECT_EQ(VqVariantToXML({}), "");
  EXPECT_EQ(VqVariantToXML(true), "true");
  EXPECT_EQ(VqVariantToXML(std::int32_t{-5}), "-5");
  EXPECT_EQ(VqVariantToXML(std::int64_t{1} << 40), "1099511627776");
  EXPECT_EQ(VqVariantToXML(1.5), "1.5");
  EXPECT_EQ(VqVariantToXML(TDateTime(45351)), "2024-02-29T00:00:00Z");
  EXPECT_EQ(VqVariantToXML(string("text")), "text");
}

TEST(Bytes, RoundTripAsBase64) {
  for (const char* text : {"", "f", "fo", "foo", "foob", "fooba", "foobar"}) {
    const TBytes bytes(text, text + std::strlen(text));
    EXPECT_EQ(VqXMLToBytes(VqBytesToXML(bytes)), bytes);
  }
  EXPECT_EQ(VqBytesToXML({'f', 'o'}), "Zm8=");
  EXPECT_EQ(VqXMLToBytes(" Z m\r\n8= "), (TBytes{'f', 'o'}));
  for (const char* wrong : {"Z", "Zm8", "Zm8==", "Zm=8", "Zm9v=", "Z===", "====", "Zm8=Zm8=", "Zm8!"}) {
    EXPECT_THROW(VqXMLToBytes(wrong), EConvertError) << wrong;
  }
}

TEST(Guids, InLowerCaseWithoutBraces) {
  const TGUID guid("00062008-0000-0000-C000-000000000046");
  EXPECT_EQ(VqGuidToXML(guid), "00062008-0000-0000-c000-000000000046");
  EXPECT_EQ(VqXMLToGuid("{00062008-0000-0000-C000-000000000046}"), guid);
  EXPECT_EQ(VqXMLToGuid(" 00062008-0000-0000-c000-000000000046"), guid);
  EXPECT_THROW(VqXMLToGuid("00062008"), EConvertError);
}

// ---- The text stream

TEST(Escaping, MakesMarkupThatReadsBackAsTheText) {
  EXPECT_EQ(VqEscapeXML("a<b>c & \"d\" 'e'"), "a&lt;b&gt;c &amp; &quot;d&quot; &apos;e&apos;");
  EXPECT_EQ(VqEscapeXML("a\tb\nc\rd"), "a&#9;b&#10;c&#13;d");
  EXPECT_EQ(VqEscapeXML("&amp;"), "&amp;amp;");
  EXPECT_EQ(VqEscapeXML(""), "");
  EXPECT_EQ(VqEscapeXML("Grüße \xF0\x9F\x98\x80"), "Grüße \xF0\x9F\x98\x80");
  for (const char* text : {"a<b>c & \"d\" 'e'", "a\tb\nc\rd", "]]>", "&#65;", "  two  "}) {
    const string escaped = VqEscapeXML(text);
    for (const char* quote : {"\"", "'"}) {
      const TVqDOMDocument read("<e a=" + string(quote) + escaped + quote + ">" + escaped + "</e>");
      EXPECT_EQ(read.GetDocumentElement().GetAttribute("a"), text);
      EXPECT_EQ(read.GetDocumentElement().GetText(), text);
    }
  }
  EXPECT_THROW(VqEscapeXML(u"a\u0001"), EVqXMLError);
  EXPECT_THROW(VqEscapeXML(u"\xD800"), EVqXMLError);
}

TEST(StringStream, CollectsTextInItsCodePage) {
  TVqStringStream stream(kVqCodePageUtf8, 16);
  EXPECT_TRUE(stream.IsEmpty());
  stream.Add("<t:FieldURI FieldURI=\"").Add(u"\u20AC").Add("\" />").Add("\xFC", kVqCodePageLatin1);
  EXPECT_EQ(stream.GetAString(), "<t:FieldURI FieldURI=\"\xE2\x82\xAC\" />\xC3\xBC");
  EXPECT_EQ(stream.GetAsString(), u"<t:FieldURI FieldURI=\"\u20AC\" />\u00FC");
  stream.SetAsString("x");
  EXPECT_EQ(stream.GetAsString(), "x");
  EXPECT_EQ(stream.GetCodePage(), kVqCodePageUtf8);
}

TEST(StringStream, InEveryCodePage) {
  const string text = u"a\u00E9";
  for (const std::int32_t codePage :
       {kVqCodePageUtf8, kVqCodePageUtf16LE, kVqCodePageUtf16BE, kVqCodePage1252, kVqCodePageLatin1}) {
    TVqStringStream stream(codePage, 0);
    stream.Add(text);
    EXPECT_EQ(stream.GetAsString(), text) << codePage;
  }
  TVqStringStream wide(kVqCodePageUtf16BE);
  wide.Add(u"\u20AC\U0001F600");
  EXPECT_EQ(wide.GetAString(), std::string("\x20\xAC\xD8\x3D\xDE\x00", 6));
  TVqStringStream ascii(kVqCodePageAscii);
  ascii.Add(text);
  EXPECT_EQ(ascii.GetAString(), "a?");
  EXPECT_THROW(TVqStringStream(437), EConvertError);
  EXPECT_THROW(TVqStringStream().Add("x", 437), EConvertError);
}

TEST(StringStream, IsAStreamOfItsBytes) {
  TVqStringStream stream;
  stream.Add("hello");
  EXPECT_EQ(stream.GetSize(), 5u);
  EXPECT_EQ(stream.ReadAll(), "hello");
  stream.SetPosition(1);
  stream.Write("a");
  EXPECT_EQ(stream.GetAsString(), "hallo");
  stream.SetPosition(4);
  stream.Write("oween");
  EXPECT_EQ(stream.GetAsString(), "halloween");
  stream.Clear();
  EXPECT_EQ(stream.GetSize(), 0u);
}

TEST(CodePages, TextsOfAnyLengthAreConvertedWhole) {
  // Characters of two units at every distance from the end of what is converted at once.
  for (std::size_t before = 4090; before < 4100; ++before) {
    const std::string text = std::string(before, 'x') + "\xF0\x9F\x98\x80\xE2\x82\xAC" + std::string(5000, 'y');
    for (const std::int32_t codePage : {kVqCodePageUtf16LE, kVqCodePageUtf16BE, kVqCodePageUtf8}) {
      EXPECT_EQ(VqDecodeText(VqEncodeText(text, codePage), codePage), text) << before << " " << codePage;
    }
    EXPECT_EQ(VqEncodeText(text, kVqCodePage1252), std::string(before, 'x') + "?\x80" + std::string(5000, 'y'));
  }
  EXPECT_EQ(VqDecodeText("", kVqCodePage1252), "");
  EXPECT_EQ(VqEncodeText("", kVqCodePageUtf16BE), "");
}

TEST(CodePages, AreFoundUnderEveryNameThatDocumentsUse) {
  const auto read = [](const char* name, const char* text) {
    TVqDOMDocument document;
    document.LoadFromBytes("<?xml version='1.0' encoding='" + std::string(name) + "'?><a>" + text + "</a>");
    return document.GetDocumentElement().GetTextAsUtf8();
  };
  for (const char* name : {"windows-1252", "Windows-1252", "cp1252"}) EXPECT_EQ(read(name, "\x80"), "\xE2\x82\xAC");
  for (const char* name : {"iso-8859-1", "ISO-8859-1", "ISO8859-1", "latin1", "l1"}) {
    EXPECT_EQ(read(name, "\xE9"), "\xC3\xA9") << name;
  }
  for (const char* name : {"us-ascii", "ASCII", "utf-8", "UTF8"}) EXPECT_EQ(read(name, "e"), "e") << name;
  for (const char* name : {"shift_jis", "windows-1251", "x", "UTF-7"})
    EXPECT_THROW(read(name, "e"), EVqXMLError) << name;
}

TEST(CodePages, UndefinedBytesBecomeReplacement) {
  EXPECT_EQ(VqDecodeText("a\xFF", kVqCodePageUtf8), "a\xEF\xBF\xBD");
  EXPECT_EQ(VqDecodeText("a\xFF", kVqCodePageAscii), "a\xEF\xBF\xBD");
  EXPECT_EQ(VqDecodeText("\x80\x81\x9F\xFF", kVqCodePage1252), "\xE2\x82\xAC\xC2\x81\xC5\xB8\xC3\xBF");
  const auto utf16 = [](std::string_view bytes) { return VqDecodeText(bytes, kVqCodePageUtf16LE); };
  EXPECT_EQ(utf16(std::string_view("\x00\xD8x\0", 4)), "\xEF\xBF\xBDx");
  EXPECT_EQ(utf16(std::string_view("x\0\x00\xD8", 4)), "x\xEF\xBF\xBD");
  EXPECT_EQ(utf16(std::string_view("\x00\xDCx\0", 4)), "\xEF\xBF\xBDx");
  EXPECT_EQ(utf16(std::string_view("x\0y", 3)), "x\xEF\xBF\xBD") << "cut within a unit";
  EXPECT_EQ(utf16(std::string_view("\x00\xD8y", 3)), "\xEF\xBF\xBD") << "cut within a character";
  for (int byte = 0; byte < 256; ++byte) {
    const std::string one(1, static_cast<char>(byte));
    EXPECT_EQ(VqEncodeText(VqDecodeText(one, kVqCodePage1252), kVqCodePage1252), one) << byte;
    EXPECT_EQ(VqEncodeText(VqDecodeText(one, kVqCodePageLatin1), kVqCodePageLatin1), one) << byte;
  }
}

}  // namespace
}  // namespace velmore
