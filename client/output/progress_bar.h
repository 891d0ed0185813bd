// SPDX-License-Identifier: BSD-2-Clause
// A bar on the terminal that shows how far a transfer is. One line, rewritten in place.

#ifndef ZEM_CLIENT_OUTPUT_PROGRESS_BAR_H_
#define ZEM_CLIENT_OUTPUT_PROGRESS_BAR_H_

#include <chrono>
#include <cstddef>
#include <string>

namespace zem::client {

// The line for a state of affairs, without its carriage return.
std::string ProgressLine(size_t sent, size_t total);

// Draws on standard error, at most ten times a second, and wipes the line when it goes.
class ProgressBar {
 public:
  ~ProgressBar();
  void Update(size_t sent, size_t total);

 private:
  std::chrono::steady_clock::time_point drawn_;
  size_t width_ = 0;
};

}  // namespace zem::client

#endif  // ZEM_CLIENT_OUTPUT_PROGRESS_BAR_H_
