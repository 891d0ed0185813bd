// SPDX-License-Identifier: BSD-2-Clause
// The client's own program, called as a function with a command line.

#ifndef ZEM_TESTS_CLIENT_CLIENT_RUN_H_
#define ZEM_TESTS_CLIENT_CLIENT_RUN_H_

#include <string>
#include <vector>

#include "app/options.h"

namespace zem::test {

// The options of "zemctl LINE" or, when the line begins with it, "check_zem LINE". Words stand
// between blanks; 'single quotes' hold one together, empty ones too. A refusal is
// left in *exit_code (else -1); what was printed goes to *printed.
client::Options Parse(const std::string& line, int* exit_code, std::string* printed = nullptr);

struct ClientRun {
  int exit_code = -1;
  std::string out;
  std::string err;
};

// The whole program, with standard output and error caught.
ClientRun RunClient(const std::string& line);
// The same with words that may hold anything.
ClientRun RunWords(const std::vector<std::string>& words);

// A file of the test's own with these bytes and this mode, removed at exit.
std::string Scratch(const std::string& text, unsigned mode = 0600);

}  // namespace zem::test

#endif  // ZEM_TESTS_CLIENT_CLIENT_RUN_H_
