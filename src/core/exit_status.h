// SPDX-License-Identifier: BSD-2-Clause
// The statuses with which the agent ends.

#ifndef ZEM_CORE_EXIT_STATUS_H_
#define ZEM_CORE_EXIT_STATUS_H_

namespace zem::exit_status {

inline constexpr int kOk = 0;      // stopped on request; parent of the daemon
inline constexpr int kUsage = 1;   // command line or configuration
inline constexpr int kDaemon = 2;  // could not become a daemon
inline constexpr int kCipher = 3;  // a self-check of the cipher failed
inline constexpr int kListen = 4;  // no listening socket, or accept failed for good

}  // namespace zem::exit_status

#endif  // ZEM_CORE_EXIT_STATUS_H_
