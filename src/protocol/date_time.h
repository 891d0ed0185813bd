// SPDX-License-Identifier: BSD-2-Clause
// The time stamp of requests and replies: 14 digits, DDMMYYYYhhmmss, local time.
//
// Threads: any; pure functions but for the time zone that the process was started with.

#ifndef ZEM_PROTOCOL_DATE_TIME_H_
#define ZEM_PROTOCOL_DATE_TIME_H_

#include <ctime>
#include <string_view>

#include "text/ovstring.h"

namespace zem {

struct DateTimeFields {
  int second = 0;
  int minute = 0;
  int hour = 0;
  int day = 0;
  int month = 0;  // 1 to 12
  int year = 0;   // four digits, not offset
};

// Deliberate: the characters are not checked to be digits. Any other length than 14 gives zeros.
DateTimeFields ParseTimestamp(std::string_view text);

OvString FormatTimestamp(const struct tm& fields);

// Local time of a moment; all zero for a moment the calendar cannot express.
struct tm LocalTime(time_t moment);

}  // namespace zem

#endif  // ZEM_PROTOCOL_DATE_TIME_H_
