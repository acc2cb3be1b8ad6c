#include <cstdlib>
#include <iostream>

#include "ews/VelmoreEWS.h"

using namespace velmore;

int main() {
  const auto setting = [](const char* name) {
    const char* value = std::getenv(name);
    return string(value ? value : "");
  };
  TVqOAuth oauth;
  oauth.SetGrantType(TVqOAuthGrantType::Password);
  oauth.SetClientId(setting("CLIENT_ID"));
  oauth.SetTokenEndpoint(setting("TOKEN_ENDPOINT"));
  oauth.SetScope(setting("SCOPE"));

  TVqEWSServiceSession session;
  session.SetOAuth(oauth);
  session.GetCredentials().SetUserName(setting("MAILBOX"));
  session.GetCredentials().SetPassword(setting("PASSWORD"));
  session.SetServiceUrl(setting("EWS_URL"));
  try {
    session.SetActive(true);
    const auto inbox = session.OpenDefaultMsgStore()->GetFolder(dfininbox, "");
    std::cout << setting("MAILBOX") << ": " << inbox->GetTotalCount() << " items\n";
    return 0;
  } catch (const EVqOAuthException& failure) {
    std::cerr << "No token (" << failure.GetError() << "): " << failure.what() << '\n';
  } catch (const EVqException& failure) {
    std::cerr << failure.what() << '\n';
  }
  return 1;
}
