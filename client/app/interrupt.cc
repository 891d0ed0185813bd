// SPDX-License-Identifier: BSD-2-Clause
#include "app/interrupt.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <stdexcept>
#include <string>

#include "text/system_error.h"

namespace zem::client {

namespace {

std::atomic<int> waking_end = -1;
std::atomic<bool> interrupted = false;
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

extern "C" void NoteInterrupt(int) {
  const int before = errno;
  interrupted = true;
  Interrupt::Wake();
  errno = before;
}

}  // namespace

Interrupt::Interrupt(bool noted) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
    throw std::runtime_error(std::string("cannot make a pipe: ") + SystemErrorText(errno).CStr());
  }
  woken_.Reset(ends[0]);
  waking_.Reset(ends[1]);
  waking_end = ends[1];
  sigaction(SIGINT, nullptr, &before_);
  if (!noted || before_.sa_handler == SIG_IGN) return;
  struct sigaction note = {};
  note.sa_handler = NoteInterrupt;
  note.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
  sigaction(SIGINT, &note, nullptr);
}

Interrupt::~Interrupt() {
  sigaction(SIGINT, &before_, nullptr);
  waking_end = -1;
}

void Interrupt::Wake() {
  (void)!write(waking_end, "", 1);  // a full pipe is a wake-up already
}

bool Interrupt::Wait(Milliseconds most) const {
  pollfd wait = {woken_.Get(), POLLIN, 0};
  char bytes[64];
  if (poll(&wait, 1, static_cast<int>(std::min(most, kLongestWait).count())) > 0) {
    while (read(woken_.Get(), bytes, sizeof(bytes)) == sizeof(bytes)) {
    }
  }
  return interrupted;
}

}  // namespace zem::client
