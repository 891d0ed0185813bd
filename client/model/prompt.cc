// SPDX-License-Identifier: BSD-2-Clause
#include "model/secret.h"

#include <fcntl.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "core/unique_fd.h"

namespace zem::client {

namespace {

volatile sig_atomic_t caught_signal = 0;

extern "C" void NoteSignal(int signal_number) {
  caught_signal = signal_number;
}

// While it lives the terminal does not echo, and a signal that would end the program waits until
// the terminal is as it was.
class SilentTerminal {
 public:
  explicit SilentTerminal(int terminal) : terminal_(terminal) {
    struct sigaction note = {};
    note.sa_handler = NoteSignal;  // without SA_RESTART: the read ends
    for (size_t i = 0; i < kSignals; ++i) sigaction(kNumbers[i], &note, &before_[i]);
    silent_ = tcgetattr(terminal_, &settings_) == 0;
    if (!silent_) return;
    termios quiet = settings_;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    silent_ = tcsetattr(terminal_, TCSAFLUSH, &quiet) == 0;
  }
  ~SilentTerminal() {
    if (silent_) tcsetattr(terminal_, TCSAFLUSH, &settings_);
    for (size_t i = 0; i < kSignals; ++i) sigaction(kNumbers[i], &before_[i], nullptr);
    if (caught_signal != 0) raise(static_cast<int>(caught_signal));
  }
  SilentTerminal(const SilentTerminal&) = delete;
  SilentTerminal& operator=(const SilentTerminal&) = delete;

  bool IsSilent() const { return silent_; }

 private:
  static constexpr int kNumbers[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};
  static constexpr size_t kSignals = sizeof(kNumbers) / sizeof(kNumbers[0]);

  const int terminal_;
  bool silent_ = false;
  termios settings_ = {};
  struct sigaction before_[kSignals] = {};
};

void Show(int terminal, std::string_view text) {
  (void)WriteAll(terminal, text);  // a prompt that cannot be shown changes nothing
}

}  // namespace

std::optional<Secret> PromptForPassword(const char* prompt) {
  const UniqueFd terminal(open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY));
  if (!terminal.IsOpen()) return std::nullopt;
  OvString line;
  bool complete = false;
  {
    const SilentTerminal silence(terminal.Get());
    if (!silence.IsSilent()) return std::nullopt;
    Show(terminal.Get(), prompt);
    char byte = 0;
    while (caught_signal == 0 && read(terminal.Get(), &byte, 1) == 1) {
      complete = byte == '\n';
      if (complete) break;
      line.Append(byte);
    }
    Show(terminal.Get(), "\n");
  }
  if (!complete) {
    line.Wipe();
    return std::nullopt;
  }
  Secret secret(line.View());
  line.Wipe();
  return secret;
}

}  // namespace zem::client
