// SPDX-License-Identifier: BSD-2-Clause
// Texts on standard output during start-up.
//
// Threads: the main thread, before any other exists.

#ifndef ZEM_CORE_CONSOLE_H_
#define ZEM_CORE_CONSOLE_H_

namespace zem {

// Prints and flushes: what is on the console is there whatever happens next.
void Print(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace zem

#endif  // ZEM_CORE_CONSOLE_H_
