#include "simulator/mailbox/file_as.h"

#include <string_view>

namespace velmore::simulator {

namespace {

struct Row {
  const char* mapping;
  // L surname, F given name, M middle name, S generation, C company, D display name; ',' and ' ' stand for themselves
  // and '/' for a new line. A separator whose neighbour is empty goes.
  const char* form;
};
constexpr Row kRows[] = {{"LastCommaFirst", "L, F M"},
                         {"FirstSpaceLast", "F M L S"},
                         {"Company", "C"},
                         {"LastCommaFirstCompany", "L, F M/C"},
                         {"CompanyLastFirst", "C/LF M"},
                         {"LastFirst", "LF M"},
                         {"LastFirstCompany", "LF M/C"},
                         {"CompanyLastCommaFirst", "C/L, F M"},
                         {"LastFirstSuffix", "LF M S"},
                         {"LastSpaceFirstCompany", "L F M/C"},
                         {"CompanyLastSpaceFirst", "C/L F M"},
                         {"LastSpaceFirst", "L F M"},
                         {"DisplayName", "D"},
                         {"FirstName", "F"},
                         {"LastFirstMiddleSuffix", "L, F M S"},
                         {"LastName", "L"},
                         {"Empty", ""}};

std::string Compose(const Item& contact, std::string_view form) {
  std::string out;
  std::string separator;
  for (const char c : form) {
    if (c == ',' || c == ' ' || c == '/') {
      separator += c == '/' ? "\r\n" : std::string(1, c);
      continue;
    }
    const std::string& part = contact.Text(c == 'L'   ? "Surname"
                                           : c == 'F' ? "GivenName"
                                           : c == 'M' ? "MiddleName"
                                           : c == 'S' ? "Generation"
                                           : c == 'C' ? "CompanyName"
                                                      : "DisplayName");
    // What stood between this part and the last is of no use without either.
    if (!part.empty()) out += (out.empty() ? std::string() : separator) + part;
    if (!part.empty() || out.empty()) separator.clear();
  }
  return out;
}

}  // namespace

void FileAgain(Item& contact) {
  const std::string& mapping = contact.Text("FileAsMapping");
  for (const Row& row : kRows)
    if (mapping == row.mapping) contact.Set("FileAs", Compose(contact, row.form));
  if (!contact.Text("FileAs").empty() || mapping == "Empty") return;
  const std::string usual = Compose(contact, "L, F");
  if (!contact.Text("Surname").empty()) contact.Set("FileAs", usual);
}

}  // namespace velmore::simulator
