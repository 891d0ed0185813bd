// SPDX-License-Identifier: BSD-2-Clause
#include "text/ovstring.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>

namespace zem {
namespace {

constexpr size_t kStep = 128;

std::string Str(std::string_view text) {
  return std::string(text);
}

// What holds after every operation: a terminating zero, and room that is a multiple of the step.
void ExpectWellFormed(const OvString& text) {
  EXPECT_EQ(text.CStr()[text.Length()], '\0');
  EXPECT_LE(text.Length(), text.Capacity());
  EXPECT_TRUE(text.IsFixed() || text.Capacity() == 0 || (text.Capacity() + 1) % kStep == 0);
}

TEST(OvString, GrowsToTheNextMultipleOf128StrictlyAboveItsNeed) {
  const struct {
    size_t length;
    size_t allocated;
  } cases[] = {{1, 128}, {126, 128}, {127, 128}, {128, 256}, {255, 256}, {256, 384}, {1000, 1024}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.length);
    const std::string bytes(c.length, 'x');
    OvString appended;
    for (const char byte : bytes) appended.Append(byte);
    OvString resized;
    resized.Resize(c.length);
    for (const OvString* text : {&appended, &resized}) {
      EXPECT_EQ(text->Capacity() + 1, c.allocated);
      for (size_t i = text->Length(); i < c.allocated; ++i) EXPECT_EQ(text->CStr()[i], '\0');
    }
    EXPECT_EQ(OvString(bytes).Capacity() + 1, c.allocated);
  }
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

// The same operation on the text and on a std::string; every operand may be a part of the text
// itself.
class Pair {
 public:
  Pair(uint32_t seed, size_t limit)
      : random_(seed),
        limit_(limit),
        text_(limit == std::string::npos ? OvString() : OvString::Fixed(limit)) {}

  void Step() {
    const size_t first = Below(model_.size() + 2);
    // A view into the very text that is changed, or fresh bytes of an alphabet that repeats.
    const bool own = Below(2) == 0;
    const std::string fresh = RandomText();
    const std::string_view operand =
        own ? text_.View().substr(std::min(first, model_.size()), Below(40))
            : std::string_view(fresh);
    const std::string operand_copy(operand);
    switch (Below(9)) {
      case 0:
        text_.Assign(operand);
        model_ = operand_copy;
        break;
      case 1:
      case 2:
      case 3:
        text_.Append(operand);
        model_ += operand_copy;
        break;
      case 4:
        text_.Resize(first + 100);
        model_.resize(first + 100);
        break;
      case 5:
        text_.Truncate(first);
        model_.resize(std::min(first, model_.size()));
        break;
      case 6:
        text_.Trim();
        model_ = Str(Trimmed(std::string(model_)));
        break;
      case 7:
        text_.ReplaceAll(operand, "b, ");
        model_ = Replaced(model_, operand_copy, "b, ");
        break;
      default:
        text_ = OvString(text_);
        break;
    }
    model_.resize(std::min(model_.size(), limit_));
    ExpectWellFormed(text_);
    ASSERT_EQ(Str(text_), model_);
    const size_t found = first == 0 ? std::string::npos : model_.find(fresh, first - 1);
    const bool none = fresh.empty() || first > model_.size() || found == std::string::npos;
    ASSERT_EQ(text_.Find(fresh, first), none ? 0 : found + 1);
  }

 private:
  size_t Below(size_t limit) { return random_() % limit; }
  std::string RandomText() {
    std::string text(Below(12), ' ');
    for (char& byte : text) byte = std::string_view("ab, \0", 5)[Below(5)];
    return text;
  }
  static std::string Replaced(const std::string& text, const std::string& from,
                              const std::string& to) {
    std::string result;
    for (size_t i = 0; i < text.size();) {
      const bool here = !from.empty() && text.compare(i, from.size(), from) == 0;
      result += here ? to : text.substr(i, 1);
      i += here ? from.size() : 1;
    }
    return result;
  }

  std::mt19937 random_;
  const size_t limit_;
  OvString text_;
  std::string model_;
};

TEST(OvString, BehavesAsAnOrdinaryStringDoes) {
  for (const size_t limit : {std::string::npos, size_t{0}, size_t{1}, size_t{50}, size_t{300}}) {
    for (uint32_t seed = 1; seed <= 20; ++seed) {
      SCOPED_TRACE(testing::Message() << "limit " << limit << ", seed " << seed);
      Pair pair(seed, limit);
      for (int i = 0; i < 500 && !testing::Test::HasFatalFailure(); ++i) pair.Step();
    }
  }
}

}  // namespace
}  // namespace zem
