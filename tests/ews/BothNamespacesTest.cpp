// Many programs say both, and include half of the standard library.
#include <algorithm>
#include <any>
#include <array>
#include <bit>
#include <chrono>
#include <complex>
#include <concepts>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <numbers>
#include <numeric>
#include <optional>
#include <random>
#include <ranges>
#include <regex>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

#include "ews/VelmoreEWS.h"
#include "ews/schema/uVqEWSPropsFLD.h"

#include <gtest/gtest.h>

using namespace std;
using namespace velmore;

namespace {

[[maybe_unused]] vector<TText> Subjects(IVqEWSFolder& folder) {
  vector<TText> subjects;
  for (const auto row : VqItemsOf(folder, FLD_ITEM_SUBJECT)) subjects.push_back(row[FLD_ITEM_SUBJECT].GetAsString());
  sort(begin(subjects), end(subjects));
  return subjects;
}

[[maybe_unused]] TVqEWSFilter Recent(chrono::days age) {
  return VqField(FLD_ITEM_DATETIMERECEIVED) > chrono::system_clock::now() - age && !VqContains(FLD_ITEM_SUBJECT, "x");
}

TEST(BothNamespaces, TheLibrarysWordsKeepTheirMeaning) {
  const TText subject =
      "Gr\xC3\xBC\xC3\x9F"
      "e";
  EXPECT_EQ(subject.Length(), 5u);
  EXPECT_EQ(std::string(subject), subject.utf8());

  unordered_map<TItemId, TText> subjects;
  subjects[{"A", "1"}] = subject;
  map<TText, TItemId> ids{{subject, {"A", "1"}}};
  EXPECT_EQ(subjects.at(ids.at(subject)), subject);

  const TDateTime due = chrono::sys_days(chrono::year(2026) / 3 / 2);
  ostringstream out;
  out << subject << ' ' << due;
  EXPECT_EQ(out.str(), subject.utf8() + " 2026-03-02T00:00:00Z");

  TVqMemoryStream stream("abc");
  TBytes bytes{1, 2, 3};
  EXPECT_EQ(size(bytes), bytes.size());
  swap(stream, stream);
  EXPECT_EQ(Format("%s", {subject}), subject);
  TVqRef<IVqEWSItem> item;
  EXPECT_FALSE(Supports<IVqEWSEMail>(item));
}

}  // namespace
