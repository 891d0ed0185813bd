// SPDX-License-Identifier: BSD-2-Clause
// The masks, macros and walks of the file checks over a small tree: they agree with slow ones that
// ask every question anew.
//
// An input is lines: a path, a mask, a name to hold against it, then numbers (the mode of a count,
// its limit, whether sub-folders count, the attributes searched for).
#include <algorithm>
#include <string>
#include <vector>

#include "checks/files/count_files.h"
#include "checks/files/directory_walker.h"
#include "checks/files/file_macros.h"
#include "checks/files/folder_size.h"
#include "checks/files/name_mask.h"
#include "fuzz.h"
#include "inside.h"
#include "protocol/agent_request.h"
#include "small_tree.h"
#include "text/path.h"
#include "walk_model.h"

namespace zem {
namespace {

constexpr time_t kNow = 1'100'000'000;

// Every cell of the table of prefixes. Without bracket expressions; a backslash at the very end is
// left open, as systems differ.
bool SlowMask(const std::string& mask, const std::string& name) {
  std::vector<bool> row(name.size() + 1, false);  // row[j]: the mask so far matches j bytes
  row[0] = true;
  for (size_t i = 0; i < mask.size(); ++i) {
    std::vector<bool> next(row.size(), false);
    const bool star = mask[i] == '*';
    const bool any = mask[i] == '?';
    if (mask[i] == '\\') ++i;
    for (size_t j = 0; j < row.size(); ++j) {
      if (star) next[j] = row[j] || (j > 0 && next[j - 1]);
      if (!star && j > 0) next[j] = row[j - 1] && (any || mask[i] == name[j - 1]);
    }
    row = next;
  }
  return row.back();
}

void TryMask(const std::string& mask, const std::string& name) {
  const NameMask real{OvString(mask)};
  const std::string plain = name.c_str();  // NOLINT: a name ends at its first zero byte
  const bool matches = real.Matches(plain.c_str());
  FUZZ_CHECK(matches == real.Matches(plain.c_str()));
  FUZZ_CHECK(NameMask("*").Matches(plain.c_str()));
  if (mask.find('\0') != mask.npos) {
    FUZZ_CHECK(!matches);
  } else if (mask.find('[') == mask.npos && !mask.ends_with('\\')) {
    FUZZ_CHECK(matches == SlowMask(mask, plain));
  }
}

std::vector<model::Entry> SearchAll(const std::string& folder, const std::string& mask,
                                    uint32_t requested) {
  std::vector<model::Entry> found;
  SearchRecord record;
  for (int result = FindFirst(OvString(folder), OvString(mask), requested, &record); result == 0;
       result = FindNext(&record)) {
    found.push_back({record.name, record.time, record.size, record.attributes});
  }
  FindClose(&record);
  return found;
}

void TryMacros(const std::string& path) {
  const OvString resolved = ResolveFileMacros(OvString(path));
  FUZZ_CHECK(resolved == model::ResolveMacros(path));
  // What a mask finds first is the first of all that it finds, folders aside.
  const std::string folder(ExtractFilePath(path).View());
  const std::vector<model::Entry> all =
      model::Search(folder, std::string(ExtractFileName(path).View()), attribute::kNoDirectories);
  FUZZ_CHECK(FindFirstMatchingFile(OvString(path)) == (all.empty() ? "" : folder + all[0].name));
}

void TryWalks(const std::string& path, const std::string& mask, const CountQuery& query,
              uint32_t requested) {
  const bool deep = query.with_subfolders;
  FUZZ_CHECK(SearchAll(path, mask, requested) == model::Search(path, mask, requested));
  FUZZ_CHECK(MeasureFolder(OvString(path), deep).value_or(-1) == model::FolderSize(path, deep));
  const int64_t count = CountFiles(OvString(path), OvString(mask), query, kNow).value_or(-1);
  FUZZ_CHECK(count ==
             model::CountFiles(path, mask, deep, static_cast<int>(query.mode), query.limit, kNow));
}

// Nothing with a zero byte in it names anything; the models could not say so.
void TryZeroBytes(const std::string& path, const std::string& mask, const CountQuery& query) {
  (void)ResolveFileMacros(OvString(path));
  const bool path_holds = path.find('\0') != path.npos;
  FUZZ_CHECK(FindFirstMatchingFile(OvString(path)).IsEmpty() || !path_holds);
  FUZZ_CHECK(!MeasureFolder(OvString(path), query.with_subfolders) || !path_holds);
  const std::optional<int64_t> count = CountFiles(OvString(path), OvString(mask), query, kNow);
  FUZZ_CHECK(!count || (!path_holds && *count == 0));
}

}  // namespace
}  // namespace zem

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  [[maybe_unused]] static const bool filled = (zem::PutSmallTree(), true);
  const zem::AgentRequest lines(zem::Text(data, size));
  const std::string path(lines.GetLine(1).View());
  const std::string mask(lines.GetLine(2).View());
  const std::string name(lines.GetLine(3).View());
  const auto mode = static_cast<uint32_t>(lines.GetNumberLine(4).value_or(0)) % 6;
  // Narrow: the slow count would overflow.
  const auto limit = static_cast<int16_t>(lines.GetNumberLine(5).value_or(0));
  const zem::CountQuery query = {.mode = static_cast<zem::CountMode>(mode),
                                 .limit = limit,
                                 .with_subfolders = lines.GetFlagLine(6)};
  const auto requested = static_cast<uint32_t>(lines.GetNumberLine(7).value_or(63));
  const zem::Inside inside;
  zem::TryMask(mask, name);
  if ((path + mask).find('\0') != std::string::npos) {
    zem::TryZeroBytes(path, mask, query);
  } else {
    zem::TryMacros(path);
    zem::TryWalks(path, mask, query, requested);
  }
  return 0;
}
