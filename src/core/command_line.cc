// SPDX-License-Identifier: BSD-2-Clause
#include "core/command_line.h"

#include <string_view>

#include "core/console.h"
#include "text/numbers.h"

namespace zem {

namespace {

constexpr const char* kMissing = "Error\nInvalid or missed command line parameter";
constexpr const char* kInvalidPort = "Error\nInvalid port number";
constexpr size_t kLongestConfigPath = 511;
constexpr int kHighestPort = 65535;

// The arguments that are left, read one at a time from the front.
class Arguments {
 public:
  Arguments(int argc, char* const* argv) : argc_(argc), argv_(argv) {}
  bool AreLeft() const { return next_ < argc_; }
  std::string_view Front() const { return argv_[next_]; }
  void Advance() { ++next_; }
  bool Take(std::string_view wanted) {
    if (Front() != wanted) return false;
    Advance();
    return true;
  }

 private:
  const int argc_;
  char* const* const argv_;
  int next_ = 1;
};

bool Fail(const char* text, OvString* error) {
  *error = text;
  return false;
}

}  // namespace

// After each switch an argument has to be left: the configuration path at least.
bool ParseCommandLine(int argc, char* const* argv, Settings* settings, OvString* error) {
  Arguments arguments(argc, argv);
  if (!arguments.AreLeft()) return Fail(kMissing, error);
  if (arguments.Take("-i")) {
    settings->run_mode = RunMode::kInteractive;
  } else if (arguments.Take("-d")) {
    settings->run_mode = RunMode::kDaemon;
  }
  if (!arguments.AreLeft()) return Fail(kMissing, error);
  if (arguments.Take("-v")) settings->verbose = true;
  if (!arguments.AreLeft()) return Fail(kMissing, error);
  if (arguments.Take("-vd")) settings->verbose = settings->verbose_debugging = true;
  if (!arguments.AreLeft()) return Fail(kMissing, error);
  if (arguments.Take("-p")) {
    if (!arguments.AreLeft()) return Fail(kMissing, error);
    const int port = ParseInt(arguments.Front());
    if (port < 1 || port > kHighestPort) return Fail(kInvalidPort, error);
    settings->port = port;
    arguments.Advance();
  }
  if (!arguments.AreLeft()) return Fail(kMissing, error);
  settings->config_path = arguments.Front().substr(0, kLongestConfigPath);
  return true;
}

void PrintUsage(const OvString& error) {
  Print("%s\n\n", error.CStr());
  Print(
      " Usage: zem [-d|-i] [-v|-vd] [-p <port>] <cfg_file>\n"
      "  -d        - daemon mode (default)\n"
      "  -i        - interactive mode\n"
      "  -v        - verbose mode\n"
      "  -vd       - verbose debugging mode\n"
      "  -p <port> - overrides TCP port number specified in cfg_file\n"
      "  cfg_file  - obligatory parameter, path to configuration file\n"
      "\n"
      " Examples:\n"
      "  zem -i -v -p 1055 /etc/zem/zem.cfg\n"
      "  zem -d ~/zem/zem.cfg\n"
      "\n");
}

}  // namespace zem
