// SPDX-License-Identifier: BSD-2-Clause
// The temporary directory, which lives in the process environment so that child programs see it.
//
// These are the only functions that touch the environment once threads run. A write happens only
// when the value differs, so after start-up practically never.
// Threads: any.

#ifndef ZEM_CORE_ENVIRONMENT_H_
#define ZEM_CORE_ENVIRONMENT_H_

#include <optional>

#include "text/ovstring.h"

namespace zem {

// The value of TMPDIR; of TMP only when TMPDIR is not set; nothing when neither is.
std::optional<OvString> TempDirectoryFromEnvironment();

// Settles the directory for temporary files from the configured one (may be empty) and exports it
// as TMPDIR: the configured directory if it exists, else the environment's if that exists, else
// ".". One trailing "/" is removed.
void ExportTempDirectory(const OvString& configured);

}  // namespace zem

#endif  // ZEM_CORE_ENVIRONMENT_H_
