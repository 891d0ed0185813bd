// SPDX-License-Identifier: BSD-2-Clause
#include "output/table.h"

#include <algorithm>
#include <string_view>

#include "model/printable.h"
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
  std::vector<std::string> header;
  std::vector<bool> shown;
  for (const auto& member : *first) {
    shown.push_back(SaysSomething(list, member.first));
    if (shown.back()) header.push_back(Label(member.first, *first));
  }
  std::vector<std::vector<Cell>> rows;
  for (const Value& item : list) {
    std::vector<Cell>& row = rows.emplace_back();
    size_t column = 0;
    for (const auto& [name, value] : *item.As<Record>()) {
      if (!shown[column++]) continue;
      row.push_back({ReadableLeaf(value), Tone::kPlain, IsFigure(value)});
    }
  }
  return Columned(header, rows, style);
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

std::string Columned(const std::vector<std::string>& header,
                     const std::vector<std::vector<Cell>>& rows, const Style& style) {
  std::vector<size_t> widths;
  for (const std::string& title : header) widths.push_back(Columns(title));
  for (const std::vector<Cell>& row : rows) {
    for (size_t i = 0; i < row.size() && i < widths.size(); ++i) {
      widths[i] = std::max(widths[i], Columns(row[i].text));
    }
  }
  const auto append_row = [&](const std::vector<Cell>& row, std::string* text) {
    for (size_t i = 0; i < row.size() && i < widths.size(); ++i) {
      const std::string padding = Padding(Columns(row[i].text), widths[i]);
      if (i > 0) *text += "  ";
      if (row[i].right) *text += padding;
      *text += style(row[i].tone, row[i].text);
      if (!row[i].right && i + 1 < row.size()) *text += padding;
    }
    *text += '\n';
  };
  std::string text;
  std::vector<Cell> titles;
  for (size_t i = 0; i < header.size(); ++i) {
    const bool right = !rows.empty() && i < rows[0].size() && rows[0][i].right;
    titles.push_back({header[i], Tone::kBold, right});
  }
  append_row(titles, &text);
  for (const std::vector<Cell>& row : rows) append_row(row, &text);
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
