// SPDX-License-Identifier: BSD-2-Clause
// One end of a TCP connection: an IPv4 address and a port, both in network byte order.

#ifndef ZEM_CORE_ENDPOINT_H_
#define ZEM_CORE_ENDPOINT_H_

#include <cstdint>

namespace zem {

struct Endpoint {
  uint32_t address = 0;
  uint16_t port = 0;

  bool operator==(const Endpoint&) const = default;
};

}  // namespace zem

#endif  // ZEM_CORE_ENDPOINT_H_
