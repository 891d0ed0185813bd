// SPDX-License-Identifier: BSD-2-Clause
// The checks that the agent makes of itself before it serves anybody.
//
// Errors:  each returns false after printing what failed; the caller ends with status 3.
// Threads: the main thread, before any other exists: the cipher must be proven before a session.

#ifndef ZEM_CORE_SELF_CHECKS_H_
#define ZEM_CORE_SELF_CHECKS_H_

namespace zem {

[[nodiscard]] bool CheckCipher();
[[nodiscard]] bool CheckPacketEncryption();

}  // namespace zem

#endif  // ZEM_CORE_SELF_CHECKS_H_
