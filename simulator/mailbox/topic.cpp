#include "simulator/mailbox/topic.h"

#include <algorithm>

#include "simulator/types/text.h"

namespace velmore::simulator {

std::string TopicOf(std::string_view subject) {
  // Cut once at the end: a subject may consist of nothing but a million of them.
  for (;;) {
    const std::string lower = Lower(std::string(subject.substr(0, 4)));
    const std::size_t cut = lower == "fwd:" ? 4 : lower.starts_with("re:") || lower.starts_with("fw:") ? 3 : 0;
    if (cut == 0) return std::string(subject);
    subject.remove_prefix(cut);
    subject.remove_prefix(std::min(subject.find_first_not_of(' '), subject.size()));
  }
}

}  // namespace velmore::simulator
