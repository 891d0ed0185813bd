// SPDX-License-Identifier: BSD-2-Clause
// fmt as an archive of the client's own, from its headers: Debian ships it as a shared library
// alone, and that one brings the C++ library along. Loading both takes longer than a whole check
// does.
//
// What is named here, and what it needs, stays in this object although nobody calls it here.
#include <fmt/color.h>
#include <fmt/format.h>

#include <cstdio>

namespace {

[[gnu::used]] std::string (*const format)(fmt::string_view, fmt::format_args) = fmt::vformat;
[[gnu::used]] void (*const print)(std::FILE*, fmt::string_view, fmt::format_args) = fmt::vprint;
[[gnu::used]] void (*const print_plain)(fmt::string_view, fmt::format_args) = fmt::vprint;

}  // namespace
