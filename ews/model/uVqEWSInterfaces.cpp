#include "ews/model/uVqEWSInterfaces.h"

namespace velmore {
namespace {

string WithCode(string message, const string& code) {
  if (message.EndsWith(u".")) message = message.Copy(0, message.Length() - 1);
  return message + u" (" + code + u").";
}

}  // namespace

void TItemId::Assign(const TEwsItemId& ASource) {
  *this = {ASource.GetId(), ASource.GetChangeKey()};
}
void TItemId::Assign(const TEwsFolderId& ASource) {
  *this = {ASource.GetId(), ASource.GetChangeKey()};
}

EEWSException::EEWSException(const string& AMsg, const string& AEWSErrorCode, std::uint32_t AHTTPErrorCode)
    : EVqException(WithCode(AMsg, AEWSErrorCode)), FEWSErrorCode(AEWSErrorCode), FHTTPErrorCode(AHTTPErrorCode) {}

EEWSException::EEWSException(const string& AMsg, std::uint32_t AHTTPErrorCode)
    : EVqException(AMsg), FHTTPErrorCode(AHTTPErrorCode) {}

EEWSException EEWSException::CreateFmt(const string& AMsg, const std::vector<TVqFormatArg>& AArgs,
                                       const string& AErrorCode) {
  EEWSException exception(Format(WithCode(AMsg, AErrorCode), AArgs));
  exception.FEWSErrorCode = AErrorCode;
  return exception;
}

EEWSException EEWSException::CreateFmt(const string& AMsg, const std::vector<TVqFormatArg>& AArgs,
                                       std::uint32_t AErrorCode) {
  return EEWSException(Format(AMsg, AArgs), AErrorCode);
}

void EwsCheckVersion(TServerVersion ARequired, TServerVersion AActual, const string& AFeature) {
  if (AActual >= ARequired) return;
  throw EVqException(Format("\"%s\" is not supported by %s. This feature requires Exchange %s!",
                            {AFeature, VqEnumToText(AActual), VqEnumToText(ARequired)}));
}

}  // namespace velmore
