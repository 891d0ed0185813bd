// SPDX-License-Identifier: BSD-2-Clause
// The text type beside a std::string, through the same operations.

#ifndef ZEM_FUZZ_OVSTRING_MODEL_H_
#define ZEM_FUZZ_OVSTRING_MODEL_H_

#include <algorithm>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "text/ovstring.h"

namespace zem {

// What holds after every operation: a terminating zero, and room that is a multiple of the step.
inline bool IsWellFormed(const OvString& text) {
  const bool room = text.IsFixed() || text.Capacity() == 0 || (text.Capacity() + 1) % 128 == 0;
  return room && text.Length() <= text.Capacity() && text.CStr()[text.Length()] == '\0';
}

class OvStringPair {
 public:
  // A limit makes the text a fixed one. `choose` picks a number below the one it is given.
  OvStringPair(size_t limit, std::function<size_t(size_t)> choose)
      : choose_(std::move(choose)),
        limit_(limit),
        text_(limit == std::string::npos ? OvString() : OvString::Fixed(limit)) {}

  size_t Length() const { return model_.size(); }

  // One operation; false when the two differ afterwards.
  bool Step() {
    const size_t position = choose_(model_.size() + 2);
    // A view into the very text that is changed, or fresh bytes of an alphabet that repeats.
    const std::string fresh = ChosenText();
    const bool own = choose_(2) == 0;
    const std::string_view operand =
        own ? text_.View().substr(std::min(position, model_.size()), choose_(40))
            : std::string_view(fresh);
    Apply(choose_(9), position, operand, std::string(operand));
    model_.resize(std::min(model_.size(), limit_));
    return IsWellFormed(text_) && text_.View() == model_ &&
           text_.Find(fresh, position) == ModelFind(fresh, position);
  }

 private:
  void Apply(size_t operation, size_t position, std::string_view operand, const std::string& copy) {
    switch (operation) {
      case 0:
        text_.Assign(operand);
        model_ = copy;
        break;
      case 1:
        text_.Resize(position + 100);
        model_.resize(position + 100);
        break;
      case 2:
        text_.Truncate(position);
        model_.resize(std::min(position, model_.size()));
        break;
      case 3:
        text_.Trim();
        while (!model_.empty() && static_cast<unsigned char>(model_.back()) <= 32)
          model_.pop_back();
        while (!model_.empty() && static_cast<unsigned char>(model_[0]) <= 32) model_.erase(0, 1);
        break;
      case 4:
        text_.ReplaceAll(operand, "b, ");
        model_ = Replaced(model_, copy, "b, ");
        break;
      case 5:
        text_ = OvString(text_);
        break;
      default:  // the most frequent one
        text_.Append(operand);
        model_ += copy;
        break;
    }
  }

  std::string ChosenText() {
    std::string text(choose_(12), ' ');
    for (char& byte : text) byte = std::string_view("ab, \0", 5)[choose_(5)];
    return text;
  }

  size_t ModelFind(const std::string& needle, size_t position) const {
    for (size_t i = position; i > 0 && !needle.empty() && i <= model_.size(); ++i) {
      if (model_.compare(i - 1, needle.size(), needle) == 0) return i;
    }
    return 0;
  }

  static std::string Replaced(const std::string& text, const std::string& from,
                              const std::string& to) {
    std::string result;
    for (size_t i = 0; i < text.size();) {
      const bool here = !from.empty() && text.compare(i, from.size(), from) == 0;
      result += here ? to : text.substr(i, 1);
      i += here ? from.size() : 1;
    }
    return result;
  }

  std::function<size_t(size_t)> choose_;
  const size_t limit_;
  OvString text_;
  std::string model_;
};

}  // namespace zem

#endif  // ZEM_FUZZ_OVSTRING_MODEL_H_
