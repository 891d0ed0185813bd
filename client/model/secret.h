// SPDX-License-Identifier: BSD-2-Clause
// A password in memory: moved, never copied by accident, wiped when it goes.
//
// Threads: as any value.

#ifndef ZEM_CLIENT_MODEL_SECRET_H_
#define ZEM_CLIENT_MODEL_SECRET_H_

#include <string_view>
#include <utility>

#include "text/ovstring.h"

namespace zem::client {

class Secret {
 public:
  Secret() = default;
  explicit Secret(std::string_view text) : text_(text) {}
  Secret(Secret&& other) noexcept = default;
  Secret& operator=(Secret&& other) noexcept {
    text_.Wipe();
    text_ = std::move(other.text_);
    return *this;
  }
  ~Secret() { text_.Wipe(); }

  Secret Copy() const { return Secret(text_.View()); }
  std::string_view View() const { return text_.View(); }

 private:
  OvString text_;
};

}  // namespace zem::client

#endif  // ZEM_CLIENT_MODEL_SECRET_H_
