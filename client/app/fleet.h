// SPDX-License-Identifier: BSD-2-Clause
// Asks many hosts side by side: a bounded number at a time, so that a dead one holds nobody up.

#ifndef ZEM_CLIENT_APP_FLEET_H_
#define ZEM_CLIENT_APP_FLEET_H_

#include <vector>

#include "app/outcome.h"

namespace zem::client {

// Asks, prints, and does so again for as long as options.watch says. The exit status; when the
// person interrupts it, the process ends here, with what has arrived printed.
int AskFleet(const std::vector<Target>& targets, const Plan& plan, const Options& options);

}  // namespace zem::client

#endif  // ZEM_CLIENT_APP_FLEET_H_
