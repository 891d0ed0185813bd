// SPDX-License-Identifier: BSD-2-Clause
// The program, from its command line to its exit status.

#ifndef ZEM_CLIENT_APP_RUN_H_
#define ZEM_CLIENT_APP_RUN_H_

namespace zem::client {

int Run(int argc, const char* const* argv);

}  // namespace zem::client

#endif  // ZEM_CLIENT_APP_RUN_H_
