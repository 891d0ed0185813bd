// SPDX-License-Identifier: BSD-2-Clause
// What a reply says, typed: one tree that becomes JSON for programs and a table for people.
//
// Shapes:  a value carries its form beside its data: JSON writes the bare number or text, the
//          table writes a size, a time or a share that a person can read.
// Threads: as any value.

#ifndef ZEM_CLIENT_MODEL_VALUE_H_
#define ZEM_CLIENT_MODEL_VALUE_H_

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace zem::client {

enum class Form : uint8_t { kPlain, kBytes, kMilliseconds, kMinutes, kPercent, kStamp, kFlat };

class Value;
using List = std::vector<Value>;
// In the order in which it is shown.
using Record = std::vector<std::pair<std::string, Value>>;

class Value {
 public:
  Value() = default;  // null
  // Leaves and trees whose type says it all become values wherever one is wanted.
  // NOLINTBEGIN(google-explicit-constructor)
  template <std::integral T>
  Value(T leaf) {
    if constexpr (std::same_as<T, bool>) {
      data_ = leaf;
    } else {
      data_ = static_cast<int64_t>(leaf);
    }
  }
  Value(double number) : data_(number) {}
  Value(std::string text) : data_(std::move(text)) {}
  Value(std::string_view text) : data_(std::string(text)) {}
  Value(const char* text) : data_(std::string(text)) {}
  Value(List list) : data_(std::move(list)) {}
  Value(Record record) : data_(std::move(record)) {}
  template <typename T>
  Value(const std::optional<T>& value) : Value(value ? Value(*value) : Value()) {}
  // NOLINTEND(google-explicit-constructor)
  // Null where there is none.
  static Value TextIfAny(std::string_view text) { return text.empty() ? Value() : text; }
  static Value Bytes(double bytes) { return Value(bytes, Form::kBytes); }
  static Value Millis(double number) { return Value(number, Form::kMilliseconds); }
  static Value Minutes(int64_t number) { return Value(number, Form::kMinutes); }
  static Value Percent(double share) { return Value(share, Form::kPercent); }
  // An ISO 8601 time without a zone: the agent sends its own local time and does not say which.
  static Value Stamp(std::string iso) { return Value(std::move(iso), Form::kStamp); }
  // In a table: members by their own names, without the record's in front; items in one line.
  static Value Flat(Record record) { return Value(std::move(record), Form::kFlat); }
  static Value Flat(List list) { return Value(std::move(list), Form::kFlat); }

  bool IsNull() const { return std::holds_alternative<std::monostate>(data_); }
  template <typename T>
  const T* As() const {
    return std::get_if<T>(&data_);
  }
  Form HowShown() const { return form_; }

  // The number in an integer or fraction leaf, else 0.
  double AsNumber() const;
  // A member of a record; a null value when there is none.
  const Value& operator[](std::string_view name) const;

 private:
  using Data = std::variant<std::monostate, bool, int64_t, double, std::string, List, Record>;
  template <typename T>
  Value(T data, Form form) : data_(std::move(data)), form_(form) {}

  Data data_;
  Form form_ = Form::kPlain;
};

inline double Value::AsNumber() const {
  if (const auto* whole = As<int64_t>()) return static_cast<double>(*whole);
  if (const auto* fraction = As<double>()) return *fraction;
  return 0;
}

inline const Value& Value::operator[](std::string_view name) const {
  static const Value kNull;
  if (const auto* record = As<Record>()) {
    for (const auto& [key, value] : *record) {
      if (key == name) return value;
    }
  }
  return kNull;
}

}  // namespace zem::client

#endif  // ZEM_CLIENT_MODEL_VALUE_H_
