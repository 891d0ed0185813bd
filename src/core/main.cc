// SPDX-License-Identifier: BSD-2-Clause
// zem: a host-monitoring agent. docs/architecture.md is the map.

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <utility>

#include "core/accept_loop.h"
#include "core/agent.h"
#include "core/daemon.h"
#include "core/exit_status.h"
#include "core/inherited_state.h"
#include "core/pid_file.h"
#include "core/platform.h"
#include "core/signals.h"
#include "core/start_up.h"
#include "text/system_error.h"

int main(int argc, char** argv) {
  zem::UseOneHeap();
  zem::InheritedState::Capture(argc, argv);
  zem::FillStandardDescriptors();
  zem::PrepareSignals();
  tzset();                             // localtime_r need not look up the zone itself
  (void)zem::SystemErrorText(ENOENT);  // nor strerror_r the language, in the child of a fork

  zem::PrintBanner();
  // Never destroyed: sessions may still run when the process ends.
  auto& agent = *new zem::Agent(zem::ReadCommandLine(argc, argv));
  zem::LoadConfiguration(&agent);
  zem::SettingsPtr settings = agent.settings.Snapshot();
  zem::RunSelfChecks(*settings);
  zem::TestListening(*settings);
  const bool is_daemon = settings->run_mode == zem::RunMode::kDaemon;
  if (is_daemon) zem::BecomeDaemon();

  const size_t descriptor_limit = zem::RaiseDescriptorLimit();
  if (!agent.control.OpenWakeUp()) {
    perror("zem: pipe");
    return zem::exit_status::kListen;
  }
  zem::InstallSignalHandlers(agent.control.WakeUpWriteFd());
  zem::SetEmergencyRestart(settings->zempath, nullptr);
  zem::UniqueFd listener = zem::StartListening(*settings);
  static zem::PidFile pid_file;
  if (is_daemon && !settings->pid_file.IsEmpty()) {
    pid_file.CreateAndLock(settings->pid_file, &agent.log);
  }
  settings.reset();  // an old password is not kept past its reload
  agent.log.WriteLog("Listening...\n", 0, zem::LogKind::kInformation);
  static zem::AcceptLoop loop(&agent, std::move(listener), &pid_file, descriptor_limit);
  loop.Run();
}
