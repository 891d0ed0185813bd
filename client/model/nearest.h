// SPDX-License-Identifier: BSD-2-Clause
// Guesses which of the known words a mistyped one was meant to be.
//
// Threads: any; a pure function.

#ifndef ZEM_CLIENT_MODEL_NEAREST_H_
#define ZEM_CLIENT_MODEL_NEAREST_H_

#include <string>
#include <string_view>
#include <vector>

namespace zem::client {

// "; did you mean "word"?", to be put behind a refusal; empty where no known word is near.
std::string DidYouMean(std::string_view typed, const std::vector<std::string>& known);

}  // namespace zem::client

#endif  // ZEM_CLIENT_MODEL_NEAREST_H_
