// SPDX-License-Identifier: BSD-2-Clause
#include "text/ovstring.h"

#include <strings.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "text/check.h"

namespace zem {

namespace {

constexpr size_t kGrowthStep = 128;

bool IsBlank(char byte) {
  return static_cast<unsigned char>(byte) <= 32;
}

}  // namespace

OvString::OvString(const OvString& other)
    : OvString(other.fixed_ ? Fixed(other.Capacity()) : OvString()) {
  Assign(other);
}

OvString::OvString(OvString&& other) noexcept
    : buffer_(std::exchange(other.buffer_, nullptr)),
      length_(std::exchange(other.length_, 0)),
      size_(std::exchange(other.size_, 0)),
      fixed_(std::exchange(other.fixed_, false)) {}

OvString& OvString::operator=(const OvString& other) {
  if (this != &other) Assign(other);
  return *this;
}

OvString& OvString::operator=(OvString&& other) noexcept {
  if (this == &other) return *this;
  // A string keeps its form: a fixed one has to cut the text rather than adopt the buffer, and a
  // growable one must not take over another's limit with it.
  if (fixed_ || other.fixed_) return Assign(other);
  Release();
  buffer_ = std::exchange(other.buffer_, nullptr);
  length_ = std::exchange(other.length_, 0);
  size_ = std::exchange(other.size_, 0);
  return *this;
}

OvString::~OvString() {
  Release();
}

void OvString::Release() {
  free(buffer_);
  buffer_ = nullptr;
}

OvString OvString::Fixed(size_t capacity) {
  OvString text;
  text.buffer_ = static_cast<char*>(calloc(capacity + 1, 1));
  ZEM_CHECK(text.buffer_ != nullptr, "ovstring");
  text.size_ = capacity + 1;
  text.fixed_ = true;
  return text;
}

void OvString::Reserve(size_t length) {
  if (length < size_ || fixed_) return;
  ZEM_CHECK(length < SIZE_MAX - kGrowthStep, "ovstring");
  const size_t wanted = (length / kGrowthStep + 1) * kGrowthStep;
  char* grown = static_cast<char*>(realloc(buffer_, wanted));
  ZEM_CHECK(grown != nullptr, "ovstring");
  memset(grown + size_, 0, wanted - size_);
  buffer_ = grown;
  size_ = wanted;
}

OvString& OvString::Assign(std::string_view text) {
  // The text may be a part of this very string: it is moved, not copied, and only then cut.
  const size_t room = fixed_ ? Capacity() : text.size();
  const size_t count = text.size() < room ? text.size() : room;
  const bool inside = buffer_ != nullptr && text.data() >= buffer_ && text.data() < buffer_ + size_;
  if (!inside) Reserve(count);
  if (count > 0) memmove(buffer_, text.data(), count);
  length_ = count;
  if (buffer_ != nullptr) buffer_[length_] = '\0';
  return *this;
}

OvString& OvString::Append(std::string_view text) {
  size_t count = text.size();
  if (fixed_ && count > Capacity() - length_) count = Capacity() - length_;
  if (count == 0) return *this;
  const bool inside = buffer_ != nullptr && text.data() >= buffer_ && text.data() < buffer_ + size_;
  const size_t offset = inside ? static_cast<size_t>(text.data() - buffer_) : 0;
  ZEM_CHECK(count < SIZE_MAX - length_, "ovstring");
  Reserve(length_ + count);
  memmove(buffer_ + length_, inside ? buffer_ + offset : text.data(), count);
  length_ += count;
  buffer_[length_] = '\0';
  return *this;
}

OvString& OvString::AppendInt(long long number) {
  char digits[24];
  const int length = snprintf(digits, sizeof(digits), "%lld", number);
  return Append(std::string_view(digits, static_cast<size_t>(length)));
}

char* OvString::Resize(size_t length) {
  if (fixed_ && length > Capacity()) length = Capacity();
  Reserve(length);
  if (length > length_) memset(buffer_ + length_, 0, length - length_);
  length_ = length;
  if (buffer_ != nullptr) buffer_[length_] = '\0';
  return buffer_;
}

void OvString::Truncate(size_t length) {
  if (length >= length_) return;
  length_ = length;
  buffer_[length_] = '\0';
}

void OvString::Wipe() {
  if (buffer_ != nullptr) explicit_bzero(buffer_, size_);
  length_ = 0;
}

size_t OvString::Find(char byte, size_t from) const {
  return Find(std::string_view(&byte, 1), from);
}

size_t OvString::Find(std::string_view text, size_t from) const {
  if (text.empty() || from == 0 || from > length_) return 0;
  const size_t found = View().find(text, from - 1);
  return found == std::string_view::npos ? 0 : found + 1;
}

OvString OvString::Substring(size_t first, size_t last) const {
  if (first == 0) first = 1;
  if (last > length_) last = length_;
  if (first > last) return {};
  return View().substr(first - 1, last - first + 1);
}

OvString OvString::Item(size_t index, std::string_view separator) const {
  if (index == 0 || separator.empty()) return {};
  std::string_view rest = View();
  for (;;) {
    const size_t end = rest.find(separator);
    if (index == 1) return rest.substr(0, end);
    if (end == std::string_view::npos) return {};
    rest.remove_prefix(end + separator.size());
    --index;
  }
}

OvString& OvString::Trim() {
  return Assign(Trimmed(View()));
}

OvString& OvString::LowerCase() {
  for (size_t i = 0; i < length_; ++i) buffer_[i] = LowerAscii(buffer_[i]);
  return *this;
}

OvString& OvString::ReplaceAll(std::string_view from, std::string_view to) {
  if (Find(from) == 0) return *this;
  OvString result;
  std::string_view rest = View();
  for (;;) {
    const size_t found = rest.find(from);
    result.Append(rest.substr(0, found));
    if (found == std::string_view::npos) break;
    result.Append(to);
    rest.remove_prefix(found + from.size());
  }
  return *this = std::move(result);
}

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (LowerAscii(a[i]) != LowerAscii(b[i])) return false;
  }
  return true;
}

}  // namespace zem
