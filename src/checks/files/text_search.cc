// SPDX-License-Identifier: BSD-2-Clause
#include "checks/files/text_search.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

#include "checks/files/regular_file.h"
#include "core/unique_fd.h"

namespace zem {

namespace {

// A piece of the file. `limit` bounds what is judged: up to there each byte's right neighbour is
// known, being in the piece or beyond the end of the file.
struct Piece {
  const char* bytes;
  size_t limit;
  size_t size;
  uint64_t position;  // of bytes[0] in the file
};

bool IsWordByte(char byte) {
  const char lower = LowerAscii(byte);
  return (lower >= 'a' && lower <= 'z') || (byte >= '0' && byte <= '9');
}

// How rare a byte is in logs and prose; the higher, the rarer.
size_t Rarity(char byte) {
  constexpr std::string_view kCommonFirst =
      " etaoinsrhldcumfpgwyb\n,.vk0123456789-_:/=TASIEOCNRLDMPFBHGWU()\"'\t";
  if (byte == '\0') return 0;
  const size_t rank = kCommonFirst.find(byte);
  return rank == std::string_view::npos ? kCommonFirst.size() : rank;
}

class TextSearch {
 public:
  // A text that ignores case is already in lower case.
  TextSearch(std::string_view text, const TextSearchOptions& options);

  // Whether an occurrence that counts begins at `from` or behind it and ends within the limit.
  Answer Scan(const Piece& piece, size_t from);

 private:
  // One byte of the text, as the quick comparison takes it: with the bit that makes a letter lower
  // case set on both sides, where case does not count.
  struct Probe {
    size_t offset = 0;
    unsigned char byte = 0;
    unsigned char fold = 0;
  };

  bool Folds() const { return !options_.case_sensitive; }
  char Folded(char byte) const { return Folds() ? LowerAscii(byte) : byte; }
  Probe ProbeAt(size_t offset) const;
  size_t NextCandidate(const char* bytes, size_t from, size_t end) const;
  size_t MatchingBytes(const char* at) const;
  bool Counts(const Piece& piece, size_t at) const;
  bool MakeBorders();
  bool ScanSteadily(const Piece& piece, size_t from) const;

  const std::string_view text_;
  const TextSearchOptions options_;
  Probe rare_;
  Probe second_;
  uint64_t work_ = 0;  // bytes compared behind a candidate
  // For each prefix of the text the length of the longest shorter one that also ends it; made when
  // the contents turn out to be hostile.
  std::unique_ptr<uint32_t[]> borders_;
};

// Two different bytes, where there are two: a text often begins like another that is common.
TextSearch::TextSearch(std::string_view text, const TextSearchOptions& options)
    : text_(text), options_(options) {
  size_t rare = 0;
  for (size_t i = 1; i < text.size(); ++i) {
    if (Rarity(text[i]) >= Rarity(text[rare])) rare = i;
  }
  size_t second = rare;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == text[rare]) continue;
    if (second == rare || Rarity(text[i]) >= Rarity(text[second])) second = i;
  }
  rare_ = ProbeAt(rare);
  second_ = ProbeAt(second);
}

TextSearch::Probe TextSearch::ProbeAt(size_t offset) const {
  const char byte = text_[offset];
  const bool letter = byte >= 'a' && byte <= 'z';
  return {.offset = offset,
          .byte = static_cast<unsigned char>(byte),
          .fold = static_cast<unsigned char>(Folds() && letter ? 0x20 : 0)};
}

// The first position in [from, end) where both probes agree, or `end`. Sixty-four positions are
// tried at once; the processor's vector instructions are the compiler's to choose.
size_t TextSearch::NextCandidate(const char* bytes, size_t from, size_t end) const {
  using Vector = unsigned char __attribute__((vector_size(16)));
  constexpr size_t kVectors = 4;
  constexpr size_t kStep = sizeof(Vector) * kVectors;
  const char* rare = bytes + rare_.offset;
  const char* second = bytes + second_.offset;
  if (rare_.offset == second_.offset && rare_.fold == 0) {  // a single byte to look for
    const void* found = memchr(rare + from, rare_.byte, end - from);
    return found == nullptr ? end : static_cast<size_t>(static_cast<const char*>(found) - rare);
  }
  const Vector rare_fold = Vector{} + rare_.fold;
  const Vector second_fold = Vector{} + second_.fold;
  for (; end - from >= kStep; from += kStep) {
    Vector hits[kVectors];
    for (size_t i = 0; i < kVectors; ++i) {
      Vector a;
      Vector b;
      memcpy(&a, rare + from + i * sizeof(Vector), sizeof(a));
      memcpy(&b, second + from + i * sizeof(Vector), sizeof(b));
      hits[i] = reinterpret_cast<Vector>(((a | rare_fold) == rare_.byte) &
                                         ((b | second_fold) == second_.byte));
    }
    const Vector all = (hits[0] | hits[1]) | (hits[2] | hits[3]);
    uint64_t halves[2];
    memcpy(halves, &all, sizeof(halves));
    if ((halves[0] | halves[1]) == 0) continue;
    unsigned char flat[kStep];
    memcpy(flat, hits, sizeof(flat));
    return from + static_cast<size_t>(
                      static_cast<unsigned char*>(memchr(flat, 0xFF, sizeof(flat))) - flat);
  }
  for (; from < end; ++from) {
    if ((static_cast<unsigned char>(rare[from]) | rare_.fold) == rare_.byte &&
        (static_cast<unsigned char>(second[from]) | second_.fold) == second_.byte) {
      return from;
    }
  }
  return end;
}

size_t TextSearch::MatchingBytes(const char* at) const {
  constexpr size_t kPiece = 64;
  size_t matched = 0;
  if (!Folds()) {
    while (text_.size() - matched >= kPiece &&
           memcmp(at + matched, text_.data() + matched, kPiece) == 0) {
      matched += kPiece;
    }
  }
  while (matched < text_.size() && Folded(at[matched]) == text_[matched]) ++matched;
  return matched;
}

// The occurrence may lie in two windows only when it begins where the second one does: then it
// ends the first, with no right neighbour there, and has no left one in the second.
bool TextSearch::Counts(const Piece& piece, size_t at) const {
  if (!options_.whole_word) return true;
  const uint64_t position = piece.position + at;
  const size_t end = at + text_.size();
  const bool left_free = position == 0 || !IsWordByte(piece.bytes[at - 1]);
  const bool right_free = end == piece.size || !IsWordByte(piece.bytes[end]);
  const bool begins_window = position != 0 && position % (2 * uint64_t{text_.size()}) == 0;
  return begins_window ? left_free || right_free : left_free && right_free;
}

Answer TextSearch::Scan(const Piece& piece, size_t from) {
  // Contents full of near-occurrences would cost the product of both lengths; past this allowance
  // the search changes to a way that looks at each byte once.
  constexpr uint64_t kAllowance = 1024 * 1024;
  const size_t end = piece.limit + 1 - text_.size();
  while (borders_ == nullptr) {
    from = NextCandidate(piece.bytes, from, end);
    if (from == end) return Answer::kNo;
    const size_t matched = MatchingBytes(piece.bytes + from);
    if (matched == text_.size() && Counts(piece, from)) return Answer::kYes;
    work_ += matched;
    ++from;
    if (work_ > kAllowance + 4 * (piece.position + from) && !MakeBorders()) return Answer::kFailed;
  }
  return ScanSteadily(piece, from) ? Answer::kYes : Answer::kNo;
}

bool TextSearch::MakeBorders() {
  borders_.reset(new (std::nothrow) uint32_t[text_.size() + 1]);
  if (borders_ == nullptr) return false;
  borders_[0] = borders_[1] = 0;
  uint32_t border = 0;
  for (size_t i = 1; i < text_.size(); ++i) {
    while (border > 0 && text_[i] != text_[border]) border = borders_[border];
    if (text_[i] == text_[border]) ++border;
    borders_[i + 1] = border;
  }
  return true;
}

bool TextSearch::ScanSteadily(const Piece& piece, size_t from) const {
  uint32_t matched = 0;
  for (size_t i = from; i < piece.limit; ++i) {
    const char byte = Folded(piece.bytes[i]);
    while (matched > 0 && byte != text_[matched]) matched = borders_[matched];
    if (byte == text_[matched]) ++matched;
    if (matched < text_.size()) continue;
    if (Counts(piece, i + 1 - text_.size())) return true;
    matched = borders_[matched];
  }
  return false;
}

Answer SearchFile(int file, std::string_view text, const TextSearchOptions& options) {
  // A piece begins with what the one before could not decide, one text length, and the byte in
  // front of that. As much again is read at least, so that little is looked at twice.
  const size_t capacity = text.size() + 1 + std::max(text.size(), kReadBlock);
  const std::unique_ptr<char[]> buffer = MakeBuffer(capacity);
  if (buffer == nullptr) return Answer::kFailed;
  TextSearch search(text, options);
  Piece piece = {.bytes = buffer.get(), .limit = 0, .size = 0, .position = 0};
  size_t from = 0;
  for (;;) {
    const ReadResult block = ReadBlock(file, buffer.get() + piece.size, capacity - piece.size);
    piece.size += block.bytes;
    const bool at_end = !block.failed && piece.size < capacity;
    piece.limit = at_end || piece.size == 0 ? piece.size : piece.size - 1;
    if (piece.limit >= from + text.size()) {
      const Answer answer = search.Scan(piece, from);
      if (answer != Answer::kNo) return answer;
    }
    if (block.failed) return Answer::kFailed;
    if (at_end) return Answer::kNo;
    const size_t kept = text.size() + 1;
    memmove(buffer.get(), buffer.get() + piece.size - kept, kept);
    piece.position += piece.size - kept;
    piece.size = kept;
    from = 1;
  }
}

}  // namespace

Answer FindTextInFile(const OvString& path, std::string_view text,
                      const TextSearchOptions& options) {
  if (text.empty()) return Answer::kFailed;
  const UniqueFd file = OpenRegularFile(path);
  struct stat info;
  if (!file.IsOpen() || fstat(file.Get(), &info) != 0) return Answer::kFailed;
  // By its size as the system tells it: files that tell none hold no text.
  if (text.size() > static_cast<uint64_t>(info.st_size)) return Answer::kNo;
  if (options.case_sensitive) return SearchFile(file.Get(), text, options);
  const OvString lower = OvString(text).LowerCase();
  return SearchFile(file.Get(), lower, options);
}

}  // namespace zem
