// SPDX-License-Identifier: BSD-2-Clause
// genpass: a password that nobody guesses. 32 characters, since its unsalted digest is visible on
// the wire.

#ifndef ZEM_CLIENT_LOCAL_GENPASS_H_
#define ZEM_CLIENT_LOCAL_GENPASS_H_

#include "local/local_command.h"

namespace zem::client {

extern const LocalCommand kGenpassCommand;

}  // namespace zem::client

#endif  // ZEM_CLIENT_LOCAL_GENPASS_H_
