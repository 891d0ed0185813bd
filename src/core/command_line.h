// SPDX-License-Identifier: BSD-2-Clause
// zem [-d|-i] [-v|-vd] [-p <port>] <cfg_file>
//
// Shapes:  the switches come in this order, each at most once; a switch in another place is taken
//          for the configuration path, and what follows the path is ignored.
// Threads: the main thread.

#ifndef ZEM_CORE_COMMAND_LINE_H_
#define ZEM_CORE_COMMAND_LINE_H_

#include "core/settings.h"
#include "text/ovstring.h"

namespace zem {

// Fills what the command line decides. On failure `*error` holds the text for the usage screen.
[[nodiscard]] bool ParseCommandLine(int argc, char* const* argv, Settings* settings,
                                    OvString* error);

void PrintUsage(const OvString& error);

}  // namespace zem

#endif  // ZEM_CORE_COMMAND_LINE_H_
