#include "ews/stores/uVqEWSImpersonation.h"

namespace velmore {
namespace {

void AddConnectingSID(const IVqDOMElement& impersonation, const string& address) {
  impersonation.AddElement("t:ConnectingSID").AddElement("t:PrimarySmtpAddress").SetText(address);
}

}  // namespace

TVqRef<IVqSOAPRequest> TVqEWSImpersonatedObject::CreateRequest(TVqSOAPClient* ASOAPClient, const string& AMethod,
                                                               const string& AResponseName) {
  const TVqRef<IVqSOAPRequest> request = TVqEWSObject::CreateRequest(ASOAPClient, AMethod, AResponseName);
  if (!FSmtpAddress.empty()) AddConnectingSID(request->AddSOAPHeader("t:ExchangeImpersonation"), FSmtpAddress);
  return request;
}

TVqEWSImpersonatedMsgStore::TVqEWSImpersonatedMsgStore(TVqEWSBaseSession* ASession, const string& ASmtpAddress)
    : TVqEWSMsgStore(ASession, ASmtpAddress), FSmtpAddress(ASmtpAddress) {}

TVqRef<IVqSOAPRequest> TVqEWSImpersonatedMsgStore::CreateRequest(TVqSOAPClient* ASOAPClient, const string& AMethod,
                                                                 const string& AResponseName) {
  const TVqRef<IVqSOAPRequest> request = TVqEWSMsgStore::CreateRequest(ASOAPClient, AMethod, AResponseName);
  if (FSmtpAddress.empty()) return request;
  IVqDOMElement impersonation = request->GetHeader().SelectSingleElement("ExchangeImpersonation", kSelectQuiet);
  if (impersonation) {
    impersonation.RemoveAllChildren();
  } else {
    impersonation = request->AddSOAPHeader("t:ExchangeImpersonation");
  }
  AddConnectingSID(impersonation, FSmtpAddress);
  return request;
}

}  // namespace velmore
