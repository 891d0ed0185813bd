// SPDX-License-Identifier: BSD-2-Clause
#include "outside.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>

#include "checks/system/pause.h"
#include "checks/system/process_runner.h"
#include "checks/system/shell_command.h"
#include "checks/system/sockets.h"
#include "core/unique_fd.h"
#include "fuzz.h"
#include "memory_tree.h"

namespace zem {

namespace {

struct Outside {
  std::string_view bytes;
  UniqueFd far_end;  // of a connection
  int failures = 0;
};

Outside& TheOutside() {
  static Outside outside;
  return outside;
}

std::string_view Bytes() {
  return TheOutside().bytes;
}

// The agent retries as often as a request says; the outside comes round before that takes long.
bool Fails() {
  constexpr int kPatience = 20;
  return Bytes().empty() && ++TheOutside().failures < kPatience;
}

int Answer(std::span<char> buffer, OvString* error) {
  error->Clear();
  if (Fails()) {
    *error = "Timeout";
    return socket_code::kTimeout;
  }
  if (buffer.empty()) return socket_code::kDone;
  const std::string_view bytes = Bytes().empty() ? "late" : Bytes();
  const size_t count = std::min(buffer.size(), bytes.size());
  memcpy(buffer.data(), bytes.data(), count);
  return static_cast<int>(count);
}

}  // namespace

void SetOutside(std::string_view bytes) {
  TheOutside().bytes = bytes;
  TheOutside().failures = 0;
}

void EndOutside() {
  TheOutside().far_end.Reset();
}

// The first byte of the output is the exit code too.
bool RunProcess(const ProgramRun& run, int32_t* exit_code, OvString* error) {
  FUZZ_CHECK(run.command_line != nullptr);
  error->Clear();
  if (Bytes().empty()) {
    *error = "fork error";
    return false;
  }
  if (run.output_file != nullptr) Overwrite(run.output_file, kMade, Bytes());
  *exit_code = static_cast<unsigned char>(Bytes().front());
  return true;
}

bool RunQuietProcess(ProgramRun run, int32_t* exit_code, OvString* error) {
  run.output_file = nullptr;
  return RunProcess(run, exit_code, error);
}

// The agent's last words are " 3>FILE", unless a zero byte in a parameter cut them off. An output
// that begins with "(" stands for a syntax error, which a shell meets before it opens any file.
int RunShellCommand(const char* command) {
  const std::string_view text(command);
  const size_t redirection = text.rfind(" 3>");
  if (Bytes().empty()) return -1;
  const bool opens = redirection != std::string_view::npos && Bytes().front() != '(';
  // One that a parameter brought along names any file at all; the agent's own was made before.
  if (opens) Overwrite(command + redirection + 3, kMade, Bytes());
  return 0;
}

int ResolveIPv4(const OvString&, in_addr*, OvString* error) {
  *error = "Cannot resolve server name to IP address";
  return socket_code::kNotResolved;
}

int ResolveEndpoint(const OvString& host, int32_t, sockaddr_in*, OvString* error) {
  return ResolveIPv4(host, nullptr, error);
}

// An output that begins with "(" stands for a peer that has hung up already.
int ConnectTcp(UniqueFd* socket, const SocketExchange&, OvString* error) {
  error->Clear();
  if (Fails()) {
    *error = "Connection refused";
    return socket_code::kConnectFailed;
  }
  int ends[2];
  FUZZ_CHECK(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0);
  socket->Reset(ends[0]);
  TheOutside().far_end.Reset(ends[1]);
  if (Bytes().starts_with('(')) EndOutside();
  return socket_code::kDone;
}

int TcpExchange(const SocketExchange& wanted, OvString* error) {
  return Answer(wanted.buffer, error);
}

int UdpExchange(const SocketExchange& wanted, OvString* error) {
  return Answer(wanted.buffer, error);
}

void PauseMicroseconds(int64_t) {}

}  // namespace zem
