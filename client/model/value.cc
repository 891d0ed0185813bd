// SPDX-License-Identifier: BSD-2-Clause
#include "model/value.h"

namespace zem::client {

double Value::AsNumber() const {
  if (const auto* whole = As<int64_t>()) return static_cast<double>(*whole);
  if (const auto* fraction = As<double>()) return *fraction;
  return 0;
}

const Value& Value::operator[](std::string_view name) const {
  static const Value kNull;
  if (const auto* record = As<Record>()) {
    for (const auto& [key, value] : *record) {
      if (key == name) return value;
    }
  }
  return kNull;
}

}  // namespace zem::client
