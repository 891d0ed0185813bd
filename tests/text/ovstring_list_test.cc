// SPDX-License-Identifier: BSD-2-Clause
#include "text/ovstring_list.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace zem {
namespace {

TEST(OvStringList, BehavesAsAnOrdinaryListDoes) {
  std::mt19937 random(7);
  OvStringList list;
  std::vector<std::string> model;
  for (int i = 0; i < 5000; ++i) {
    if (!model.empty() && random() % 5 < 2) {
      const size_t index = random() % model.size();
      list.Delete(index);
      model.erase(model.begin() + static_cast<ptrdiff_t>(index));
    } else if (!model.empty() && random() % 4 == 0) {
      // One of its own texts: the buffer it points into may move while it is added.
      const size_t index = random() % model.size();
      list.Add(list[index]);
      model.push_back(model[index]);
    } else {
      model.emplace_back(random() % 20, static_cast<char>(random()));
      list.Add(model.back());
    }
    ASSERT_EQ(list.Count(), model.size());
    const size_t probe = model.empty() ? 0 : random() % model.size();
    if (!model.empty()) {
      ASSERT_EQ(list[probe], model[probe]);
      ASSERT_EQ(list[probe].data()[list[probe].size()], '\0');
    }
  }
  for (size_t i = 0; i < model.size(); ++i) EXPECT_EQ(list[i], model[i]);
  list.Clear();
  EXPECT_TRUE(list.IsEmpty());
}

}  // namespace
}  // namespace zem
