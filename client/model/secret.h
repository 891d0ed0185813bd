// SPDX-License-Identifier: BSD-2-Clause
// A password in memory: moved, never copied by accident, wiped when it goes. And where one comes
// from: a small file, of which no copy is left behind, a person, or chance.
//
// Errors:  std::runtime_error, with a text for the person who named the file.
// Threads: as any value.

#ifndef ZEM_CLIENT_MODEL_SECRET_H_
#define ZEM_CLIENT_MODEL_SECRET_H_

#include <optional>
#include <string>
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

enum class Privacy {
  // Refuse a file of somebody else, or that group or others may read or write. The superuser's may
  // be, and be open to a group's reading.
  kOwnerOnly,
  kAnyMode,  // whoever made the file answers for its mode
};

// The whole file; "-" is standard input.
Secret ReadSecretFile(const std::string& path, Privacy privacy);
// Its first line, without the line end.
Secret ReadPasswordFile(const std::string& path, Privacy privacy);

// From the system's random source; std::runtime_error where there is none.
Secret RandomBytes(size_t count);

// `count` characters, each drawn evenly from letters and digits (no sign that a shell, the
// configuration file or a person reading it aloud could take amiss).
Secret RandomPassword(size_t count);

// Asks a person at the terminal, without echo. Nothing when there is no terminal or the person gave
// up.
std::optional<Secret> PromptForPassword(const char* prompt);

}  // namespace zem::client

#endif  // ZEM_CLIENT_MODEL_SECRET_H_
