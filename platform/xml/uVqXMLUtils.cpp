// Numbers, truth values, bytes and GUIDs.

#include "platform/xml/uVqXMLUtils.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "platform/common/uVqNetEncoding.h"
#include "platform/xml/uVqXMLConvert_p.h"
#include "platform/xml/uVqXMLDOMData_p.h"

namespace velmore {

using detail::FailConvert;

namespace {

/// An integer in decimal or, up to `hexMax`, hexadecimal form; false when it is none or does not fit.
bool ReadInteger(std::string_view text, std::int64_t& value, bool wide) noexcept {
  text = VqTrimSpace(text);
  const std::string_view all = text;
  if (text.starts_with("0x") || text.starts_with("0X")) {
    text.remove_prefix(2);
    std::uint64_t bits = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), bits, 16);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) return false;
    if (!wide && bits > std::numeric_limits<std::uint32_t>::max()) return false;
    value = wide ? static_cast<std::int64_t>(bits) : static_cast<std::int32_t>(static_cast<std::uint32_t>(bits));
    return true;
  }
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) return false;
  }
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 10);
  if (all.empty() || text.empty() || error != std::errc() || end != text.data() + text.size()) return false;
  return wide ||
         (value >= std::numeric_limits<std::int32_t>::min() && value <= std::numeric_limits<std::int32_t>::max());
}

}  // namespace

string VqIntToXML(std::int32_t AValue) {
  return VqInt64ToXML(AValue);
}

string VqInt64ToXML(std::int64_t AValue) {
  char text[24];
  return std::string_view(text, static_cast<std::size_t>(std::to_chars(text, text + sizeof text, AValue).ptr - text));
}

std::int32_t VqXMLToInt(const TVqUtf8View& AText) {
  std::int64_t value;
  if (!ReadInteger(AText.View(), value, false)) FailConvert(AText.View(), "a 32-bit integer");
  return static_cast<std::int32_t>(value);
}

std::int64_t VqXMLToInt64(const TVqUtf8View& AText) {
  std::int64_t value;
  if (!ReadInteger(AText.View(), value, true)) FailConvert(AText.View(), "a 64-bit integer");
  return value;
}

std::int32_t VqXMLToIntDef(const TVqUtf8View& AText, std::int32_t ADefault) noexcept {
  std::int64_t value;
  return ReadInteger(AText.View(), value, false) ? static_cast<std::int32_t>(value) : ADefault;
}

string VqDoubleToXML(double AValue) {
  if (std::isnan(AValue)) return "NaN";
  if (std::isinf(AValue)) return AValue < 0 ? "-INF" : "INF";
  char text[64];
  return std::string_view(text, static_cast<std::size_t>(std::to_chars(text, text + sizeof text, AValue).ptr - text));
}

double VqXMLToDouble(const TVqUtf8View& AText) {
  std::string_view text = VqTrimSpace(AText.View());
  if (text == "NaN") return std::numeric_limits<double>::quiet_NaN();
  if (text == "INF" || text == "+INF") return std::numeric_limits<double>::infinity();
  if (text == "-INF") return -std::numeric_limits<double>::infinity();
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  // from_chars knows "inf" and "nan" in its own spelling, which is no number here.
  const std::string_view digits = text.starts_with('-') ? text.substr(1) : text;
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  const bool number = !digits.empty() && (digits[0] == '.' || (digits[0] >= '0' && digits[0] <= '9'));
  if (!number || error == std::errc::invalid_argument || end != text.data() + text.size()) {
    FailConvert(AText.View(), "a number");
  }
  if (error == std::errc::result_out_of_range) {
    // Too small for a double is 0, too large is no value.
    if (std::fabs(std::strtod(std::string(text).c_str(), nullptr)) > 1) FailConvert(AText.View(), "a number");
    return 0;
  }
  return value;
}

string VqBoolToXML(bool AValue) {
  return AValue ? "true" : "false";
}

bool VqXMLToBool(const TVqUtf8View& AText) {
  const std::string_view text = VqTrimSpace(AText.View());
  const auto is = [&](std::string_view word) {
    return std::equal(text.begin(), text.end(), word.begin(), word.end(),
                      [](char a, char b) { return (a >= 'A' && a <= 'Z' ? a | 0x20 : a) == b; });
  };
  if (is("true") || text == "1") return true;
  if (is("false") || text == "0") return false;
  FailConvert(AText.View(), "a truth value");
}

void TVqVariant::RaiseTooLarge() {
  throw EConvertError("A whole number of more than 63 bits is no value.");
}

string VqVariantToXML(const TVqVariant& AValue) {
  struct TVisitor {
    string operator()(std::monostate) const { return {}; }
    string operator()(bool value) const { return VqBoolToXML(value); }
    string operator()(std::int32_t value) const { return VqIntToXML(value); }
    string operator()(std::int64_t value) const { return VqInt64ToXML(value); }
    string operator()(double value) const { return VqDoubleToXML(value); }
    string operator()(TDateTime value) const { return VqDateTimeToXML(value); }
    string operator()(const string& value) const { return value; }
  };
  return std::visit(TVisitor(), static_cast<const TVqVariantBase&>(AValue));
}

string VqEscapeXML(const TVqUtf8View& AText) {
  std::string escaped;
  detail::AppendEscapedValue(escaped, detail::CheckText(AText).c_str());
  return string(escaped).Replace("'", "&apos;");
}

string VqBytesToXML(const TBytes& AValue) {
  return VqBase64Encode(std::string_view(reinterpret_cast<const char*>(AValue.data()), AValue.size()));
}

TBytes VqXMLToBytes(const TVqUtf8View& AText) {
  const std::string bytes = VqBase64Decode(AText.View());
  return TBytes(bytes.begin(), bytes.end());
}

string VqGuidToXML(const TGUID& AValue) {
  const string text = LowerCase(VqGuidToString(AValue));
  return text.Copy(1, text.Length() - 2);
}

TGUID VqXMLToGuid(const TVqUtf8View& AText) {
  TGUID guid;
  if (!guid.Parse(VqTrimSpace(AText.View()))) FailConvert(AText.View(), "a GUID");
  return guid;
}

}  // namespace velmore
