// SPDX-License-Identifier: BSD-2-Clause
// One program, told by its name what to print:
//
//   zem-proccount NAME...   how many processes have that name, its words joined by blanks
//   zem-proclist            the names of all running processes
//   zem-cpuusage            how busy the processors were during one second, in percent
//
// The agent opens its result file once for each standard descriptor, from offset 0: the answer is
// written to standard output in one piece, when it is whole, and nothing ever to the others.

#include <signal.h>
#include <unistd.h>

#include "helpers/answers.h"

namespace {

constexpr const char* kRoot = "/proc";

std::string Usage() {
  const std::optional<zem::CpuTicks> before = zem::ReadCpuTicks(kRoot);
  sleep(1);
  const std::optional<zem::CpuTicks> after = zem::ReadCpuTicks(kRoot);
  return before && after ? zem::UsageAnswer(*before, *after) : "";
}

std::string Answer(std::string_view program, int argc, char** argv) {
  if (program.find("cpuusage") != std::string_view::npos) return Usage();
  if (program.find("proclist") != std::string_view::npos) return zem::ListAnswer(kRoot, program);
  std::string wanted;
  for (int i = 1; i < argc; ++i) wanted.append(argv[i]).append(" ");
  return zem::CountAnswer(kRoot, program, wanted);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view program = zem::BaseName(argc > 0 ? argv[0] : "");
  if (program.empty()) return 1;
  // The alarm must be able to end a wait, whatever the caller ignores or blocks.
  sigset_t alarm_signal;
  sigemptyset(&alarm_signal);
  sigaddset(&alarm_signal, SIGALRM);
  if (signal(SIGALRM, SIG_DFL) == SIG_ERR ||
      sigprocmask(SIG_UNBLOCK, &alarm_signal, nullptr) != 0) {
    return 1;
  }
  const std::string answer = Answer(program, argc, argv);
  if (answer.empty()) return 1;
  return write(STDOUT_FILENO, answer.data(), answer.size()) == static_cast<ssize_t>(answer.size())
             ? 0
             : 1;
}
