// SPDX-License-Identifier: BSD-2-Clause
// Turns names into addresses with a fixed number of threads, and remembers them for a minute.
//
// The system's look-up cannot be interrupted: a name service that does not answer keeps these few
// threads, never one for every probe that waits. Names of which the last look-up was slow have half
// of the threads, and a known name is looked up again while its addresses serve on: hosts whose
// names hang do not delay the others.
//
// Errors:  no addresses, and the reason in *failure.
// Threads: any.

#ifndef ZEM_EXPORTER_RESOLVER_H_
#define ZEM_EXPORTER_RESOLVER_H_

#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "wire/deadline.h"
#include "wire/failure.h"

namespace zem::exporter {

class Resolver {
 public:
  Resolver();
  ~Resolver();
  Resolver(const Resolver&) = delete;
  Resolver& operator=(const Resolver&) = delete;

  // Numeric addresses, in the order in which the system prefers them.
  std::vector<std::string> Resolve(const std::string& name, const client::Deadline& deadline,
                                   client::Failure* failure);

 private:
  struct Entry {
    bool is_wanted = false;
    bool is_slow = false;  // the last look-up was
    client::Clock::time_point until;
    std::vector<std::string> addresses;
    std::string error;
  };

  void Work(bool takes_slow);
  bool MakeRoom();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::map<std::string, std::shared_ptr<Entry>> entries_;  // guarded by mutex_, as are these
  std::deque<std::string> wanted_;
  std::deque<std::string> wanted_slow_;
  bool over_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace zem::exporter

#endif  // ZEM_EXPORTER_RESOLVER_H_
