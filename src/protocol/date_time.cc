// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/date_time.h"

#include <cstdio>

namespace zem {

DateTimeFields ParseTimestamp(std::string_view text) {
  if (text.size() != 14) return {};
  const auto field = [text](size_t first, size_t digits) {
    int value = 0;
    for (size_t i = first; i < first + digits; ++i) value = value * 10 + (text[i] - '0');
    return value;
  };
  return {.second = field(12, 2),
          .minute = field(10, 2),
          .hour = field(8, 2),
          .day = field(0, 2),
          .month = field(2, 2),
          .year = field(4, 4)};
}

OvString FormatTimestamp(const struct tm& fields) {
  // Years beyond four digits only lengthen the text, and the last one that the fields can hold is
  // larger than any int; the buffer holds all of them.
  char text[80];
  const int length = snprintf(text, sizeof(text), "%2.2d%2.2d%4.4lld%2.2d%2.2d%2.2d",
                              fields.tm_mday, fields.tm_mon + 1, 1900LL + fields.tm_year,
                              fields.tm_hour, fields.tm_min, fields.tm_sec);
  return std::string_view(text, static_cast<size_t>(length));
}

struct tm LocalTime(time_t moment) {
  struct tm fields = {};
  if (localtime_r(&moment, &fields) == nullptr) fields = {};
  return fields;
}

}  // namespace zem
