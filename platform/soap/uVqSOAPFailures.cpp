#include <algorithm>
#include <limits>

#include "platform/http/internal/uVqHTTPDate.h"
#include "platform/http/internal/uVqHTTPText.h"
#include "platform/soap/uVqSOAPFailures_p.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {
namespace {

constexpr std::int32_t kStatusTooManyRequests = 429;
constexpr std::int32_t kStatusServiceUnavailable = 503;

bool IsBusy(std::int32_t status) noexcept {
  return status == kStatusTooManyRequests || status == kStatusServiceUnavailable;
}

std::int32_t Milliseconds(std::int64_t seconds) noexcept {
  constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max() / 1000;
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(seconds, 0, most) * 1000);
}

/// The digits of `text` as a number; -1 when there is anything else, or nothing.
std::int64_t Number(std::string_view text) noexcept {
  std::int64_t value = 0;
  for (const char c : text) {
    if (c < '0' || c > '9' || value > std::numeric_limits<std::int32_t>::max()) return -1;
    value = value * 10 + (c - '0');
  }
  return text.empty() ? -1 : value;
}

/// The text of an element of the fault under its name in SOAP 1.1 or in SOAP 1.2.
string FaultText(const IVqDOMElement& fault, const char* soap11, const char* soap12) {
  const IVqDOMElement element = fault.SelectSingleElement(soap11, kSelectQuiet);
  return (element ? element : fault.SelectSingleElement(soap12, kSelectQuiet)).GetText().Trim();
}

/// A name of the server's choice in a text for people.
string Shown(const string& name) {
  constexpr std::size_t most = 100;
  return VqShownText(name, most);
}

/// The code without the prefix of the server's choice.
string LocalCode(const string& code) {
  const std::size_t colon = code.Pos(u":");
  return colon == string::npos ? code : code.Copy(colon + 1);
}

}  // namespace

bool VqLooksLikeEnvelope(std::string_view ABytes) {
  std::string_view text = ABytes.substr(0, 4096);
  std::string narrowed;
  if (text.substr(0, 4).find('\0') != std::string_view::npos) {  // UTF-16
    narrowed = text;
    std::erase(narrowed, '\0');
    text = narrowed;
  }
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  if (text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF")) text.remove_prefix(2);
  for (;;) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    const std::string_view end = text.starts_with("<?") ? "?>" : text.starts_with("<!--") ? "-->" : "";
    if (end.empty()) break;
    const std::size_t at = text.find(end);
    if (at == std::string_view::npos) return false;
    text.remove_prefix(at + end.size());
  }
  if (!text.starts_with('<')) return false;
  std::string_view name = text.substr(1, text.find_first_of(" \t\r\n/>", 1) - 1);
  if (const std::size_t colon = name.find(':'); colon != std::string_view::npos) name.remove_prefix(colon + 1);
  return name == "Envelope" || SameText(string(name), "Envelope");
}

std::int32_t VqRetryAfter(const string& ARetryAfter, const string& ADate) {
  const std::string text = ARetryAfter.Trim().utf8();
  if (const std::int64_t seconds = Number(text); seconds >= 0) return Milliseconds(seconds);
  const auto until = VqHTTPDate(text);
  return until ? Milliseconds(*until - VqHTTPDate(ADate.utf8()).value_or(VqHTTPNow())) : 0;
}

void VqRaiseRefused(const IVqHTTPResponse& AReply, std::size_t AMost) {
  string offered;
  for (const string& scheme : AReply.GetOfferedSchemes()) offered += (offered.empty() ? string() : ", ") + scheme;
  offered = VqShownText(offered, AMost);
  const bool proxy = AReply.GetStatus().Code == 407;
  string text = proxy ? "The proxy refused the credentials" : "The server refused the credentials";
  text += offered.empty() ? string(" and offered no authentication scheme") : "; it offers " + offered;
  const string tried = AReply.GetTriedScheme();
  text += tried.empty() ? string(", none was tried.") : ", " + tried + " was tried.";
  if (const string hint = AReply.GetAuthenticationHint(); !hint.empty()) text += " " + hint;
  throw EVqHTTPApiException("HttpSendRequest", text, VqErrLoginFailure, AReply.GetStatus().Code);
}

void VqRaiseNoEnvelope(const IVqHTTPResponse& AReply, bool AEmpty, std::size_t AMost) {
  const TVqHTTPStatus status = AReply.GetStatus();
  string text = "The server answered \"" + IntToStr(status.Code) +
                (status.Text.empty() ? string() : " " + status.Text) + "\" with ";
  const string type = VqShownText(AReply.GetHeader("Content-Type"), AMost);
  text += AEmpty ? string("an empty body") : type.empty() ? string("something else") : type;
  text += " instead of a SOAP envelope.";
  // Where a redirect leads is never followed, but tells what is wrong with the address.
  if (const string location = AReply.GetHeader("Location"); status.Code / 100 == 3 && !location.empty())
    text += " It points to \"" + VqShownAddress(location, AMost) + "\".";
  if (IsBusy(status.Code)) {
    const std::int32_t wait = VqRetryAfter(AReply.GetHeader("Retry-After"), AReply.GetHeader("Date"));
    if (wait > 0) text += " It asks to be left alone for " + IntToStr(wait / 1000) + " seconds.";
    throw EVqHTTPServerBusy(text, status.Code, wait);
  }
  throw EVqHTTPException(text, status.Code);
}

void VqCheckResponse(IVqSOAPResponse& AResponse, const string& AMethod, const string& AResponseName) {
  const IVqDOMElement body = AResponse.GetBody();
  const string found = body.GetFirstChildElement().GetLocalName();
  if (!AResponseName.empty()) {
    if (body.SelectSingleElement(AResponseName, kSelectQuiet)) return;
    throw EVqSOAPUnexpectedReply(AMethod, LocalCode(AResponseName), Shown(found));
  }
  const string stem = AMethod.EndsWith(u"Request") ? AMethod.Copy(0, AMethod.size() - 7) : AMethod;
  const string expected = stem + u"Response";
  if (!SameText(found, expected) && !SameText(found, expected + u"Message"))
    throw EVqSOAPUnexpectedReply(AMethod, expected, Shown(found));
}

void VqRaiseFault(IVqSOAPResponse& AResponse, const IVqHTTPResponse& AReply, std::size_t AMost) {
  const IVqDOMElement fault = AResponse.GetBody().SelectSingleElement("Fault", kSelectQuiet);
  const std::int32_t status = AReply.GetStatus().Code;
  const string code = VqShownText(FaultText(fault, "faultcode", "Code/Value"), AMost);
  const string reason = VqCutText(FaultText(fault, "faultstring", "Reason/Text"), AMost);
  const IVqDOMElement detail = fault.SelectSingleElement("detail", kSelectQuiet);
  string responseCode = VqShownText(detail.SelectSingleElement("ResponseCode", kSelectQuiet).GetText().Trim(), AMost);
  const IVqDOMElement hint =
      detail.SelectSingleElement("MessageXml/Value[@Name=\"BackOffMilliseconds\"]", kSelectQuiet);
  std::int32_t backOff = hint ? std::max(VqXMLToIntDef(hint.GetText(), 0), 0) : 0;
  if (backOff == 0 && IsBusy(status)) {
    backOff = VqRetryAfter(AReply.GetHeader("Retry-After"), AReply.GetHeader("Date"));
  }

  // One sentence that helps: what was said, and the code that names it.
  string message = reason.empty() ? string("The server answered with a SOAP fault.") : reason;
  const string name = responseCode.empty() ? code : responseCode;
  if (!name.empty()) message += " (" + name + ")";
  if (responseCode.empty() && LocalCode(code).StartsWith(u"Error")) responseCode = LocalCode(code);
  const EVqSOAPFault failure(message, code, reason, responseCode, detail ? VqCutText(detail.GetXML(), AMost) : string(),
                             backOff, status);
  if (LocalCode(name) == "ErrorServerBusy" || IsBusy(status)) throw EVqSOAPServerBusy(failure);
  throw failure;
}

}  // namespace velmore
