// SPDX-License-Identifier: BSD-2-Clause
// The HTTP side: one thread that serves all connections, each bounded in size, number and time.
//
// A request is answered at once or handed on and answered later, by any thread; meanwhile its
// connection costs nothing but memory. A peer that sends its request or takes its answer a byte at
// a time is shut down by the clock, however busy it looks.
// Errors:  std::runtime_error where the server cannot be started.
// Threads: Start and Sweep on one; a Responder on any, exactly once.

#ifndef ZEM_EXPORTER_HTTP_SERVER_H_
#define ZEM_EXPORTER_HTTP_SERVER_H_

#include <microhttpd.h>

#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <string>

#include "core/unique_fd.h"
#include "probe_request.h"
#include "wire/deadline.h"

namespace zem::exporter {

struct Response {
  unsigned status = 200;
  std::string type = "text/plain; charset=utf-8";
  std::string body = {};
};

using Responder = std::function<void(Response response)>;
// Takes a request that was not answered at once.
using Later = std::function<void(Responder respond)>;
// The answer, or nothing with *later set.
using Handler = std::function<std::optional<Response>(const Request& request, Later* later)>;

struct HttpLimits {
  unsigned connections = 2048;
  // For the whole of a first request.
  client::Milliseconds first_request{10'000};
  // From an answer to the next request, longer than the usual minute between two scrapes; also for
  // taking an answer.
  client::Milliseconds between{75'000};
};

class HttpServer {
 public:
  HttpServer(UniqueFd listener, const HttpLimits& limits, Handler handler);
  // Every request that was handed on has to be answered before.
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  // Shuts down who has been too slow. To be called every second or so.
  void Sweep();

 private:
  struct Peer {
    int socket;
    client::Clock::time_point since;  // the accept, or the last answer that was begun
    bool has_asked = false;
    bool waits = false;  // for an answer of this side
  };
  struct Exchange;

  static MHD_Result Access(void* self, MHD_Connection* connection, const char* url,
                           const char* method, const char* version, const char* data,
                           size_t* data_size, void** exchange);
  static void Connected(void* self, MHD_Connection* connection, void** peer,
                        MHD_ConnectionNotificationCode code);
  static void Completed(void* self, MHD_Connection* connection, void** exchange,
                        MHD_RequestTerminationCode code);
  MHD_Result Begin(MHD_Connection* connection, Exchange* exchange);
  MHD_Result Send(MHD_Connection* connection, const Response& response);
  void Mark(MHD_Connection* connection, bool waits);

  const HttpLimits limits_;
  const Handler handler_;
  std::mutex mutex_;
  std::list<Peer> peers_;  // guarded by mutex_
  MHD_Daemon* daemon_ = nullptr;
};

// A listening socket at ADDRESS:PORT or [ADDRESS]:PORT, and whether others than this machine reach
// it.
UniqueFd Listen(const std::string& where, bool* is_public);

}  // namespace zem::exporter

#endif  // ZEM_EXPORTER_HTTP_SERVER_H_
