#pragma once

// A terminal in full-screen mode, and the few things that both dialogs draw with.

#include <exception>
#include <string>
#include <vector>

/// Keys that are no characters.
enum class Key { character, up, down, left, right, enter, escape, backspace, other };

struct Press {
  Key Kind = Key::other;
  std::string Character;  // UTF-8, of a character
  bool Is(char c) const { return Kind == Key::character && Character == std::string(1, c); }
};

/// What an action says when it fails; empty when it does not.
template <typename TAction>
std::string FailureOf(TAction action) {
  try {
    action();
    return {};
  } catch (const std::exception& failure) {
    return failure.what();
  }
}

/// The terminal. One at a time; gives the terminal back at its end.
class Screen {
 public:
  Screen();
  ~Screen();
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  void Clear();
  /// Writes what of a text fits between the column and the end of the line, or into `width` characters.
  void Write(int row, int column, const std::string& text, bool chosen = false, int width = 0);
  /// A list with one line chosen, scrolled so that it is seen; `height` lines from `row`.
  void WriteList(int row, int column, int height, int width, const std::vector<std::string>& lines, std::size_t chosen);
  void Show();
  int Height() const;
  int Width() const;

  /// Waits for a key.
  Press Read();
  /// Asks for a line of text at the bottom. False when the user cancelled.
  bool Ask(const std::string& question, std::string& answer);
};
