#include "support/PasswordPrompt.h"

#include <windows.h>

#include <iostream>

std::string PromptForPassword(const std::string& question) {
  std::cerr << question;
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  DWORD shown = 0;
  const bool console = GetConsoleMode(input, &shown) != 0;
  std::string password;
  if (console) {
    // As UTF-16, since the console's bytes are of a code page that the library does not speak.
    SetConsoleMode(input, (shown & ~static_cast<DWORD>(ENABLE_ECHO_INPUT)) | ENABLE_LINE_INPUT);
    wchar_t line[512];
    DWORD units = 0;
    if (!ReadConsoleW(input, line, static_cast<DWORD>(std::size(line)), &units, nullptr)) units = 0;
    SetConsoleMode(input, shown);
    while (units > 0 && (line[units - 1] == L'\n' || line[units - 1] == L'\r')) --units;
    const int length = static_cast<int>(units);
    password.resize(
        static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, line, length, nullptr, 0, nullptr, nullptr)));
    WideCharToMultiByte(CP_UTF8, 0, line, length, password.data(), static_cast<int>(password.size()), nullptr, nullptr);
    SecureZeroMemory(line, sizeof line);
  } else {
    std::getline(std::cin, password);
  }
  std::cerr << '\n';
  return password;
}
