// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/packet.h"

#include <cinttypes>
#include <cstdio>
#include <utility>

#include "protocol/cipher.h"
#include "protocol/digest.h"
#include "protocol/zem_const.h"

namespace zem {

namespace {

constexpr char kSignature1 = 0x03;
constexpr char kSignature2 = 0x12;
constexpr int64_t kHeader = kRequestHeaderBytes;

int64_t ReadSize(std::string_view packet, int64_t offset, size_t digits) {
  return static_cast<int32_t>(DecodeLength(packet.data() + offset, digits));
}

std::string_view Field(std::string_view packet, int64_t offset, int64_t size) {
  return packet.substr(static_cast<size_t>(offset), static_cast<size_t>(size));
}

void TraceSize(const PacketTrace& trace, const char* what, int64_t size) {
  if (!trace) return;
  char line[64];
  const int length = snprintf(line, sizeof(line), "<-- %s: %" PRId64 "\n", what, size);
  trace(std::string_view(line, static_cast<size_t>(length)));
}

struct Fields {
  int64_t password_size = 0;
  int64_t key_size = 0;
  int64_t request_size = 0;
};

// Reads the sizes and checks that all fields lie within the bytes received.
bool ReadFields(std::string_view packet, const PacketTrace& trace, Fields* fields) {
  const auto received = static_cast<int64_t>(packet.size());
  TraceSize(trace, "TCP packet size", received);
  if (received < kHeader) return false;
  const int64_t packet_size = ReadSize(packet, 0, 4);
  TraceSize(trace, "ZEM packet size", packet_size);
  // Surplus bytes void the packet here, although they do not keep it from being complete.
  if (packet_size + 4 != received) return false;
  fields->password_size = ReadSize(packet, 6, 2);
  TraceSize(trace, "Pswd size", fields->password_size);
  if (kHeader + fields->password_size > received) return false;
  fields->key_size = ReadSize(packet, 8 + fields->password_size, 2);
  TraceSize(trace, "Key size", fields->key_size);
  if (kHeader + fields->password_size + fields->key_size > received) return false;
  fields->request_size = ReadSize(packet, 10 + fields->password_size + fields->key_size, 4);
  TraceSize(trace, "Req size", fields->request_size);
  return fields->request_size >= 0 &&
         kHeader + fields->password_size + fields->key_size + fields->request_size <= received &&
         packet[4] == kSignature1 && packet[5] == kSignature2;
}

}  // namespace

bool IsPacketComplete(std::string_view received) {
  if (received.size() < kRequestHeaderBytes) return false;
  const int64_t packet_size = ReadSize(received, 0, 4);
  return packet_size > kLargestPacketSize ||
         packet_size + 4 <= static_cast<int64_t>(received.size());
}

PasswordProof ProvesPassword(std::string_view received, std::string_view password_field) {
  if (received.size() < kRequestHeaderBytes) return PasswordProof::kMissing;
  const int64_t size = ReadSize(received, 6, 2);
  if (size != static_cast<int64_t>(password_field.size())) return PasswordProof::kWrong;
  if (8 + size > static_cast<int64_t>(received.size())) return PasswordProof::kMissing;
  return EqualSecrets(Field(received, 8, size), password_field) ? PasswordProof::kRight
                                                                : PasswordProof::kWrong;
}

bool ParseRequestPacket(RequestPacket* packet, std::string_view password,
                        std::string_view password_field, const PacketTrace& trace) {
  packet->key.reset();
  const std::string_view bytes = packet->text;
  Fields fields;
  if (!ReadFields(bytes, trace, &fields)) return false;
  if (!EqualSecrets(Field(bytes, 8, fields.password_size), password_field)) {
    if (trace) trace("<-- Wrong password or MD5 error\n");
    return false;
  }
  const int64_t key_offset = 10 + fields.password_size;
  packet->key = MakeSessionKey(DecipherField(Field(bytes, key_offset, fields.key_size), password));

  OvString text;
  if (fields.request_size > 0) {
    const auto request = Field(bytes, key_offset + 4 + fields.key_size, fields.request_size);
    packet->key->Schedule().Decipher(request, text.Resize(request.size()));
  }
  packet->text = std::move(text);
  return true;
}

OvString BuildRequestPacket(std::string_view text, std::string_view session_key,
                            std::string_view password) {
  const OvString password_field = PasswordDigest(password);
  const OvString key_field = EncipherText(session_key, password);
  const OvString request_field = EncipherText(text, session_key);
  const auto size_of = [](const OvString& field) { return static_cast<uint32_t>(field.Length()); };
  OvString body;
  body.Append(kSignature1).Append(kSignature2);
  body.Append(EncodeLength(size_of(password_field), 2)).Append(password_field);
  body.Append(EncodeLength(size_of(key_field), 2)).Append(key_field);
  body.Append(EncodeLength(size_of(request_field), 4)).Append(request_field);
  OvString packet = EncodeLength(size_of(body), 4);
  packet.Append(body);
  return packet;
}

OvString BuildPacket(std::string_view text, const Cipher& cipher, size_t length_digits) {
  if (text.empty()) return {};
  OvString packet;
  packet.Reserve(length_digits + text.size());
  packet.Append(EncodeLength(static_cast<uint32_t>(text.size()), length_digits));
  char* bytes = packet.Resize(length_digits + text.size());
  cipher.Encipher(text, bytes + length_digits);
  return packet;
}

OvString BuildPacket(std::string_view text, std::string_view key_string, size_t length_digits) {
  if (text.empty()) return {};
  return BuildPacket(text, Cipher(key_string), length_digits);
}

}  // namespace zem
