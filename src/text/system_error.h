// SPDX-License-Identifier: BSD-2-Clause
// The system's text for an error number.
//
// Shapes:  one line without a line end; empty when the system has none for the number.
// Errors:  errno is left as it was.
// Threads: any.

#ifndef ZEM_TEXT_SYSTEM_ERROR_H_
#define ZEM_TEXT_SYSTEM_ERROR_H_

#include <cstddef>

#include "text/ovstring.h"

namespace zem {

OvString SystemErrorText(int error_number);

// The same without an allocation, for the child of a fork: returns the text, which stands in the
// buffer or in the library's own memory.
const char* SystemErrorText(int error_number, char* buffer, size_t size);

}  // namespace zem

#endif  // ZEM_TEXT_SYSTEM_ERROR_H_
