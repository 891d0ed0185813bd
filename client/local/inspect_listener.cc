// SPDX-License-Identifier: BSD-2-Clause
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "core/unique_fd.h"
#include "local/findings.h"
#include "text/system_error.h"

namespace zem::client {

namespace {

constexpr int kFirstFreePort = 1024;

// 0, or why this user could not listen there. Port 0 is any that is free, so that an agent which
// runs already is not in the way.
int BindError(const addrinfo& address, int port) {
  const UniqueFd socket_fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!socket_fd.IsOpen()) return errno;
  sockaddr_in where = *reinterpret_cast<const sockaddr_in*>(address.ai_addr);
  where.sin_port = htons(static_cast<uint16_t>(port));
  return bind(socket_fd.Get(), reinterpret_cast<const sockaddr*>(&where), sizeof(where)) == 0
             ? 0
             : errno;
}

}  // namespace

bool InspectListener(const Settings& settings, Findings* findings) {
  addrinfo hints = {};
  hints.ai_flags = AI_PASSIVE;
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  const OvString& host = settings.host;
  const int code = getaddrinfo(host.IsEmpty() ? nullptr : host.CStr(), "0", &hints, &list);
  if (code != 0) {
    Add(findings, Severity::kError, "host", "{} cannot be resolved ({}): the agent cannot listen",
        host.View(), gai_strerror(code));
    return false;
  }
  const AddrInfoPtr owner(list);
  int error = 0;
  const addrinfo* usable = list;  // the first one of which this holds, as the agent takes it
  while (usable != nullptr && (error = BindError(*usable, 0)) != 0) usable = usable->ai_next;
  if (usable == nullptr) {
    Add(findings, Severity::kError, "host",
        "{} is no address of this machine ({}): the agent cannot listen", host.View(),
        SystemErrorText(error).View());
    return false;
  }
  if (settings.port >= kFirstFreePort) return true;
  if (BindError(*usable, settings.port) == EACCES) {
    Warn(findings, "port", "below 1024: this user may not listen there");
  } else if (geteuid() == 0) {
    Warn(findings, "port",
         "below 1024: root may listen there, the agent's own user needs CAP_NET_BIND_SERVICE");
  }
  return true;
}

}  // namespace zem::client
