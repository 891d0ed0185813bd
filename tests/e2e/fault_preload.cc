// SPDX-License-Identifier: BSD-2-Clause
// Loaded into the agent by a test: makes one of its threads fault for real, or a call fail, once.
//
// The file named by ZEM_FAULT_FILE says where: "plain" while a request is answered, "stack" by
// running out of stack there, "log" in the middle of a session's log entry, with the lock held,
// "file" with a stream locked, "send" in the middle of a reply, "main" in the main thread;
// "shortage" lets an accept fail for want of memory, "exec" a restart after a hang-up that comes in
// between; "save" interrupts a save that has taken three seconds, "port" opens one in four. It is
// removed first, so the agent's next life is spared. What goes to the syslog goes to the file named
// by ZEM_SYSLOG_FILE. The file named by ZEM_CLOCK_FILE holds the seconds by which the time of day
// is wrong, that of ZEM_UPTIME_FILE those by which the other clock has leapt. ZEM_MOST_THREADS says
// how many threads can be had. Linux alone.

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/utsname.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace {

enum class Who { kMainThread, kSession };

bool IsTurnOf(const char* kind, Who who) {
  const char* path = getenv("ZEM_FAULT_FILE");
  const bool in_main = getpid() == gettid();
  if (path == nullptr || in_main != (who == Who::kMainThread)) return false;
  const int fd = static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, O_RDONLY, 0));
  if (fd < 0) return false;
  char text[16] = "";
  const ssize_t length = read(fd, text, sizeof(text) - 1);
  close(fd);
  if (length <= 0 || strcmp(text, kind) != 0) return false;
  return unlink(path) == 0;
}

void WriteThroughNull() {
  int* volatile nowhere = nullptr;
  *nowhere = 1;  // NOLINT(clang-analyzer-core.NullDereference): what it is for
}

// Each call keeps a frame, and no caller ever says stop.
int UseUpStack(volatile char* stop) {
  volatile char frame[4096] = "";
  return *stop != 0 ? 0 : UseUpStack(frame) + frame[1];
}

// However often a signal interrupts it.
void Sleep(int seconds) {
  timespec end = {};
  clock_gettime(CLOCK_MONOTONIC, &end);
  end.tv_sec += seconds;
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
  }
}

int Open(const char* path, int flags, mode_t mode) {
  if (strstr(path, "verbose.log") != nullptr && IsTurnOf("log", Who::kSession)) WriteThroughNull();
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

mode_t ModeOf(int flags, va_list arguments) {
  return (flags & O_CREAT) != 0 ? static_cast<mode_t>(va_arg(arguments, int)) : 0;
}

time_t ClockError(const char* file_variable) {
  const char* path = getenv(file_variable);
  char text[32] = "";
  const int fd = path == nullptr ? -1 : static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, 0, 0));
  if (fd < 0 || read(fd, text, sizeof(text) - 1) < 0) return 0;
  close(fd);
  return atol(text);
}

const char* syslog_identity = "";

void AppendToSyslogFile(int priority, const char* format, va_list arguments) {
  const char* path = getenv("ZEM_SYSLOG_FILE");
  FILE* file = path == nullptr ? nullptr : fopen(path, "ae");
  if (file == nullptr) return;
  fprintf(file, "%s %d ", syslog_identity, priority);
  vfprintf(file, format, arguments);
  fputc('\n', file);
  fclose(file);
}

}  // namespace

extern "C" {

void openlog(const char* identity, int, int) {
  syslog_identity = identity;
}

void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  AppendToSyslogFile(priority, format, arguments);
  va_end(arguments);
}

void __syslog_chk(int priority, int, const char* format, ...) {  // NOLINT: the library's own name
  va_list arguments;
  va_start(arguments, format);
  AppendToSyslogFile(priority, format, arguments);
  va_end(arguments);
}

int clock_gettime(clockid_t clock, timespec* now) noexcept {
  const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, now));
  if (clock == CLOCK_REALTIME) now->tv_sec += ClockError("ZEM_CLOCK_FILE");
  if (clock == CLOCK_MONOTONIC) now->tv_sec += ClockError("ZEM_UPTIME_FILE");
  return result;
}

time_t time(time_t* also) noexcept {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  if (also != nullptr) *also = now.tv_sec;
  return now.tv_sec;
}

int uname(struct utsname* host) {
  if (IsTurnOf("plain", Who::kSession)) WriteThroughNull();
  if (IsTurnOf("file", Who::kSession)) {
    flockfile(fopen("/dev/null", "re"));
    WriteThroughNull();
  }
  volatile char stop = 0;
  if (IsTurnOf("stack", Who::kSession)) return UseUpStack(&stop);
  return static_cast<int>(syscall(SYS_uname, host));
}

int accept4(int listener, sockaddr* address, socklen_t* length, int flags) {
  if (IsTurnOf("main", Who::kMainThread)) WriteThroughNull();
  if (IsTurnOf("shortage", Who::kMainThread)) {
    errno = ENOBUFS;
    return -1;
  }
  return static_cast<int>(syscall(SYS_accept4, listener, address, length, flags));
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                   void* argument) noexcept {
  const char* most = getenv("ZEM_MOST_THREADS");
  struct stat tasks = {};  // "." and ".." are links too
  if (most != nullptr && stat("/proc/self/task", &tasks) == 0 &&
      static_cast<int>(tasks.st_nlink) - 2 >= atoi(most)) {
    return EAGAIN;
  }
  static const auto next =
      reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
  return next(thread, attributes, start, argument);
}

ssize_t send(int fd, const void* bytes, size_t count, int flags) {
  if (IsTurnOf("send", Who::kSession)) WriteThroughNull();
  return syscall(SYS_sendto, fd, bytes, count, flags, nullptr, 0);
}

int bind(int fd, const sockaddr* address, socklen_t length) noexcept {
  if (IsTurnOf("port", Who::kMainThread)) Sleep(4);
  return static_cast<int>(syscall(SYS_bind, fd, address, length));
}

int fsync(int fd) {
  if (IsTurnOf("save", Who::kSession)) {
    Sleep(3);
    errno = EINTR;
    return -1;
  }
  return static_cast<int>(syscall(SYS_fsync, fd));
}

int execve(const char* path, char* const* arguments, char* const* environment) noexcept {
  if (IsTurnOf("exec", Who::kMainThread)) {
    kill(getpid(), SIGHUP);
    errno = ENOENT;
    return -1;
  }
  return static_cast<int>(syscall(SYS_execve, path, arguments, environment));
}

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeOf(flags, arguments);
  va_end(arguments);
  return Open(path, flags, mode);
}

int open64(const char* path, int flags, ...) __attribute__((alias("open")));

}  // extern "C"
