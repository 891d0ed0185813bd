// SPDX-License-Identifier: BSD-2-Clause
// The exporter's program: options, start-up, signals.
#include <getopt.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <cstdio>
#include <ctime>
#include <optional>
#include <stdexcept>
#include <string>

#include <fmt/format.h>

#include "exporter.h"
#include "model/words.h"

namespace zem::exporter {
namespace {

constexpr int kExitUsage = 2;

struct Options {
  std::string config = "/etc/zem/exporter.yml";
  std::string listen = "127.0.0.1:9755";
  size_t workers = 128;
  size_t queue = 1024;
  HttpLimits http;
  bool check_only = false;
};

constexpr const char* kUsage =
    "usage: zem-exporter [--config FILE] [--listen ADDRESS:PORT] [--workers N] [--queue N]\n"
    "                    [--connections N] [--check-config] [--version] [--help]\n";

enum OptionCode : int { kConfig = 1, kListen, kWorkers, kQueue, kConnections, kCheck, kVersion };

int64_t NumberOf(const char* option, const char* text, int64_t least, int64_t most) {
  const std::optional<int64_t> number = client::ParseWhole(text);
  if (!number || *number < least || *number > most) {
    throw std::invalid_argument(
        fmt::format("{}: \"{}\" is no number from {} to {}", option, text, least, most));
  }
  return *number;
}

// The options, or the exit status with which it is over.
std::optional<int> ParseOptions(int argc, char** argv, Options* options) {
  static const option kOptions[] = {{"config", required_argument, nullptr, kConfig},
                                    {"listen", required_argument, nullptr, kListen},
                                    {"workers", required_argument, nullptr, kWorkers},
                                    {"queue", required_argument, nullptr, kQueue},
                                    {"connections", required_argument, nullptr, kConnections},
                                    {"check-config", no_argument, nullptr, kCheck},
                                    {"version", no_argument, nullptr, kVersion},
                                    {"help", no_argument, nullptr, 'h'},
                                    {}};
  for (int code = 0; (code = getopt_long(argc, argv, "h", kOptions, nullptr)) != -1;) {
    switch (code) {
      case kConfig:
        options->config = optarg;
        break;
      case kListen:
        options->listen = optarg;
        break;
      case kWorkers:
        options->workers = static_cast<size_t>(NumberOf("--workers", optarg, 2, 1024));
        break;
      case kQueue:
        options->queue = static_cast<size_t>(NumberOf("--queue", optarg, 1, 100'000));
        break;
      case kConnections:
        options->http.connections =
            static_cast<unsigned>(NumberOf("--connections", optarg, 4, 100'000));
        break;
      case kCheck:
        options->check_only = true;
        break;
      case kVersion:
        puts("zem-exporter " ZEM_EXPORTER_VERSION);
        return 0;
      case 'h':
        fputs(kUsage, stdout);
        return 0;
      default:
        fputs(kUsage, stderr);
        return kExitUsage;
    }
  }
  if (optind == argc) return std::nullopt;
  fputs(kUsage, stderr);
  return kExitUsage;
}

sigset_t HandledSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int number : {SIGHUP, SIGTERM, SIGINT}) sigaddset(&set, number);
  return set;
}

// Every connection takes a descriptor.
void RaiseDescriptorLimit() {
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  (void)setrlimit(RLIMIT_NOFILE, &limit);  // what there is serves too
}

// Waits for signals and keeps the clock of the server's connections.
void Serve(Exporter* exporter, HttpServer* server) {
  const sigset_t signals = HandledSignals();
  const timespec second = {1, 0};
  while (true) {
    const int number = sigtimedwait(&signals, nullptr, &second);
    if (number == SIGTERM || number == SIGINT) return;
    if (number == SIGHUP) {
      std::string error;
      const bool done = exporter->Load(&error);
      fmt::print(stderr, "zem-exporter: {}\n", done ? "configuration read again" : error);
    }
    server->Sweep();
  }
}

int Run(const Options& options) {
  if (options.check_only) {
    (void)ReadConfig(options.config);
    fmt::print("{}: fine\n", options.config);
    return 0;
  }
#if defined(__GLIBC__)
  mallopt(M_ARENA_MAX, 2);  // a heap for every worker would multiply what a probe takes
#endif
  RaiseDescriptorLimit();
  const sigset_t signals = HandledSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);  // before any thread
  signal(SIGPIPE, SIG_IGN);
  Exporter exporter(options.config, options.workers, options.queue);
  std::string error;
  if (!exporter.Load(&error)) throw std::runtime_error(error);
  bool is_public = false;
  UniqueFd listener = Listen(options.listen, &is_public);
  HttpServer server(std::move(listener), options.http, [&](const Request& request, Later* later) {
    return exporter.Answer(request, later);
  });
  fmt::print(stderr, "zem-exporter: listening on {}{}\n", options.listen,
             is_public ? ", which other machines may reach; it neither enciphers nor asks for a "
                         "password, so put a reverse proxy in front"
                       : "");
  Serve(&exporter, &server);
  // Probes are under way on threads that hold connections of the server: nobody waits for them.
  fflush(nullptr);
  _exit(0);
}

}  // namespace
}  // namespace zem::exporter

int main(int argc, char** argv) {
  try {
    zem::exporter::Options options;
    const std::optional<int> over = zem::exporter::ParseOptions(argc, argv, &options);
    return over ? *over : zem::exporter::Run(options);
  } catch (const std::exception& error) {
    fmt::print(stderr, "zem-exporter: {}\n", error.what());
    return 1;
  }
}
