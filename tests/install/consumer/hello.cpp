#include <ews/VelmoreEWS.h>

#include <iostream>

int main() {
  const velmore::TVqEWSServiceSession session;
  std::cout << session.GetUserAgent() << '\n';
  return session.GetUserAgent() == "Velmore EWS Client" ? 0 : 1;
}
