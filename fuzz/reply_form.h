// SPDX-License-Identifier: BSD-2-Clause
// What a well-formed reply to each command looks like, by its lines.

#ifndef ZEM_FUZZ_REPLY_FORM_H_
#define ZEM_FUZZ_REPLY_FORM_H_

#include <string_view>

namespace zem {

// Stops the fuzzer at the first thing that does not hold. `text` is a sealed reply's plaintext,
// `word` the command it answers (empty or unknown for a request that names none).
void CheckReplyForm(std::string_view word, std::string_view text);

}  // namespace zem

#endif  // ZEM_FUZZ_REPLY_FORM_H_
