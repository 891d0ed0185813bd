// SPDX-License-Identifier: BSD-2-Clause
#include "local/local_command.h"
#include "model/secret.h"

namespace zem::client {

namespace {

constexpr size_t kPasswordCharacters = 32;

LocalResult Genpass(const Arguments& /*arguments*/) {
  const Secret password = RandomPassword(kPasswordCharacters);
  LocalResult result;
  result.text = std::string(password.View()) + '\n';
  result.result = Record{{"password", password.View()}};
  return result;
}

}  // namespace

const Command kGenpassCommand = {
    .name = "genpass",
    .summary = "print a random password of 32 characters",
    .run = Genpass,
};

}  // namespace zem::client
