// SPDX-License-Identifier: BSD-2-Clause
// The steps from the command line to the open port, in their one order.
//
// Errors:  a step that fails prints why and ends the process with its exit status.
// Threads: the main thread, before any other exists.

#ifndef ZEM_CORE_START_UP_H_
#define ZEM_CORE_START_UP_H_

#include <cstddef>

#include "core/agent.h"
#include "core/unique_fd.h"

namespace zem {

void PrintBanner();

// The settings as the command line gives them; ends the process on a usage error.
Settings ReadCommandLine(int argc, char* const* argv);

void LoadConfiguration(Agent* agent);
void RunSelfChecks(const Settings& settings);
// Opens the listening socket once and closes it again.
void TestListening(const Settings& settings);
void BecomeDaemon();
UniqueFd StartListening(const Settings& settings);

// Raises the soft limit of descriptors to the hard one and returns what is then in force.
size_t RaiseDescriptorLimit();

}  // namespace zem

#endif  // ZEM_CORE_START_UP_H_
