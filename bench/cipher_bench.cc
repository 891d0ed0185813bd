// SPDX-License-Identifier: BSD-2-Clause
// The cipher feedback loop beside the library's bare block rate, and a key set-up beside the
// library's. A byte costs one block, so the limit of both directions is the block rate: compare
// "bytes_per_second" of Encipher and Decipher with that of BareBlocks (one byte counted a block).
#include <benchmark/benchmark.h>
#include <tomcrypt.h>

#include <string>

#include "protocol/cipher.h"
#include "protocol/digest.h"
#include "protocol/packet.h"

namespace zem {
namespace {

constexpr std::string_view kKey = "session-key-0123";
constexpr size_t kKeyBytes = 24;

// Each block depends on the one before, as in enciphering.
void BareBlocks(benchmark::State& state) {
  const uint8_t key[kKeyBytes] = {1, 2, 3};
  symmetric_key schedule;
  (void)twofish_setup(key, sizeof(key), 0, &schedule);
  uint8_t block[kCipherBlock] = {};
  for (auto _ : state) {
    for (int64_t i = 0; i < state.range(0); ++i) {
      (void)twofish_ecb_encrypt(block, block, &schedule);
    }
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BareBlocks)->Arg(64)->Arg(1024)->Arg(65536);

void Encipher(benchmark::State& state) {
  const Cipher cipher(kKey);
  const std::string text(static_cast<size_t>(state.range(0)), 't');
  std::string out(text.size(), '\0');
  for (auto _ : state) {
    cipher.Encipher(text, out.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Encipher)->Arg(64)->Arg(1024)->Arg(65536);

void Decipher(benchmark::State& state) {
  const Cipher cipher(kKey);
  const std::string bytes(static_cast<size_t>(state.range(0)), 'b');
  std::string out(bytes.size(), '\0');
  for (auto _ : state) {
    cipher.Decipher(bytes, out.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Decipher)->Arg(64)->Arg(1024)->Arg(65536);

void BareKeySetUp(benchmark::State& state) {
  const uint8_t key[kKeyBytes] = {1, 2, 3};
  symmetric_key schedule;
  for (auto _ : state) {
    (void)twofish_setup(key, sizeof(key), 0, &schedule);
    benchmark::DoNotOptimize(schedule);
  }
}
BENCHMARK(BareKeySetUp);

void KeySetUp(benchmark::State& state) {
  for (auto _ : state) {
    const Cipher cipher(kKey);
    benchmark::DoNotOptimize(&cipher);
  }
}
BENCHMARK(KeySetUp);

void ParseRequest(benchmark::State& state) {
  const OvString packet = BuildRequestPacket("GetInfo\r", kKey, "password");
  const OvString field = PasswordDigest("password");
  for (auto _ : state) {
    RequestPacket parsed{packet, nullptr};
    if (!ParseRequestPacket(&parsed, "password", field, {})) state.SkipWithError("not parsed");
  }
}
BENCHMARK(ParseRequest);

}  // namespace
}  // namespace zem
