// SPDX-License-Identifier: BSD-2-Clause
// What a refused command line is told: the word that was not understood, and the one it may have
// been meant to be.

#ifndef ZEM_CLIENT_APP_SLIPS_H_
#define ZEM_CLIENT_APP_SLIPS_H_

#include <string>

#include <CLI/CLI.hpp>

namespace zem::client {

// After a failed parse; empty where every word was understood.
std::string UnknownWordText(const CLI::App& root);

}  // namespace zem::client

#endif  // ZEM_CLIENT_APP_SLIPS_H_
