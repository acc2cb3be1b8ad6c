#pragma once

// Bytes, well-formed and not, and what they are in 16 bits.

#include <string>

namespace velmore {

using namespace std::string_literals;

// The expected units are written out, so that the conversion is not held against itself.
struct TUtf8Case {
  const char* What;
  std::string Utf8;
  std::u16string Units;
  bool WellFormed;
};

inline const TUtf8Case kCases[] = {
    {"empty", "", u"", true},
    {"ASCII", "Subject: 1", u"Subject: 1", true},
    {"a zero inside", "a\0b"s, u"a\0b"s, true},
    {"two bytes, first and last", "\xC2\x80\xDF\xBF", u"\u0080\u07FF", true},
    {"three bytes, first and last", "\xE0\xA0\x80\xEF\xBF\xBF", u"\u0800\uFFFF", true},
    {"last before the surrogates", "\xED\x9F\xBF", u"\uD7FF", true},
    {"first behind the surrogates", "\xEE\x80\x80", u"\uE000", true},
    {"four bytes, first and last", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", u"\U00010000\U0010FFFF", true},
    {"ASCII before and behind", "abcdefgh\xC3\xBCijklmnopqr", u"abcdefgh\u00FCijklmnopqr", true},
    {"continuation alone", "\x80", u"\uFFFD", false},
    {"two continuations", "\x80\xBF", u"\uFFFD\uFFFD", false},
    {"overlong two bytes", "\xC0\xAF", u"\uFFFD\uFFFD", false},
    {"overlong two bytes, upper", "\xC1\xBF", u"\uFFFD\uFFFD", false},
    {"overlong three bytes", "\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD", false},
    {"overlong four bytes", "\xF0\x80\x80\xAF", u"\uFFFD\uFFFD\uFFFD\uFFFD", false},
    {"encoded high surrogate", "\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD", false},
    {"encoded low surrogate", "\xED\xBF\xBF", u"\uFFFD\uFFFD\uFFFD", false},
    {"above the last character", "\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD", false},
    {"lead that never was", "\xF5\xFE\xFF", u"\uFFFD\uFFFD\uFFFD", false},
    {"cut after one of two", "x\xC3", u"x\uFFFD", false},
    {"cut after two of three", "x\xE2\x82", u"x\uFFFD", false},
    {"cut after three of four", "x\xF0\x9F\x98", u"x\uFFFD", false},
    {"cut, then ASCII", "\xE2\x82!", u"\uFFFD!", false},
    {"cut, then a character", "\xF0\x9F\xC3\xBC", u"\uFFFD\u00FC", false},
    {"lead, then lead", "\xC3\xC3\xBC", u"\uFFFD\u00FC", false},
};

}  // namespace velmore
