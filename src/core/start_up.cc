// SPDX-License-Identifier: BSD-2-Clause
#include "core/start_up.h"

#include <sys/resource.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "core/command_line.h"
#include "core/console.h"
#include "core/daemon.h"
#include "core/exit_status.h"
#include "core/identity.h"
#include "core/listener.h"
#include "core/self_checks.h"
#include "core/signals.h"
#include "text/system_error.h"

namespace zem {

namespace {

constexpr const char* kRule = "-------------------------------------------------------------\n";

}  // namespace

void PrintBanner() {
  Print("%s", kRule);
  Print(" Application:  ZEM (Zem Agent for Quorvel)\n");
  Print(" Version:      %s for %s\n", identity::kVersion, identity::kPlatform);
  Print(" Developer:    Ovrant\n");
  Print(" Web site:     https://ovrant.example/\n");
  Print(" E-mail:       support@ovrant.example\n");
  Print("%s", kRule);
}

Settings ReadCommandLine(int argc, char* const* argv) {
  Print("Command line checking .. ");
  Settings settings;
  OvString error;
  if (!ParseCommandLine(argc, argv, &settings, &error)) {
    PrintUsage(error);
    exit(exit_status::kUsage);
  }
  return settings;
}

void LoadConfiguration(Agent* agent) {
  Print("Ok\nSettings checking .. ");
  OvString text;
  if (!agent->settings.Load(&text)) {
    Print("Error\n%s\nPlease check '%s' file\n\n", text.CStr(),
          agent->settings.Snapshot()->config_path.CStr());
    exit(exit_status::kUsage);
  }
  if (text.IsEmpty()) {
    Print("Ok\n");
  } else {
    Print("Warning: %s\n", text.CStr());
  }
}

void RunSelfChecks(const Settings& settings) {
  Print("CPU testing .. Ok\n");
  if (settings.verbose_debugging) {
    constexpr unsigned kSize = 8;
    Print("stat.size: %u\n", kSize);
    Print("srec.size: %u\n", kSize);
    Print("file.size: %u\n", kSize);
    Print("int64 = double\n");
  }
  if (!CheckCipher() || !CheckPacketEncryption()) exit(exit_status::kCipher);
}

void TestListening(const Settings& settings) {
  Print("Sock testing .. ");
  OvString error;
  const UniqueFd listener = ListenWithRetry(settings, &error);
  if (!listener.IsOpen()) {
    Print("TCP listen error:\n%s\n\n", error.CStr());
    exit(exit_status::kListen);
  }
  Print("Ok\n");
  shutdown(listener.Get(), SHUT_RDWR);
}

void BecomeDaemon() {
  if (Daemonize() != 0) {
    fprintf(stderr, "Error initializing daemon: %s\n", SystemErrorText(errno).CStr());
    exit(exit_status::kDaemon);
  }
  InstallHangUpHandler();
}

UniqueFd StartListening(const Settings& settings) {
  OvString error;
  UniqueFd listener = ListenWithRetry(settings, &error);
  if (!listener.IsOpen()) {
    Print("TCP listen error: %s\n\n", error.CStr());
    exit(exit_status::kListen);
  }
  return listener;
}

size_t RaiseDescriptorLimit() {
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return 0;
  rlimit raised = limit;
  raised.rlim_cur = raised.rlim_max;
  if (setrlimit(RLIMIT_NOFILE, &raised) == 0) limit = raised;
  return static_cast<size_t>(limit.rlim_cur);  // a signed type on FreeBSD
}

}  // namespace zem
