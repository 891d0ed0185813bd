// SPDX-License-Identifier: BSD-2-Clause
// The assertion for our own mistakes: an index outside a list, a field width that cannot be.
//
// A failed check names the broken condition, the function and the source it belongs to, and ends
// the process with SIGABRT. Bytes from a peer or a file never reach one: those are refused with an
// ordinary result.
// Threads: any.

#ifndef ZEM_TEXT_CHECK_H_
#define ZEM_TEXT_CHECK_H_

namespace zem {

[[noreturn]] void CheckFailed(const char* condition, const char* function, const char* source);

}  // namespace zem

// `source` is the name administrators know the module by, such as "ovstring".
#define ZEM_CHECK(condition, source) \
  ((condition) ? static_cast<void>(0) : ::zem::CheckFailed(#condition, __func__, source))

#endif  // ZEM_TEXT_CHECK_H_
