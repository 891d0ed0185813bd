// SPDX-License-Identifier: BSD-2-Clause
#include "output/table.h"

#include <cmath>

#include <nlohmann/json.hpp>

#include "model/printable.h"

namespace zem::client {

namespace {

using Json = nlohmann::ordered_json;

// Whole numbers stay whole: 48000000000 and not 48000000000.0.
Json Number(double number) {
  constexpr double kExact = 9007199254740992.0;
  if (number == std::floor(number) && std::abs(number) <= kExact) {
    return static_cast<int64_t>(number);
  }
  return number;
}

Json Build(const Value& value) {
  if (const auto* flag = value.As<bool>()) return *flag;
  if (const auto* whole = value.As<int64_t>()) return *whole;
  if (const auto* number = value.As<double>()) return Number(*number);
  if (const auto* text = value.As<std::string>()) return *text;
  if (const auto* list = value.As<List>()) {
    Json json = Json::array();
    for (const Value& item : *list) json.push_back(Build(item));
    return json;
  }
  if (const auto* record = value.As<Record>()) {
    Json json = Json::object();
    for (const auto& [name, member] : *record) json[name] = Build(member);
    return json;
  }
  return nullptr;
}

}  // namespace

std::string ToJson(const Value& value) {
  constexpr int kIndent = 2;
  return PrintableJson(Build(value).dump(kIndent, ' ', false, Json::error_handler_t::replace));
}

}  // namespace zem::client
