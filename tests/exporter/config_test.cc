// SPDX-License-Identifier: BSD-2-Clause
// What the exporter is told: targets, rules, the configuration.
#include "config.h"

#include <gtest/gtest.h>

#include "temp_dir.h"

namespace zem::exporter {
namespace {

TEST(TargetTest, OneSpellingOrNone) {
  const struct {
    const char* text;
    const char* spelled;  // nullptr = refused
  } kCases[] = {
      {"web1", "web1:1055"},
      {"Web1.Example.COM.:99", "web1.example.com:99"},
      {"10.1.2.3", "10.1.2.3:1055"},
      {"::ffff:10.1.2.3", "10.1.2.3:1055"},
      {"[2001:DB8:0::1]:65535", "[2001:db8::1]:65535"},
      {"2001:db8::1", "[2001:db8::1]:1055"},
      {"3com.1a", "3com.1a:1055"},
      // What the system would take for an address.
      {"2130706433", nullptr},
      {"127.1", nullptr},
      {"0x7f.0x1", nullptr},
      {"web.0x7f000001", nullptr},
      {"010.0.0.01", nullptr},
      {"", nullptr},
      {"web1:", nullptr},
      {"web1:0", nullptr},
      {"web1:65536", nullptr},
      {"web1:1:2", nullptr},
      {"web1:1055x", nullptr},
      {"[::1", nullptr},
      {"[::1]1055", nullptr},
      {"[web1]:1", nullptr},
      {"fe80::1%eth0", nullptr},
      {".web1", nullptr},
      {"web1..example", nullptr},
      {"-oProxy", nullptr},
      {"we b", nullptr},
      {"web1\n", nullptr},
      {"user@web1", nullptr},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.text);
    try {
      EXPECT_EQ(ParseTarget(c.text).Text(), c.spelled == nullptr ? "refused" : c.spelled);
    } catch (const std::invalid_argument&) {
      EXPECT_EQ(c.spelled, nullptr);
    }
  }
  EXPECT_THROW((void)ParseTarget(std::string_view("10.0.0.1\0.example", 17)),
               std::invalid_argument);
}

TEST(TargetTest, RulesAdmitWhatTheyListAndNothingElse) {
  const struct {
    const char* pattern;
    const char* target;
    bool admitted;
  } kCases[] = {
      {"web1.example.com", "WEB1.example.com.", true},
      {"web1.example.com", "web1.example.com.evil.org", false},
      {"*.example.com", "a.b.example.com", true},
      {"*.example.com", "example.com", false},
      {"*.example.com", "evilexample.com", false},
      {"10.0.0.0/8", "10.255.255.255", true},
      {"10.0.0.0/8", "11.0.0.0", false},
      {"10.0.0.0/8", "::ffff:10.1.1.1", true},
      {"10.0.0.128/25", "10.0.0.127", false},
      {"10.0.0.128/25", "10.0.0.200", true},
      {"10.0.0.0/8", "10.example", false},
      {"10.0.0.1", "10.0.0.1", true},
      {"10.0.0.1", "10.0.0.2", false},
      {"0.0.0.0/0", "2001:db8::1", false},
      {"::/0", "10.0.0.1", false},
      {"2001:db8::/33", "2001:db8:8000::", false},
      {"2001:db8::/33", "2001:db8:7fff::", true},
      {"web1", "web1:22", false},  // another program's port
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(std::string(c.pattern) + " and " + c.target);
    const TargetRule rule = {{Pattern::Parse(c.pattern)}, {kDefaultPort}, "a"};
    EXPECT_EQ(rule.Admits(ParseTarget(c.target)), c.admitted);
  }
  for (const char* bad :
       {"*", "*.", "10.0.0.1/8", "10.0.0.0/33", "10.0.0.0/", "::/129", "a*b", ""}) {
    EXPECT_THROW((void)Pattern::Parse(bad), std::invalid_argument) << bad;
  }
}

constexpr const char* kGood =
    "auths: {main: /secret/path}\n"
    "targets:\n"
    "  - {match: [10.0.0.0/8], auth: main}\n"
    "modules:\n"
    "  all:\n";

Config Parse(const std::string& text) {
  return ParseConfig(text, "f.yml", [](const std::string& path) {
    if (path == "/missing") throw std::runtime_error("cannot read /missing: gone");
    return client::Secret("hunter2");
  });
}

TEST(ConfigTest, SaysWhichLineIsWrongAndNeverASecret) {
  const std::string good = kGood;
  const struct {
    std::string text;
    const char* said;
  } kCases[] = {
      {good + "    - cpus: {}\n", "f.yml:6: \"cpus\" is no kind"},
      {good + "    - disk: {}\n", "f.yml:6: the check disk needs \"paths\""},
      {good + "    - disk: {paths: []}\n", "f.yml:6: paths is empty"},
      {good + "    - disk: {paths: [/, [/]]}\n", "f.yml:6: paths has to be a text"},
      {good + "    - cpu: {}\n      disk: {}\n", "f.yml:6: a check has to be one kind"},
      {good + "    - cpu: {}\n    - cpu: {}\n", "f.yml:7: a second check \"cpu\""},
      {good + "    - du:\n        paths: /\n        paths: /a\n", "f.yml:8: \"paths\" stands here"},
      {good + "    - du: {paths: /, recursive: 1}\n", "f.yml:6: recursive has to be true or false"},
      {good + "    - count: {folder: /, older: 1, newer: 2}\n", "f.yml:6: count: one of --older"},
      {good + "    - tcp: {targets: 'db'}\n", "f.yml:6: tcp: targets are HOST:PORT"},
      {good + "    - tcp: {targets: ':80'}\n", "f.yml:6: tcp: targets are HOST:PORT"},
      {good + "    - cpu: {timeout: 0}\n", "f.yml:6: timeout has to be above 0"},
      {"auths: {a: hunter2}\n", "f.yml:1: the password file of auth \"a\" has to be named"},
      {"auths:\n  a: /missing\n", "f.yml:2: the password file of auth \"a\": cannot read it: gone"},
      {"auths:\n  a: [hunter2\n", "this is no YAML"},
      {"targets: [{match: a, auth: hunter2}]\nmodules: {}\n", "f.yml:1: auth has to be one of"},
      {"# nothing\n", "f.yml:1: there are no targets"},
      {"colour: blue\n", "f.yml:1: \"colour\" is none of"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.text);
    std::string said = "nothing";
    try {
      (void)Parse(c.text);
    } catch (const std::runtime_error& error) {
      said = error.what();
    }
    EXPECT_TRUE(Holds(said, c.said)) << said;
    EXPECT_FALSE(Holds(said, "hunter2") || Holds(said, "/missing")) << said;
  }
}

TEST(ConfigTest, ShownWithoutSecretsAndReadWithoutThem) {
  const Config config = Parse(std::string(kGood) + "    - disk: {paths: [/, /var]}\n");
  EXPECT_TRUE(Holds(config.shown, "/var"));
  EXPECT_FALSE(Holds(config.shown, "/secret/path") || Holds(config.shown, "hunter2"));
  EXPECT_EQ(config.modules.at("all").at(1).label, "disk /var");

  const TempDir dir;
  WriteFile(dir / "pw", "hunter2\n");
  chmod((dir / "pw").c_str(), 0644);
  EXPECT_THROW((void)ReadPassword(dir / "pw"), std::runtime_error);
  chmod((dir / "pw").c_str(), 0600);
  EXPECT_EQ(ReadPassword(dir / "pw").View(), "hunter2");
}

TEST(ChecksTest, TimeOfAFileWhateverTheZone) {
  const time_t now = 1'800'000'000;  // 2027-01-15 08:00:00 UTC
  const struct {
    const char* local;
    double age;  // minutes, cut off
    double expected;
  } kCases[] = {
      {"2027-01-15T07:59:15", 0, 1'799'999'955},        // UTC
      {"2027-01-15T13:44:15", 0, 1'799'999'955},        // 5:45 ahead
      {"2027-01-14T22:29:15", 0, 1'799'999'955},        // 9:30 behind
      {"2027-01-15T08:59:01", 0, 1'799'999'941},        // 1:00 ahead, almost a minute old
      {"2026-07-15T10:00:00", 264'960, 1'784'102'400},  // 2:00 ahead then, in summer
  };
  for (const auto& c : kCases) EXPECT_EQ(ModifiedAt(c.local, c.age, now), c.expected) << c.local;
}

}  // namespace
}  // namespace zem::exporter
