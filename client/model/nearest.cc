// SPDX-License-Identifier: BSD-2-Clause
#include "model/nearest.h"

#include <algorithm>

#include <fmt/format.h>

namespace zem::client {

namespace {

// How many single changes turn one word into the other.
size_t Distance(std::string_view a, std::string_view b) {
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    size_t corner = row[0];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t change = corner + (a[i - 1] != b[j - 1]);
      corner = row[j];
      row[j] = std::min({change, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row[b.size()];
}

}  // namespace

std::string DidYouMean(std::string_view typed, const std::vector<std::string>& known) {
  constexpr size_t kNear = 2;
  constexpr size_t kBeginning = 5;  // "--war" may be continued
  const std::string* best = nullptr;
  size_t least = kNear + 1;
  for (const std::string& word : known) {
    const bool begins = typed.size() >= kBeginning && word.starts_with(typed);
    const size_t distance = begins ? kNear : Distance(typed, word);
    if (distance < least && distance < word.size()) {
      best = &word;
      least = distance;
    }
  }
  return best == nullptr ? "" : fmt::format("; did you mean \"{}\"?", *best);
}

}  // namespace zem::client
