// SPDX-License-Identifier: BSD-2-Clause
// tcp, udp: services as the agent's host sees them. syslog, send: messages that it sends.

#ifndef ZEM_CLIENT_COMMANDS_NETWORK_COMMANDS_H_
#define ZEM_CLIENT_COMMANDS_NETWORK_COMMANDS_H_

#include "commands/command.h"

namespace zem::client {

extern const Command kTcpCommand;
extern const Command kUdpCommand;
extern const Command kSyslogCommand;
extern const Command kSendCommand;

}  // namespace zem::client

#endif  // ZEM_CLIENT_COMMANDS_NETWORK_COMMANDS_H_
