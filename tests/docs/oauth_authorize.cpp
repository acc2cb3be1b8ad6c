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
  oauth.SetGrantType(TVqOAuthGrantType::Authorize);
  oauth.SetClientId(setting("CLIENT_ID"));
  oauth.SetAuthorizationEndpoint(setting("AUTHORIZATION_ENDPOINT"));
  oauth.SetTokenEndpoint(setting("TOKEN_ENDPOINT"));
  oauth.SetRedirectURI("http://127.0.0.1/my-program");  // on a port that is free then
  oauth.SetScope(setting("SCOPE"));

  TVqEWSCustomSession session(nullptr);
  session.SetPasswordDialog(false);
  session.SetOAuth(oauth);
  session.SetServiceUrl(setting("EWS_URL"));
  try {
    session.SetActive(true);  // opens the browser and waits for the person
    const auto store = session.OpenDefaultMsgStore();
    std::cout << store->GetIdentity()->GetEmailAddress() << ": " << store->GetFolder(dfininbox, "")->GetTotalCount()
              << " items\n";
    return 0;
  } catch (const EVqOAuthException& failure) {
    std::cerr << "No token (" << failure.GetError() << "): " << failure.what() << '\n';
  } catch (const EVqException& failure) {
    std::cerr << failure.what() << '\n';
  }
  return 1;
}
