// SPDX-License-Identifier: BSD-2-Clause
// Bytes from a stranger: parsing answers false or a request that can be built again.
#include <string>

#include "fuzz.h"
#include "protocol/digest.h"
#include "protocol/packet.h"

namespace zem {
namespace {

void TryPassword(std::string_view bytes, std::string_view password) {
  const bool complete = IsPacketComplete(bytes);
  const PasswordProof proof = ProvesPassword(bytes, PasswordDigest(password));
  RequestPacket packet{.text = bytes, .key = nullptr};
  const bool valid = ParseRequestPacket(
      &packet, password, PasswordDigest(password),
      [](std::string_view line) { FUZZ_CHECK(!line.empty() && line.back() == '\n'); });
  if (!valid) return;
  FUZZ_CHECK(complete);
  FUZZ_CHECK(proof == PasswordProof::kRight);
  FUZZ_CHECK(packet.key != nullptr);
  // What was built is the head of what came; only ignored bytes may follow it.
  const OvString built = BuildRequestPacket(packet.text, packet.key->Text(), password);
  FUZZ_CHECK(built.Length() <= bytes.size());
  FUZZ_CHECK(built.View().substr(4) == bytes.substr(4, built.Length() - 4));
}

}  // namespace
}  // namespace zem

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  zem::TryPassword(zem::Text(data, size), "secret");
  zem::TryPassword(zem::Text(data, size), "");
  return 0;
}
