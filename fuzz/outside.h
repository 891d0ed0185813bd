// SPDX-License-Identifier: BSD-2-Clause
// The world outside the agent, played from the bytes of an input: what programs print and how they
// end, what sockets answer. Nothing is run, connected or waited for.
//
// outside.cc defines the functions of checks/system through which the agent reaches that world.
// The linker takes them from there, so the library's own are never part of such a target:
//
//   RunProcess, RunQuietProcess, RunShellCommand   would start programs
//   ConnectTcp, ResolveEndpoint, ResolveIPv4,
//   TcpExchange, UdpExchange                       would speak to other hosts
//   PauseMicroseconds                              would sleep
//
// Threads: one.

#ifndef ZEM_FUZZ_OUTSIDE_H_
#define ZEM_FUZZ_OUTSIDE_H_

#include <string_view>

namespace zem {

// The folder of temporary files, the only one in which a program leaves its output.
inline constexpr const char* kMade = "/made";

// From here on the outside says these bytes; without any it fails. They have to stay in place.
void SetOutside(std::string_view bytes);
// Hangs up what an input left connected.
void EndOutside();

}  // namespace zem

#endif  // ZEM_FUZZ_OUTSIDE_H_
