#pragma once

// A window with a list of messages, and an icon beside the clock that tells of new ones. Windows' own headers stay in
// the source: their macros (GetMessage and its kin) would change the names of others.

#include <functional>
#include <memory>
#include <string>

/// One line of the list.
struct TrayLine {
  std::u16string From, Subject, Received;
};

/// The window. Made, used and destroyed by one thread, but for Wake. Raises std::runtime_error when Windows refuses it.
class TrayWindow {
 public:
  explicit TrayWindow(const std::u16string& title);
  ~TrayWindow();
  TrayWindow(const TrayWindow&) = delete;
  TrayWindow& operator=(const TrayWindow&) = delete;

  /// Puts a line below those that are there.
  void Append(const TrayLine& line);
  /// Puts a line on top, tells of it beside the clock, and counts it in the title until the window is looked at.
  void Announce(const TrayLine& line);
  /// The line of text below the list.
  void SetStatus(const std::u16string& text);

  /// What Run calls on its own thread after each Wake. Nothing may leave it: above it are Windows' own frames.
  void SetOnWake(std::function<void()> handler);
  /// Has Run call the handler. Any thread may call this.
  void Wake() const noexcept;
  /// Shows the window and goes on until it is closed. Minimised, it is to be found beside the clock only.
  void Run();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// Tells of a failure in a box that waits to be closed.
void ShowFailure(const std::u16string& text);
