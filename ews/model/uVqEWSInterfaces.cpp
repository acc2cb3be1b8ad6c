#include "ews/model/uVqEWSInterfaces.h"

#include <algorithm>

namespace velmore {
namespace {

string WithCode(string message, const string& code) {
  if (message.EndsWith(u".")) message = message.Copy(0, message.Length() - 1);
  return message + u" (" + code + u").";
}

/// Callers give the code first or second: it is the one that is a single word. None where neither is.
string CodeAmong(const string& first, const string& second) {
  const auto isWord = [](const string& text) {
    return !text.empty() && std::ranges::all_of(text.view(), [](char16_t unit) {
      return (unit >= u'A' && unit <= u'Z') || (unit >= u'a' && unit <= u'z') || (unit >= u'0' && unit <= u'9');
    });
  };
  return isWord(first) ? first : isWord(second) ? second : string();
}

}  // namespace

void TItemId::Assign(const TEwsItemId& ASource) {
  *this = {ASource.GetId(), ASource.GetChangeKey()};
}
void TItemId::Assign(const TEwsFolderId& ASource) {
  *this = {ASource.GetId(), ASource.GetChangeKey()};
}

EEWSException::EEWSException(const string& AMsg, const string& AEWSErrorCode, std::uint32_t AHTTPErrorCode)
    : EVqException(WithCode(AMsg, AEWSErrorCode)),
      FEWSErrorCode(AEWSErrorCode),
      FResponseCode(CodeAmong(AMsg, AEWSErrorCode)),
      FHTTPErrorCode(AHTTPErrorCode) {}

EEWSException::EEWSException(const string& AMsg, std::uint32_t AHTTPErrorCode)
    : EVqException(AMsg), FHTTPErrorCode(AHTTPErrorCode) {}

EEWSException EEWSException::CreateFmt(const string& AMsg, const std::vector<TVqFormatArg>& AArgs,
                                       const string& AErrorCode) {
  EEWSException exception(Format(WithCode(AMsg, AErrorCode), AArgs));
  exception.FEWSErrorCode = AErrorCode;
  exception.FResponseCode = CodeAmong(AMsg, AErrorCode);
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
