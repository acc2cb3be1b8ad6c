#pragma once

// What an answer to a message quotes of it.

#include <string>

#include "simulator/mailbox/model.h"

namespace velmore::simulator {

/// The text on top of an answer.
struct NewContent {
  std::string text;
  bool html = false;
};

/// Gives an answer the body of the message that it answers, below a block with that message's sender, date, recipients
/// and subject, and the new content on top. The answer is HTML when either of them is.
void Quote(const Item& original, const NewContent& content, Item& answer);

/// "RE: " or "FW: " and the subject without those that it bears already.
std::string AnswerSubject(const std::string& prefix, const std::string& subject);

}  // namespace velmore::simulator
