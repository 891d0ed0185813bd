// SPDX-License-Identifier: BSD-2-Clause
// Trees full of everything that makes walks go wrong, the same for the same seed.

#ifndef ZEM_TESTS_CHECKS_FILES_RANDOM_TREE_H_
#define ZEM_TESTS_CHECKS_FILES_RANDOM_TREE_H_

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace zem {

// Fills an existing folder: odd names, hidden and read-only entries, folders without read, search
// or write permission, folders named like masks, links of every kind, pipes and sockets. Times lie
// within minutes of `now`. Returns every folder made, `top` included.
std::vector<std::string> FillRandomTree(const std::string& top, uint32_t seed, time_t now);

}  // namespace zem

#endif  // ZEM_TESTS_CHECKS_FILES_RANDOM_TREE_H_
