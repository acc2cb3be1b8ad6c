#include "support/PasswordPrompt.h"

#include <termios.h>
#include <unistd.h>

#include <iostream>

std::string PromptForPassword(const std::string& question) {
  std::cerr << question;
  std::string password;
  termios shown{};
  const bool terminal = tcgetattr(STDIN_FILENO, &shown) == 0;
  termios hidden = shown;
  hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  if (terminal) tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
  std::getline(std::cin, password);
  if (terminal) tcsetattr(STDIN_FILENO, TCSAFLUSH, &shown);
  std::cerr << '\n';
  return password;
}
