#include "ews/session/uVqEWSAutodiscoverAnswer_p.h"

#include "ews/model/uVqEWSInterfaces.h"
#include "platform/http/internal/uVqHTTPText.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {

void EwsFailAutodiscover(const string& text, std::uint32_t number) {
  throw EEWSException(kEwsAutodiscoverFailed, text, number);
}

IVqDOMDocument EwsReadAutodiscoverAnswer(const TVqHTTPStatus& status, const std::string& body, std::size_t most) {
  if (status.Code == 401 || status.Code == 407) EwsFailAutodiscover(kEwsAuthenticationFailure);
  if (status.Code != 200) EwsFailAutodiscover(status.Text);
  if (body.empty()) EwsFailAutodiscover("The server did not return any data!");
  const IVqDOMDocument answer = VqCreateDOM(body);
  if (answer.GetDocumentElement().GetLocalName() != "Autodiscover")
    EwsFailAutodiscover("The server did not return valid data!");
  if (const IVqDOMElement error = answer.SelectSingleElement("/Autodiscover/Response/Error", kSelectQuiet))
    EwsFailAutodiscover(VqCutText(error.SelectSingleElement("Message", kSelectQuiet).GetText(), most));
  return answer;
}

TEwsReferral EwsReferralOf(const IVqDOMDocument& answer) {
  const IVqDOMElement account = answer.SelectSingleElement("/Autodiscover/Response/Account", kSelectQuiet);
  const string action = account.SelectSingleElement("Action", kSelectQuiet).GetText();
  const auto required = [&](const char* name) {
    const string text = account.SelectSingleElement(name, kSelectRequired).GetText().Trim();
    if (text.empty()) EwsFailAutodiscover("The server did not return valid data!");
    return text;
  };
  if (action == "redirectAddr") return {required("RedirectAddr"), {}};
  if (action == "redirectUrl") return {{}, required("RedirectUrl")};
  return {};
}

string EwsRedirectTarget(const string& from, const string& location) {
  if (!location.StartsWith("/") || location.StartsWith("//")) return location;
  const std::size_t host = from.Pos(u"://") + 3;
  const std::size_t path = from.view().find(u'/', host);
  return from.Copy(0, path == string::npos ? from.Length() : path) + location;
}

bool EwsIsHomePage(const TVqURLData& target) {
  return (target.Path.empty() || target.Path == "/") && LowerCase(target.Host).StartsWith("www");
}

string EwsWhyNoTarget(const string& target) {
  const TVqURLData parts = VqDecodeURL(target);
  if (!parts.IsValid) return "it is no address.";
  if (!parts.IsHttps()) return "it is not https.";
  return {};
}

}  // namespace velmore
