// SPDX-License-Identifier: BSD-2-Clause
#include "output/progress_bar.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "output/units.h"

namespace zem::client {

std::string ProgressLine(size_t sent, size_t total) {
  constexpr size_t kCells = 30;
  const size_t filled = total == 0 ? kCells : std::min(sent, total) * kCells / total;
  const std::string bar = std::string(filled, '#') + std::string(kCells - filled, '.');
  // Behind the last byte the agent gets a second to take it all in, before the digest is sent.
  const char* note = sent == total ? "  checking ..." : "";
  return fmt::format("[{}] {:3}%  {} of {}{}", bar, total == 0 ? 100 : sent * 100 / total,
                     ReadableBytes(static_cast<double>(sent)),
                     ReadableBytes(static_cast<double>(total)), note);
}

void ProgressBar::Update(size_t sent, size_t total) {
  constexpr std::chrono::milliseconds kPause{100};
  const auto now = std::chrono::steady_clock::now();
  if (sent < total && now - drawn_ < kPause) return;
  drawn_ = now;
  std::string line = ProgressLine(sent, total);
  const size_t width = line.size();
  line.resize(std::max(width, width_), ' ');  // over what a longer line left
  width_ = width;
  fmt::print(stderr, "\r{}", line);
  fflush(stderr);
}

ProgressBar::~ProgressBar() {
  if (width_ > 0) fmt::print(stderr, "\r{}\r", std::string(width_, ' '));
}

}  // namespace zem::client
