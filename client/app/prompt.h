// SPDX-License-Identifier: BSD-2-Clause
// Asks a person at the terminal for a password, without echo.

#ifndef ZEM_CLIENT_APP_PROMPT_H_
#define ZEM_CLIENT_APP_PROMPT_H_

#include <optional>

#include "model/secret.h"

namespace zem::client {

// Nothing when there is no terminal or the person gave up.
std::optional<Secret> PromptForPassword(const char* prompt);

}  // namespace zem::client

#endif  // ZEM_CLIENT_APP_PROMPT_H_
