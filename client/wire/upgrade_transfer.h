// SPDX-License-Identifier: BSD-2-Clause
// Replaces an agent's program: an accepted request, the program's bytes in the clear, its digest
// under the session key, all on one connection.

#ifndef ZEM_CLIENT_WIRE_UPGRADE_TRANSFER_H_
#define ZEM_CLIENT_WIRE_UPGRADE_TRANSFER_H_

#include <cstddef>
#include <functional>
#include <string_view>

#include "wire/exchange.h"

namespace zem::client {

// Both bounds are outside. A size that the agent refuses leaves its upgrade slot taken until it
// restarts, so it is never asked with one.
inline constexpr size_t kProgramTooSmall = 100;
inline constexpr size_t kProgramTooLarge = 0xA00000;

using Progress = std::function<void(size_t sent, size_t total)>;

// The exchange's reply is the last one: the verdict on the program, or the refusal to take it.
Exchange TransferUpgrade(const Question& question, std::string_view program,
                         const Progress& progress);

}  // namespace zem::client

#endif  // ZEM_CLIENT_WIRE_UPGRADE_TRANSFER_H_
