#include <velmore/ews.h>

#include <iostream>

int main() {
  const velmore::TVqEWSServiceSession session;
  std::cout << "Velmore EWS, " << velmore::VqNow() << '\n';
}
