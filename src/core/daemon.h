// SPDX-License-Identifier: BSD-2-Clause
// Detaches the process from its terminal.
//
// Threads: the main thread, before any other exists.

#ifndef ZEM_CORE_DAEMON_H_
#define ZEM_CORE_DAEMON_H_

namespace zem {

// Opens /dev/null in place of any of descriptors 0 to 2 that the process was started without, so
// that none of them can ever name a file or a socket of ours.
void FillStandardDescriptors();

// Returns 0 in the child, a session leader with its standard streams on /dev/null, or -1 when the
// fork failed (errno says why). The parent says "Daemon started" and never returns.
[[nodiscard]] int Daemonize();

}  // namespace zem

#endif  // ZEM_CORE_DAEMON_H_
