// SPDX-License-Identifier: BSD-2-Clause
// The cipher feedback loop beside the library's bare block rate, and a key set-up beside the
// library's. A byte costs one block, so the limit of both directions is the block rate: compare
// "bytes_per_second" of Encipher and Decipher with that of BareBlocks (one byte counted a block).
#include <benchmark/benchmark.h>
#include <nettle/twofish.h>

#include <string>
#include <vector>

#include "protocol/cipher.h"
#include "protocol/packet.h"

namespace zem {
namespace {

constexpr std::string_view kKey = "session-key-0123";

void BareBlocks(benchmark::State& state) {
  const auto count = static_cast<size_t>(state.range(0));
  const uint8_t key[TWOFISH192_KEY_SIZE] = {1, 2, 3};
  twofish_ctx schedule;
  twofish192_set_key(&schedule, key);
  std::vector<uint8_t> blocks(count * TWOFISH_BLOCK_SIZE);
  for (auto _ : state) {
    twofish_encrypt(&schedule, blocks.size(), blocks.data(), blocks.data());
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
  const uint8_t key[TWOFISH192_KEY_SIZE] = {1, 2, 3};
  twofish_ctx schedule;
  for (auto _ : state) {
    twofish192_set_key(&schedule, key);
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
  for (auto _ : state) {
    RequestPacket parsed{packet, nullptr};
    if (!ParseRequestPacket(&parsed, "password", {})) state.SkipWithError("not parsed");
  }
}
BENCHMARK(ParseRequest);

}  // namespace
}  // namespace zem
