// SPDX-License-Identifier: BSD-2-Clause
// A command line from a server: the splitter agrees with a slow one, keeps its limits, and its
// words stand one behind the other inside it.
#include <cstring>
#include <string>
#include <vector>

#include "checks/system/command_words.h"
#include "fuzz.h"
#include "slow_command_words.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string line(zem::Text(data, size));
  const zem::CommandWords words(line);
  const std::vector<std::string> expected = zem::SplitSlowlyWithinLimits(line);
  FUZZ_CHECK(words.Count() == expected.size());
  FUZZ_CHECK(words.Vector()[words.Count()] == nullptr);
  const char* next = words.Count() == 0 ? nullptr : words.Vector()[0];
  for (size_t i = 0; i < words.Count(); ++i) {
    const char* word = words.Vector()[i];
    FUZZ_CHECK(word == next);
    FUZZ_CHECK(memcmp(word, expected[i].c_str(), expected[i].size() + 1) == 0);
    next = word + expected[i].size() + 1;
  }
  const auto* object = reinterpret_cast<const char*>(&words);
  FUZZ_CHECK(next == nullptr || (next > object && next <= object + sizeof(words)));
  return 0;
}
