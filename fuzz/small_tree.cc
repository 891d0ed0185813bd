// SPDX-License-Identifier: BSD-2-Clause
#include "small_tree.h"

#include <ctime>
#include <string>

#include "memory_tree.h"

namespace zem {

namespace {

// Times: "newest" and "oldest" have to have an answer, some are equal, and one entry lies at the
// epoch, where a choice is special. Modes: what may not be written counts as read-only, and there
// is a folder that cannot be listed and one whose entries cannot be looked at.
struct Item {
  const char* path;
  const char* contents;  // null = a folder
  time_t time;
  mode_t mode = 0;  // 0 = as usual
};
constexpr Item kTree[] = {
    {"/tree", nullptr, 1'000'000'000},
    {"/tree/.hidden", nullptr, 1'300'000'000},
    {"/tree/sub", nullptr, 1'200'000'000},
    {"/tree/sub/*.log", nullptr, 1'100'000'000},
    {"/tree/one.log", "the cat sat on a mat\n", 1'000'000'000},
    {"/tree/two.txt", "cat", 1'100'000'000},
    {"/tree/epoch", "x", 0},
    {"/tree/[a-c]", "1\n2\n3\n", 1'050'000'000},
    {"/tree/.hidden/four.log", "12345", 1'050'000'000},
    {"/tree/.hidden/same", "1", 1'050'000'000},
    {"/tree/sub/three.log", "the cat sat on a mat\nand stayed\n", -60},
    {"/tree/sub/same", "1234", -60, 0444},
    {"/tree/sub/empty", "", 1'050'000'000},
    {"/tree/sub/*.log/in", "333", 1'050'000'000, 0200},
    {"/tree/kept", nullptr, 1'150'000'000, 0555},
    {"/tree/kept/read", "read-only", 1'150'000'000, 0444},
    {"/tree/kept/.unlisted", nullptr, 1'150'000'000, 0311},
    {"/tree/kept/.unlisted/in", "22", 1'150'000'000},
    {"/tree/kept/unseen", nullptr, 1'150'000'000, 0644},
    {"/tree/kept/unseen/in", "22", 1'150'000'000},
};

}  // namespace

void PutSmallTree() {
  constexpr mode_t kListed = 0755;
  constexpr mode_t kWritable = 0644;
  for (const Item& item : kTree) {
    if (item.contents == nullptr) {
      PutFolder(item.path, kListed, item.time);
    } else {
      PutFile(item.path, item.contents, item.mode != 0 ? item.mode : kWritable, item.time);
    }
  }
  PutFile("/tree/block", std::string(20480, 'b'), kWritable, 1'050'000'000);
  PutPipe("/tree/pipe");
  PutLink("/tree/link", "one.log");
  PutLink("/tree/dangling", "nowhere");
  PutLink("/tree/sub/round", "..");
  LeaveKindsUntold("/tree/.hidden");
  Freeze("/tree");
  // Last: nothing can be put into these.
  for (const Item& item : kTree) {
    if (item.contents == nullptr && item.mode != 0) SetMode(item.path, item.mode);
  }
}

}  // namespace zem
