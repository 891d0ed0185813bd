// SPDX-License-Identifier: BSD-2-Clause
// What a shell may offer at a place of the command line, out of the same tables that parse it.
//
// The scripts in completions/ run "zemctl --complete" with the words typed so far, the program's
// name first and the unfinished word last.
// Errors:  none: what cannot be found out is not offered.

#ifndef ZEM_CLIENT_APP_COMPLETION_H_
#define ZEM_CLIENT_APP_COMPLETION_H_

#include <string>
#include <vector>

#include "app/options.h"

namespace zem::client {

// One candidate a line, a tab and its help behind it; ":files" alone asks for files of this
// machine. Hosts come from the user's own hosts.conf and the shared one.
std::string CompletionLines(const std::vector<std::string>& words,
                            const std::string& shared_hosts = Options().shared_hosts_conf);

}  // namespace zem::client

#endif  // ZEM_CLIENT_APP_COMPLETION_H_
