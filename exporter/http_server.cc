// SPDX-License-Identifier: BSD-2-Clause
#include "http_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>
#include <vector>

#include "targets.h"
#include "text/system_error.h"

namespace zem::exporter {

using client::Clock;

namespace {

// Request line and headers have to fit.
constexpr size_t kConnectionMemory = 16 * 1024;
constexpr size_t kMostUpload = 64 * 1024;
constexpr size_t kMostParameters = 64;

std::string Header(MHD_Connection* connection, const char* name) {
  const char* text = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
  return text == nullptr ? "" : text;
}

MHD_Result TakeParameter(void* list, MHD_ValueKind, const char* key, size_t key_size,
                         const char* value, size_t value_size) {
  auto* query = static_cast<std::vector<std::pair<std::string, std::string>>*>(list);
  query->emplace_back(std::string(key, key_size),
                      value == nullptr ? std::string() : std::string(value, value_size));
  return query->size() < kMostParameters ? MHD_YES : MHD_NO;
}

}  // namespace

struct HttpServer::Exchange {
  Request request;
  size_t uploaded = 0;
  bool begun = false;
  Response response;  // written before `ready` is set
  std::atomic<bool> ready = false;
};

HttpServer::HttpServer(UniqueFd listener, const HttpLimits& limits, Handler handler)
    : limits_(limits), handler_(std::move(handler)) {
  // One address may not take them all: a second one has to get through.
  const unsigned most_each = std::max(limits.connections - limits.connections / 4, 1U);
  daemon_ = MHD_start_daemon(
      MHD_USE_AUTO_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME, 0, nullptr, nullptr, Access, this,
      MHD_OPTION_LISTEN_SOCKET, listener.Get(), MHD_OPTION_CONNECTION_LIMIT, limits.connections,
      MHD_OPTION_PER_IP_CONNECTION_LIMIT, most_each, MHD_OPTION_CONNECTION_TIMEOUT,
      static_cast<unsigned>(limits.between.count() / 1000), MHD_OPTION_CONNECTION_MEMORY_LIMIT,
      kConnectionMemory, MHD_OPTION_NOTIFY_CONNECTION, Connected, this, MHD_OPTION_NOTIFY_COMPLETED,
      Completed, this, MHD_OPTION_END);
  if (daemon_ == nullptr) throw std::runtime_error("cannot start the HTTP server");
  (void)listener.Release();  // the daemon closes it
}

HttpServer::~HttpServer() {
  MHD_stop_daemon(daemon_);
}

void HttpServer::Connected(void* self, MHD_Connection* connection, void** peer,
                           MHD_ConnectionNotificationCode code) {
  auto* server = static_cast<HttpServer*>(self);
  const std::lock_guard lock(server->mutex_);
  if (code == MHD_CONNECTION_NOTIFY_STARTED) {
    const MHD_ConnectionInfo* info =
        MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    server->peers_.push_front({info->connect_fd, Clock::now()});
    *peer = &server->peers_.front();
    return;
  }
  // Told before the socket is closed: Sweep never shuts down a number that is somebody else's.
  server->peers_.remove_if([&](const Peer& each) { return &each == *peer; });
}

void HttpServer::Completed(void* /*self*/, MHD_Connection* /*connection*/, void** exchange,
                           MHD_RequestTerminationCode /*code*/) {
  delete static_cast<Exchange*>(*exchange);
  *exchange = nullptr;
}

void HttpServer::Mark(MHD_Connection* connection, bool waits) {
  const MHD_ConnectionInfo* info =
      MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
  auto* peer = static_cast<Peer*>(info->socket_context);
  const std::lock_guard lock(mutex_);
  peer->since = Clock::now();
  peer->has_asked = true;
  peer->waits = waits;
}

void HttpServer::Sweep() {
  const Clock::time_point now = Clock::now();
  const std::lock_guard lock(mutex_);
  for (const Peer& peer : peers_) {
    const Clock::duration most = peer.has_asked ? limits_.between : limits_.first_request;
    if (!peer.waits && now - peer.since > most) (void)shutdown(peer.socket, SHUT_RDWR);
  }
}

MHD_Result HttpServer::Access(void* self, MHD_Connection* connection, const char* url,
                              const char* method, const char* /*version*/, const char* /*data*/,
                              size_t* data_size, void** context) {
  auto* server = static_cast<HttpServer*>(self);
  auto* exchange = static_cast<Exchange*>(*context);
  if (exchange == nullptr) {
    exchange = new Exchange();
    *context = exchange;
    exchange->request.is_post = strcmp(method, MHD_HTTP_METHOD_POST) == 0;
    if (!exchange->request.is_post && strcmp(method, MHD_HTTP_METHOD_GET) != 0 &&
        strcmp(method, MHD_HTTP_METHOD_HEAD) != 0) {
      return server->Send(connection, {405, "text/plain", "only GET and POST\n"});
    }
    exchange->request.path = url;
    return MHD_YES;
  }
  if (*data_size > 0) {
    // What a request brings along is read and thrown away, up to a point.
    exchange->uploaded += *data_size;
    *data_size = 0;
    return exchange->uploaded <= kMostUpload ? MHD_YES : MHD_NO;
  }
  if (exchange->ready) return server->Send(connection, exchange->response);
  return exchange->begun ? MHD_YES : server->Begin(connection, exchange);
}

MHD_Result HttpServer::Begin(MHD_Connection* connection, Exchange* exchange) {
  exchange->begun = true;
  exchange->request.scrape_timeout = Header(connection, "X-Prometheus-Scrape-Timeout-Seconds");
  MHD_get_connection_values_n(connection, MHD_GET_ARGUMENT_KIND, TakeParameter,
                              &exchange->request.query);
  Later later;
  const std::optional<Response> response = handler_(exchange->request, &later);
  if (response) return Send(connection, *response);
  // Nothing looks at a suspended connection, so both stay until it is resumed.
  Mark(connection, true);
  MHD_suspend_connection(connection);
  later([connection, exchange](Response answer) {
    exchange->response = std::move(answer);
    exchange->ready = true;
    MHD_resume_connection(connection);
  });
  return MHD_YES;
}

MHD_Result HttpServer::Send(MHD_Connection* connection, const Response& response) {
  Mark(connection, false);
  MHD_Response* out = MHD_create_response_from_buffer(
      response.body.size(), const_cast<char*>(response.body.data()), MHD_RESPMEM_MUST_COPY);
  if (out == nullptr) return MHD_NO;
  for (const auto& [name, value] :
       {std::pair("Content-Type", response.type.c_str()),
        {"X-Content-Type-Options", "nosniff"},
        {"Cache-Control", "no-store"},
        {"Content-Security-Policy",
         "default-src 'none'; style-src 'unsafe-inline'; form-action 'self'"}}) {
    (void)MHD_add_response_header(out, name, value);  // fails where memory does, and then later too
  }
  const MHD_Result result = MHD_queue_response(connection, response.status, out);
  MHD_destroy_response(out);
  return result;
}

UniqueFd Listen(const std::string& where, bool* is_public) {
  Target target;
  try {
    target = ParseTarget(where);
  } catch (const std::invalid_argument&) {
    // Has no address then.
  }
  // A port has to be given: the one that targets have without is the agent's.
  if (!target.address || !where.ends_with(':' + std::to_string(target.port))) {
    throw std::runtime_error("listen: \"" + where + "\" is no ADDRESS:PORT");
  }
  const bool is_mapped = IN6_IS_ADDR_V4MAPPED(&*target.address);
  sockaddr_in6 six = {};
  sockaddr_in four = {};
  six.sin6_family = AF_INET6;
  six.sin6_port = four.sin_port = htons(static_cast<uint16_t>(target.port));
  six.sin6_addr = *target.address;
  four.sin_family = AF_INET;
  memcpy(&four.sin_addr, &target.address->s6_addr[12], sizeof(four.sin_addr));
  *is_public =
      is_mapped ? target.address->s6_addr[12] != 127 : !IN6_IS_ADDR_LOOPBACK(&*target.address);
  UniqueFd listener(
      socket(is_mapped ? AF_INET : AF_INET6, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const int on = 1;
  const auto* address = is_mapped ? reinterpret_cast<const sockaddr*>(&four)
                                  : reinterpret_cast<const sockaddr*>(&six);
  const socklen_t size = is_mapped ? sizeof(four) : sizeof(six);
  if (!listener.IsOpen() ||
      setsockopt(listener.Get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)) != 0 ||
      bind(listener.Get(), address, size) != 0 || listen(listener.Get(), SOMAXCONN) != 0) {
    throw std::runtime_error("cannot listen on " + where + ": " + SystemErrorText(errno).CStr());
  }
  return listener;
}

}  // namespace zem::exporter
