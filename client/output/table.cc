// SPDX-License-Identifier: BSD-2-Clause
#include "output/table.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "model/printable.h"
#include "model/words.h"
#include "output/units.h"

namespace zem::client {

namespace {

bool HasMember(const Record& record, std::string_view name) {
  return std::any_of(record.begin(), record.end(),
                     [name](const auto& member) { return member.first == name; });
}

// "free_bytes" reads as "free", since the unit stands beside the value; but not beside a member
// of that name.
std::string Label(std::string_view name, const Record& record) {
  for (const std::string_view unit : {"_bytes", "_ms", "_min"}) {
    if (name.size() <= unit.size() || !name.ends_with(unit)) continue;
    const std::string_view bare = name.substr(0, name.size() - unit.size());
    if (!HasMember(record, bare)) name = bare;
    break;
  }
  std::string label(name);
  std::replace(label.begin(), label.end(), '_', ' ');
  return label;
}

std::string Padding(size_t columns, size_t width) {
  return std::string(width > columns ? width - columns : 0, ' ');
}

bool IsFigure(const Value& value) {
  return value.As<int64_t>() != nullptr || value.As<double>() != nullptr;
}

// A record of switches reads as two lists.
bool HoldsFlagsAlone(const Record& record) {
  return !record.empty() && std::all_of(record.begin(), record.end(), [](const auto& member) {
    return member.second.template As<bool>() != nullptr;
  });
}

std::string NamesOf(const Record& record, bool wanted) {
  std::string names;
  for (const auto& [name, value] : record) {
    if (*value.As<bool>() != wanted) continue;
    if (!names.empty()) names += ", ";
    names += Printable(name);
  }
  return names.empty() ? "none" : names;
}

// A column of switches that are all off is left out.
bool SaysSomething(const List& list, std::string_view name) {
  return std::any_of(list.begin(), list.end(), [name](const Value& item) {
    const bool* flag = item[name].As<bool>();
    return flag == nullptr || *flag;
  });
}

std::string ReadableList(const List& list, const Style& style) {
  if (list.empty()) return "";
  const auto* first = list.front().As<Record>();
  if (first == nullptr) {
    std::string text;
    for (const Value& item : list) text += ReadableLeaf(item) + '\n';
    return text;
  }
  std::vector<Row> rows(1);
  std::vector<bool> shown;
  for (const auto& member : *first) {
    shown.push_back(SaysSomething(list, member.first));
    if (shown.back()) rows[0].push_back({Label(member.first, *first)});
  }
  for (const Value& item : list) {
    Row& row = rows.emplace_back();
    size_t column = 0;
    for (const auto& [name, value] : *item.As<Record>()) {
      if (!shown[column++]) continue;
      row.push_back({ReadableLeaf(value), Tone::kPlain, IsFigure(value)});
    }
  }
  return Columned(std::move(rows), style);
}

bool IsFlatList(const Value& value) {
  return value.As<List>() != nullptr && value.HowShown() == Form::kFlat;
}

std::string Joined(const List& list) {
  std::string text;
  for (const Value& item : list) {
    if (!text.empty()) text += ", ";
    text += ReadableLeaf(item);
  }
  return text;
}

// What begins at `column` and goes on below itself, between words, where there is no room left.
std::string Folded(std::string_view text, size_t column, size_t room) {
  std::string folded;
  size_t at = column;
  for (std::string_view word; TakePiece(&text, " ", &word);) {
    if (at > column && at + 1 + Columns(word) > room) {
      folded += '\n' + std::string(column, ' ');
      at = column;
    } else if (!folded.empty()) {
      folded += ' ';
      ++at;
    }
    folded += word;
    at += Columns(word);
  }
  return folded;
}

struct Line {
  std::string label;
  std::string text;
};

void AppendLines(const Record& record, const std::string& prefix, std::vector<Line>* lines) {
  for (const auto& [name, value] : record) {
    const std::string label = prefix + Label(name, record);
    if (const auto* inner = value.As<Record>()) {
      if (HoldsFlagsAlone(*inner)) {
        lines->push_back({label + " on", NamesOf(*inner, true)});
        lines->push_back({label + " off", NamesOf(*inner, false)});
      } else {
        AppendLines(*inner, value.HowShown() == Form::kFlat ? prefix : label + ' ', lines);
      }
    } else if (IsFlatList(value)) {
      lines->push_back({label, Joined(*value.As<List>())});
    } else if (value.As<List>() == nullptr && !value.IsNull()) {
      lines->push_back({label, ReadableLeaf(value)});
    }
  }
}

}  // namespace

std::vector<size_t> Widths(const std::vector<Row>& rows) {
  std::vector<size_t> widths(rows.front().size());
  for (const Row& row : rows) {
    for (size_t i = 0; i < std::min(row.size(), widths.size()); ++i) {
      widths[i] = std::max(widths[i], Columns(row[i].text));
    }
  }
  return widths;
}

std::string RowText(const Row& row, const std::vector<size_t>& widths, const Style& style,
                    size_t room) {
  constexpr size_t kGap = 2;
  constexpr size_t kLeastRoom = 32;  // for what may be folded
  size_t ahead = 0;                  // of the last one
  for (size_t i = 0; i + 1 < widths.size(); ++i) ahead += widths[i] + kGap;
  std::string text;
  size_t at = 0;
  for (size_t i = 0; i < std::min(row.size(), widths.size()); ++i) {
    const Cell& cell = row[i];
    const bool last = i + 1 == row.size();
    // In a narrow terminal the columns are given up.
    const size_t least = (last && !cell.right) || ahead > room ? 0 : widths[i];
    const std::string padding = Padding(Columns(cell.text), least);
    const size_t width = Columns(cell.text) + padding.size();
    if (i > 0) {
      const bool fits = at + kGap + (last ? std::min(width, kLeastRoom) : width) <= room;
      text += fits ? "  " : "\n  ";
      at = fits ? at + kGap : kGap;
    }
    if (cell.right) text += padding;
    text += style(cell.tone, last && at + width > room ? Folded(cell.text, at, room) : cell.text);
    if (!cell.right) text += padding;
    at += width;
  }
  return text + '\n';
}

std::string Columned(std::vector<Row> rows, const Style& style, size_t room) {
  Row& header = rows.front();
  for (size_t i = 0; i < header.size(); ++i) {
    header[i].tone = Tone::kBold;
    header[i].right = rows.size() > 1 && i < rows[1].size() && rows[1][i].right;
  }
  const std::vector<size_t> widths = Widths(rows);
  std::string text;
  for (const Row& row : rows) text += RowText(row, widths, style, room);
  return text;
}

std::string ReadableResult(const Value& result, const Style& style) {
  const auto* record = result.As<Record>();
  if (record == nullptr) return "";
  std::vector<Line> lines;
  AppendLines(*record, "", &lines);
  size_t width = 0;
  for (const Line& line : lines) width = std::max(width, Columns(line.label));
  std::string text;
  for (const Line& line : lines) {
    text += style(Tone::kFaint, line.label) + Padding(Columns(line.label), width + 2) + line.text;
    text += '\n';
  }
  for (const auto& [name, value] : *record) {
    const auto* list = value.As<List>();
    if (list == nullptr || list->empty() || IsFlatList(value)) continue;
    if (!text.empty()) text += '\n';
    text += ReadableList(*list, style);
  }
  return text;
}

}  // namespace zem::client
