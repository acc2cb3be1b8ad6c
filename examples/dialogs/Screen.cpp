#include "dialogs/Screen.h"

#include <curses.h>

#include <algorithm>
#include <climits>
#include <clocale>
#include <cwchar>
#include <stdexcept>

namespace {

bool IsContinuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

/// The first so many characters. Wide ones count as one: a line may end early, and never late by more than it has.
std::string Cut(const std::string& text, int characters) {
  std::size_t at = 0;
  for (int count = 0; at < text.size(); ++at) {
    if (!IsContinuation(text[at]) && ++count > characters) break;
  }
  return text.substr(0, at);
}

}  // namespace

Screen::Screen() {
  std::setlocale(LC_ALL, "");
  if (initscr() == nullptr) throw std::runtime_error("This is no terminal.");
  raw();
  noecho();
  keypad(stdscr, TRUE);
  set_escdelay(50);  // milliseconds that tell the key from the start of a sequence
  curs_set(0);
}

Screen::~Screen() {
  endwin();
}

void Screen::Clear() {
  erase();
}

void Screen::Write(int row, int column, const std::string& text, bool chosen, int width) {
  const int room = std::max(0, width > 0 ? std::min(width, Width() - column) : Width() - column);
  std::string line = Cut(text, room);
  // A name is a stranger's text: nothing in it steers the terminal.
  for (char& c : line) {
    if (static_cast<unsigned char>(c) < ' ' || c == 0x7F) c = ' ';
  }
  if (chosen) attron(A_REVERSE);
  mvaddstr(row, column, line.c_str());
  if (chosen) attroff(A_REVERSE);
}

void Screen::WriteList(int row, int column, int height, int width, const std::vector<std::string>& lines,
                       std::size_t chosen) {
  const auto room = static_cast<std::size_t>(std::max(height, 1));
  const std::size_t first = chosen < room ? 0 : chosen - room + 1;
  for (std::size_t i = first; i < std::min(lines.size(), first + room); ++i)
    Write(row + static_cast<int>(i - first), column, (i == chosen ? "> " : "  ") + lines[i], i == chosen, width);
}

void Screen::Show() {
  refresh();
}

int Screen::Height() const {
  return getmaxy(stdscr);
}
int Screen::Width() const {
  return getmaxx(stdscr);
}

Press Screen::Read() {
  wint_t code = 0;
  const int kind = get_wch(&code);
  if (kind == KEY_CODE_YES) {
    switch (code) {
      case KEY_UP:
        return {Key::up, {}};
      case KEY_DOWN:
        return {Key::down, {}};
      case KEY_LEFT:
        return {Key::left, {}};
      case KEY_RIGHT:
        return {Key::right, {}};
      case KEY_ENTER:
        return {Key::enter, {}};
      case KEY_BACKSPACE:
        return {Key::backspace, {}};
      default:
        return {};
    }
  }
  if (kind == ERR) return {Key::escape, {}};  // the terminal has gone
  if (code == '\n' || code == '\r') return {Key::enter, {}};
  if (code == 27 || code == 3) return {Key::escape, {}};
  if (code == 8 || code == 127) return {Key::backspace, {}};
  if (code < ' ') return {};
  char bytes[MB_LEN_MAX + 1] = {};
  const int length = std::wctomb(bytes, static_cast<wchar_t>(code));
  return length > 0 ? Press{Key::character, std::string(bytes, static_cast<std::size_t>(length))} : Press{};
}

bool Screen::Ask(const std::string& question, std::string& answer) {
  answer.clear();
  curs_set(1);
  for (;;) {
    move(Height() - 1, 0);
    clrtoeol();
    Write(Height() - 1, 0, question + " " + answer);
    Show();
    const Press press = Read();
    if (press.Kind == Key::enter || press.Kind == Key::escape) {
      curs_set(0);
      return press.Kind == Key::enter;
    }
    if (press.Kind == Key::character) answer += press.Character;
    if (press.Kind != Key::backspace || answer.empty()) continue;
    while (answer.size() > 1 && IsContinuation(answer.back())) answer.pop_back();
    answer.pop_back();
  }
}
