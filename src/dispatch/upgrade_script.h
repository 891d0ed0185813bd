// SPDX-License-Identifier: BSD-2-Clause
// The shell script that swaps the agent's program file and starts the new one.

#ifndef ZEM_DISPATCH_UPGRADE_SCRIPT_H_
#define ZEM_DISPATCH_UPGRADE_SCRIPT_H_

#include "text/ovstring.h"

namespace zem {

OvString UpgradeScriptText(const OvString& program_path, const OvString& new_program_path,
                           const OvString& script_path);

// Writes the script into the temporary directory, executable. On failure `*error` says why and no
// script is left.
[[nodiscard]] bool WriteUpgradeScript(const OvString& program_path,
                                      const OvString& new_program_path, OvString* script_path,
                                      OvString* error);

}  // namespace zem

#endif  // ZEM_DISPATCH_UPGRADE_SCRIPT_H_
