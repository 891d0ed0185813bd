// SPDX-License-Identifier: BSD-2-Clause
// The options that every subcommand has.

#ifndef ZEM_CLIENT_APP_GLOBAL_ARGUMENTS_H_
#define ZEM_CLIENT_APP_GLOBAL_ARGUMENTS_H_

#include <string_view>

#include "commands/arguments.h"

namespace zem::client {

// In the order of Output.
inline constexpr std::string_view kForms[] = {"table", "json", "raw"};

inline constexpr Argument kGlobalArguments[] = {
    {"host", "-H,--host", kOption, "HOSTS", "agents to ask: a,b,c, each HOST, HOST:PORT or @GROUP",
     kHostNames},
    {"hosts", "--hosts", kOption, "FILE", "ask the agents of a file, one a line; - = stdin",
     kLocalFile},
    {"port", "-p,--port", kOption, "PORT", "TCP port (1055)"},
    {"timeout", "-t,--timeout", kOption, "SEC[:STATE]",
     "seconds for one host (15), and the state of a check that runs out of them"},
    {"source", "--source", kOption, "ADDR", "local address to ask from"},
    {"parallel", "--parallel", kOption, "N", "hosts asked at the same time (16)"},
    {"watch", "--watch", kOption, "SECONDS", "ask again each SECONDS, until interrupted"},
    {"output", "-o,--output", kOption, "FORM", "table, json or raw", kForms},
    {"password-file", "--password-file", kOption, "FILE",
     "password in the first line of a file; - = stdin", kLocalFile},
    {"agent-config", "--agent-config", kOption, "FILE",
     "host, port and password from the agent's own configuration", kLocalFile},
    {"hosts-conf", "--hosts-conf", kOption, "FILE",
     "per-host ports and passwords, instead of ~/.config/zem and " ZEM_CONFDIR, kLocalFile},
    {"no-password", "--no-password", kFlag, "", "the agent's password is empty"},
    {"verbose", "-v,--verbose", kFlag, "", "packet sizes and times"},
    {"quiet", "-q,--quiet", kFlag, "", "print nothing but errors"},
    {"plugin", "--plugin", kFlag, "", "behave as check_zem"},
    {"warning", "-w,--warning", kOption, "RANGE", "check: WARNING range"},
    {"critical", "-c,--critical", kOption, "RANGE", "check: CRITICAL range"},
    {"unknown", "-u,--unknown", kFlag, "", "check: connection trouble is UNKNOWN, not CRITICAL"},
};

}  // namespace zem::client

#endif  // ZEM_CLIENT_APP_GLOBAL_ARGUMENTS_H_
