#include "unread.h"

#include <cstdlib>
#include <iostream>

// unread https://mail.example.com/EWS/Exchange.asmx ann@example.com, with the password in UNREAD_PASSWORD
int main(int argc, char** argv) {
  const char* password = std::getenv("UNREAD_PASSWORD");
  if (argc != 3 || !password) {
    std::cerr << "usage: UNREAD_PASSWORD=... unread URL USER\n";
    return 2;
  }
  try {
    velmore::TVqEWSServiceSession session;
    session.SetServiceUrl(argv[1]);
    session.GetCredentials().SetUserName(argv[2]);
    session.GetCredentials().SetPassword(password);
    session.SetActive(true);
    for (const std::string& subject : UnreadSubjects(session)) std::cout << subject << '\n';
  } catch (const velmore::EVqException& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
  }
}
