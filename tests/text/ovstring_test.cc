// SPDX-License-Identifier: BSD-2-Clause
#include "text/ovstring.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>

namespace zem {
namespace {

std::string Str(std::string_view text) {
  return std::string(text);
}

TEST(OvString, FixedFormCutsSilentlyAndIsKeptByAssignment) {
  OvString text = OvString::Fixed(5);
  text.Append("abc").Append("defg");
  EXPECT_EQ(text, "abcde");
  text.Append("x").AppendInt(7);
  EXPECT_EQ(text, "abcde");
  text = OvString("12345678");
  EXPECT_EQ(text, "12345");
  text.ReplaceAll("5", "five");
  EXPECT_EQ(text, "1234f");
  text.Resize(9);
  EXPECT_EQ(text.Length(), 5U);
  EXPECT_EQ(text.Capacity(), 5U);

  OvString copy = text;
  OvString moved = std::move(text);
  for (OvString* other : {&copy, &moved}) {
    EXPECT_TRUE(other->IsFixed());
    EXPECT_EQ(other->Assign("abcdefg"), "abcde");
  }
  // A growable string stays growable, whatever it is given.
  OvString growable("old");
  growable = copy;
  growable.Append("fgh");
  EXPECT_EQ(growable, "abcdefgh");
  growable = std::move(copy);
  growable.Append("fgh");
  EXPECT_EQ(growable, "abcdefgh");
  OvString nothing = OvString::Fixed(0);
  EXPECT_EQ(nothing.Append("a"), "");
}

TEST(OvString, PositionsCountFromOneAndMayLieOutside) {
  const OvString text("a,b,,c");
  EXPECT_EQ(text.Find(','), 2U);
  EXPECT_EQ(text.Find(',', 3), 4U);
  EXPECT_EQ(text.Find("c", 6), 6U);
  EXPECT_EQ(text.Find("c", 7), 0U);
  EXPECT_EQ(text.Find(',', 0), 0U);
  EXPECT_EQ(text.Find(""), 0U);
  EXPECT_EQ(text.Find(",,c,"), 0U);
  const struct {
    size_t first, last;
    const char* expected;
  } slices[] = {{1, 1, "a"}, {0, 2, "a,"}, {6, 99, "c"}, {7, 9, ""}, {3, 2, ""}, {0, 0, ""}};
  for (const auto& c : slices) EXPECT_EQ(text.Substring(c.first, c.last), c.expected) << c.first;
  const char* items[] = {"", "a", "b", "", "c", "", ""};
  for (size_t i = 0; i < std::size(items); ++i) EXPECT_EQ(text.Item(i, ","), items[i]) << i;
  EXPECT_EQ(text.Item(2, ",,"), "c");
  EXPECT_EQ(text.Item(1, ""), "");
  EXPECT_EQ(OvString().Item(1, ","), "");
}

TEST(OvString, TrimsEveryByteUpTo32AndNoOther) {
  using std::string_view_literals::operator""sv;
  const struct {
    std::string_view text, expected;
  } cases[] = {{" \t\r\n\x01\x1f a b\0 "sv, "a b"},
               {"\0a\0b\0"sv, "a\0b"sv},
               {"!\x7f\xff", "!\x7f\xff"},
               {"\xff ", "\xff"},
               {"  ", ""},
               {"", ""}};
  for (const auto& c : cases) {
    EXPECT_EQ(Str(OvString(c.text).Trim()), c.expected);
    EXPECT_EQ(Trimmed(c.text), c.expected);
  }
  EXPECT_EQ(OvString("AZaz@[\xC4").LowerCase(), "azaz@[\xC4");
  EXPECT_TRUE(EqualsIgnoringCase("AbZ", "aBz"));
  EXPECT_FALSE(EqualsIgnoringCase("@", "`"));
  EXPECT_FALSE(EqualsIgnoringCase("ab", "abc"));
}

TEST(OvString, WipeLeavesNoByteBehind) {
  OvString secret("a long enough secret");
  secret.Truncate(3);
  const char* bytes = secret.CStr();
  const size_t capacity = secret.Capacity();
  secret.Wipe();
  EXPECT_TRUE(secret.IsEmpty());
  EXPECT_TRUE(std::all_of(bytes, bytes + capacity, [](char byte) { return byte == '\0'; }));
}

// A view into the very text that is changed, whether its buffer moves or not.
TEST(OvString, TakesPartsOfItself) {
  for (const size_t length : {3U, 63U, 64U, 127U, 128U, 300U}) {
    SCOPED_TRACE(length);
    std::string model(length, 'a');
    model[1] = 'b';
    OvString text(model);
    const auto expect = [&](const std::string& expected) {
      model = expected;
      EXPECT_EQ(text, model);
      EXPECT_EQ((text.Capacity() + 1) % 128, 0U);
      EXPECT_LE(text.Length(), text.Capacity());
      EXPECT_EQ(text.CStr()[text.Length()], '\0');
    };
    expect(model);
    text.Append(text.View().substr(1));
    expect(model + model.substr(1));
    text.Assign(text.View().substr(1));
    expect(model.substr(1));
    text.ReplaceAll(text.View().substr(0, 2), "ba, ");
    expect("ba, " + std::string(length - 3, 'a') + "ba, " + std::string(length - 3, 'a'));
    text.Resize(length);
    expect(model.substr(0, length));
    text.Truncate(length + 1);
    expect(model);
    text.Resize(length + 200);
    expect(model + std::string(200, '\0'));
    text = OvString(text);
    expect(model);
    for (int i = 0; i < 130; ++i) {  // the room ends at every length
      text.Append("x");
      expect(model + "x");
    }
  }
  OvString nothing;
  nothing.Truncate(0);
  EXPECT_EQ(nothing, "");
}

}  // namespace
}  // namespace zem
