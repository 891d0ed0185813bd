// SPDX-License-Identifier: BSD-2-Clause
// The system's text for an error number.
//
// Shapes:  one line without a line end; empty when the system refuses to name the number.
// Errors:  errno is left as it was.
// Threads: any.

#ifndef ZEM_TEXT_SYSTEM_ERROR_H_
#define ZEM_TEXT_SYSTEM_ERROR_H_

#include "text/ovstring.h"

namespace zem {

OvString SystemErrorText(int error_number);

}  // namespace zem

#endif  // ZEM_TEXT_SYSTEM_ERROR_H_
