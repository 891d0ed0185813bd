// SPDX-License-Identifier: BSD-2-Clause
// The text type of the agent: a byte string with 1-based positions.
//
// Shapes:  any bytes, zero bytes included; a terminating zero byte always follows the text.
//          Positions count from 1; 0 means "not found". Every position argument may lie outside
//          the text: nothing is read there.
// Growth:  a growable string holds the next multiple of 128 bytes strictly above its need and
//          fills the bytes it gains with zeros. A string made with Fixed() never grows: what does
//          not fit is cut without a word. Assignment fills a string and keeps its form; copies
//          and moves into a new string carry the form along.
// Errors:  running out of memory ends the process through ZEM_CHECK; nothing else can fail.
// Threads: as any value: one writer or many readers.

#ifndef ZEM_TEXT_OVSTRING_H_
#define ZEM_TEXT_OVSTRING_H_

#include <cstddef>
#include <string_view>

namespace zem {

class OvString {
 public:
  OvString() = default;
  OvString(const char* text) : OvString(std::string_view(text)) {}  // NOLINT: a text is a text
  OvString(std::string_view text) { Assign(text); }                 // NOLINT: a text is a text
  OvString(const OvString& other);
  OvString(OvString&& other) noexcept;
  OvString& operator=(const OvString& other);
  OvString& operator=(OvString&& other) noexcept;
  OvString& operator=(std::string_view text) { return Assign(text); }
  OvString& operator=(const char* text) { return Assign(text); }
  ~OvString();

  // An empty string that holds at most `capacity` bytes, ever.
  static OvString Fixed(size_t capacity);

  size_t Length() const { return length_; }
  bool IsEmpty() const { return length_ == 0; }
  // Bytes of text that fit without another allocation.
  size_t Capacity() const { return size_ == 0 ? 0 : size_ - 1; }
  bool IsFixed() const { return fixed_; }

  const char* CStr() const { return buffer_ == nullptr ? "" : buffer_; }
  std::string_view View() const { return {CStr(), length_}; }
  operator std::string_view() const { return View(); }  // NOLINT: reading is free

  OvString& Assign(std::string_view text);
  OvString& Append(std::string_view text);
  OvString& Append(char byte) { return Append(std::string_view(&byte, 1)); }
  OvString& AppendInt(long long number);
  OvString& operator+=(std::string_view text) { return Append(text); }

  // Makes room, so that a text of `length` bytes is reached without another allocation. A fixed
  // string keeps its capacity.
  void Reserve(size_t length);
  // Makes the text `length` bytes long and returns them for writing. Bytes beyond the old length
  // are zero. A fixed string is cut at its capacity: read Length() afterwards.
  char* Resize(size_t length);
  void Clear() { Truncate(0); }
  // Keeps the first `length` bytes; a length beyond the text changes nothing.
  void Truncate(size_t length);
  // Overwrites every byte the buffer ever held with zeros, then empties the text (for secrets).
  void Wipe();

  // First position at or after `from` (counted from 1), or 0. An empty needle is never found.
  size_t Find(char byte, size_t from = 1) const;
  size_t Find(std::string_view text, size_t from = 1) const;
  // The bytes from position `first` to position `last`, both inclusive and cut to the text.
  OvString Substring(size_t first, size_t last) const;
  // Item `index` (from 1) of the text split at each `separator`; empty when there are fewer.
  OvString Item(size_t index, std::string_view separator) const;

  // Removes every byte with a value of 32 or less from both ends.
  OvString& Trim();
  // Folds A-Z; every other byte stays, whatever the locale.
  OvString& LowerCase();
  // Replaces every occurrence, left to right; a replacement is not searched again.
  OvString& ReplaceAll(std::string_view from, std::string_view to);

  // Friends, so that they are candidates only where one side is an OvString already.
  friend bool operator==(const OvString& a, const OvString& b) { return a.View() == b.View(); }
  friend bool operator==(const OvString& a, std::string_view b) { return a.View() == b; }
  friend bool operator==(const OvString& a, const char* b) { return a.View() == b; }

 private:
  void Release();

  char* buffer_ = nullptr;
  size_t length_ = 0;
  size_t size_ = 0;  // bytes allocated, the terminating zero included
  bool fixed_ = false;
};

// The text without the bytes of value 32 or less at both ends.
std::string_view Trimmed(std::string_view text);
// True when both texts are the same but for the case of A-Z.
bool EqualsIgnoringCase(std::string_view a, std::string_view b);

constexpr char LowerAscii(char byte) {
  return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
}

}  // namespace zem

#endif  // ZEM_TEXT_OVSTRING_H_
