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

class TextSearch {
 public:
  TextSearch(std::string_view text, bool whole_word)
      : text_(text), head_(text.substr(0, kHead)), whole_word_(whole_word) {}

  // Whether an occurrence that counts begins at `from` or behind it and ends within the limit.
  Answer Scan(const Piece& piece, size_t from);

 private:
  // The library is quick with a short text.
  static constexpr size_t kHead = 128;

  bool IsRestAt(const char* at) const {
    return memcmp(at + head_.size(), text_.data() + head_.size(), text_.size() - head_.size()) == 0;
  }
  bool Counts(const Piece& piece, size_t at) const;
  bool MakeBorders();
  bool ScanSteadily(const Piece& piece, size_t from) const;

  const std::string_view text_;
  const std::string_view head_;
  const bool whole_word_;
  uint64_t work_ = 0;  // spent on finds in vain
  // For each prefix of the text the length of the longest shorter one that also ends it; made when
  // the contents turn out to be hostile.
  std::unique_ptr<uint32_t[]> borders_;
};

// The occurrence may lie in two windows only when it begins where the second one does: then it
// ends the first, with no right neighbour there, and has no left one in the second.
bool TextSearch::Counts(const Piece& piece, size_t at) const {
  if (!whole_word_) return true;
  const uint64_t position = piece.position + at;
  const size_t end = at + text_.size();
  const bool left_free = position == 0 || !IsWordByte(piece.bytes[at - 1]);
  const bool right_free = end == piece.size || !IsWordByte(piece.bytes[end]);
  const bool begins_window = position != 0 && position % (2 * uint64_t{text_.size()}) == 0;
  return begins_window ? left_free || right_free : left_free && right_free;
}

Answer TextSearch::Scan(const Piece& piece, size_t from) {
  // Every find that is none, or does not count, starts the search anew. Contents full of them would
  // cost the product of both lengths; past this allowance the search changes to a way that looks at
  // each byte once.
  constexpr uint64_t kAllowance = 1024 * 1024;
  constexpr uint64_t kStart = 16;
  const size_t heads_end = piece.limit - (text_.size() - head_.size());
  while (borders_ == nullptr) {
    const void* found = memmem(piece.bytes + from, heads_end - from, head_.data(), head_.size());
    if (found == nullptr) return Answer::kNo;
    from = static_cast<size_t>(static_cast<const char*>(found) - piece.bytes);
    if (IsRestAt(piece.bytes + from) && Counts(piece, from)) return Answer::kYes;
    ++from;
    work_ += kStart + text_.size();
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
    const char byte = piece.bytes[i];
    while (matched > 0 && byte != text_[matched]) matched = borders_[matched];
    if (byte == text_[matched]) ++matched;
    if (matched < text_.size()) continue;
    if (Counts(piece, i + 1 - text_.size())) return true;
    matched = borders_[matched];
  }
  return false;
}

void LowerBytes(char* bytes, size_t count) {
  for (size_t i = 0; i < count; ++i) bytes[i] = LowerAscii(bytes[i]);
}

// A text that ignores case is already in lower case.
Answer SearchFile(int file, std::string_view text, const TextSearchOptions& options) {
  // A piece begins with what the one before could not decide, one text length, and the byte in
  // front of that. As much again is read at least, so that little is looked at twice.
  const size_t capacity = text.size() + 1 + std::max(text.size(), kReadBlock);
  const std::unique_ptr<char[]> buffer = MakeBuffer(capacity);
  if (buffer == nullptr) return Answer::kFailed;
  TextSearch search(text, options.whole_word);
  Piece piece = {.bytes = buffer.get(), .limit = 0, .size = 0, .position = 0};
  size_t from = 0;
  for (;;) {
    const ReadResult block = ReadBlock(file, buffer.get() + piece.size, capacity - piece.size);
    if (!options.case_sensitive) LowerBytes(buffer.get() + piece.size, block.bytes);
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
