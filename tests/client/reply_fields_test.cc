// SPDX-License-Identifier: BSD-2-Clause
// What agents answer, and the typed fields it becomes.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "client/client_run.h"
#include "output/table.h"
#include "wire/reply_text.h"

namespace zem::client {
namespace {

// The JSON without the blanks and line ends of its layout (the cases hold none in their values),
// and with quotes that are easier to type.
std::string Compact(const Value& value) {
  std::string json = ToJson(value);
  std::erase_if(json, [](char byte) { return byte == ' ' || byte == '\n'; });
  std::replace(json.begin(), json.end(), '"', '\'');
  return json;
}

struct Read {
  Value result;
  std::string summary;
  Verdict verdict;
};

Read ReadReply(const std::string& typed, const std::string& text) {
  int exit_code = 0;
  const Options options = test::Parse(typed, &exit_code);
  EXPECT_EQ(exit_code, -1) << typed;
  const Reply reply = ParseReply(text);
  EXPECT_TRUE(reply.IsDone());
  const Exchange exchange;
  const Answer answer = {reply, options.arguments, exchange};
  Read read;
  read.result = options.command->parse(answer);
  read.summary = options.command->summarise(answer, read.result);
  if (options.plugin) {
    read.verdict = options.command->check(answer, read.result, options.thresholds);
    if (read.verdict.text.empty()) read.verdict.text = read.summary;
  }
  return read;
}

constexpr const char* kInfo =
    "200\nAgentName=A\nAgentPlatform=P\nAgentVersion=1.32\nAgentDeveloper=D\nService=0\nActive=0\n"
    "ActiveConnections=1\nOpenedConnections=20\nFailedConnections=3\n"
    "Available tests=TCP%0D%0AUDP%0D%0A\nEnabled tests=10\nPort=1055\nTimeout=4000\n"
    "Comment=a=b\nAvailable actions=Syslog%0D%0A\nEnabled actions=0\nHostName=h\nRunningOS=o\n"
    "OSUpdates=none\n";

const std::string kSettings =
    std::string(kInfo) +
    "LogOkConn=0\nLogBadConn=1\nOkLogFile=l1\nBadLogFile=l2\nPassword=p\nIPFiltering=1\n"
    "IPFilterAddr=10.0.0.1%0D%0A10.0.0.2\nIPFilterMarks=10\nAllowUpdates=0\nAllowRManage=1\n"
    "UpdateAddr=\nManageAddr=127.0.0.1\n";

TEST(ReplyTextTest, TakesTheStatusOffOnlyWhereThereIsOne) {
  struct Case {
    const char* text;
    int status;  // 0 = none
    std::vector<std::string> lines;
  };
  const Case cases[] = {
      {"200\n", 200, {}},
      {"200", 200, {}},
      {"301\n\n0\n", 301, {"", "0"}},
      {"Wrong\n", 0, {"Wrong"}},
      {"20x\n1\n", 0, {"20x", "1"}},
      {"2000\n", 0, {"2000"}},
      {"\n200\n", 0, {"", "200"}},
      {"200\n200\n", 200, {"200"}},
      {"", 0, {}},
  };
  for (const Case& c : cases) {
    const Reply reply = ParseReply(c.text);
    EXPECT_EQ(reply.status.value_or(0), c.status) << c.text;
    EXPECT_EQ(reply.lines, c.lines) << c.text;
  }
}

// What is shown begins as its form does: JSON with a brace, a check's line with its name in
// capitals, all else is a table. The plain ones are seen with a real agent.
TEST(ReplyFieldsTest, BecomeTypedAndAreJudgedAndShown) {
  struct Case {
    std::string typed;
    std::string reply;
    std::string shown;
  };
  // 14.1 of 48 GB in use, the rest free for everybody.
  constexpr const char* kDisk = "200\n48000000000\n33900000000\n33900000000\n0\n";
  constexpr const char* kFile = "200\n2048\n05032010070809\n05032010070809\n/x\nmin\n61\n";
  const Case cases[] = {
      {"disk /x", "200\n1000\n 500\n 300\n0\n",
       "{'path':'/x','total_bytes':1000,'used_bytes':500,'free_bytes':500,"
       "'available_bytes':300,'used_percent':62.5,'free_percent':37.5,'query_ms':0}"},
      // More in use than ordinary users may use.
      {"disk /x", "200\n1000\n    20\n   -30\n7\n",
       "{'path':'/x','total_bytes':1000,'used_bytes':980,'free_bytes':20,"
       "'available_bytes':-30,'used_percent':100,'free_percent':0,'query_ms':7}"},
      {"disk /proc", "200\n     0\n     0\n     0\n0\n",
       "{'path':'/proc','total_bytes':0,'used_bytes':0,'free_bytes':0,'available_bytes':0,"
       "'used_percent':0,'free_percent':0,'query_ms':0}"},
      {"exists /x", "200\n    49\n05032010070809\n31122009235959\n/x/y\nmin\n-3\n",
       "{'path':'/x/y','size_bytes':49,'changed':'2010-03-05T07:08:09',"
       "'modified':'2009-12-31T23:59:59','age_min':-3}"},
      {"hash /x --alg crc32", "200\n873187033\n",
       "{'file':'/x','algorithm':'crc32','hash':'873187033','above_limit':false}"},
      {"hash /x", "200\nFile size 2 MB\n",
       "{'file':'/x','algorithm':'sha256','hash':null,'above_limit':true}"},
      {"procs", "200\na%0D%0Ab%0D%0Ab%0D%0A\n",
       "{'count':2,'last_line_doubled':true,'processes':['a','b']}"},
      {"procs", "200\na%0D%0Ab%0D%0A\n",
       "{'count':2,'last_line_doubled':false,'processes':['a','b']}"},
      {"tcp h 1", "200\n12\n\n", "{'time_ms':12,'received_bytes':0,'received':null}"},
      {"tcp h 1", "200\n12\nhi%0D%0A\n", "{'time_ms':12,'received_bytes':4,'received':'hi\\r\\n'}"},
      // Bytes that are no text stay valid JSON.
      {"udp h 1 x", "200\n0\n\xff\xfe\n",
       "{'time_ms':0,'received_bytes':2,'received':'\xef\xbf\xbd\xef\xbf\xbd'}"},
      {"exec --no-wait x", "200\n0\n", "{'exit_code':0,'waited':false}"},
      {"script /dev/null --lines 2", "200\nscriptres:42\na%0D%0Ab%0D%0Ac%0D%0A\n",
       "{'result':'42','marked':true,'exit_code':null,'lines':['a','b']}"},
      {"script /dev/null", "200\nzemexit:7\na%0D%0Ab%0D%0Azemexit:7%0D%0A\n",
       "{'result':'b','marked':false,'exit_code':7,'lines':[]}"},
      {"raw X", "200\na\n\nb\n", "{'lines':['a','','b']}"},
      {"ls /", "200\n/\n1\n4\n..\n16\n 1\n05032010070809\n",
       "{'folder':'/','count':0,'entries':[]}"},
      {"ls /x", "200\n/x/\n2\n4\nf\n3\n     5\n05032010070809\nd\n16\n  4096\n05032010070809\n",
       "{'folder':'/x/','count':2,'entries':[{'name':'d','type':'folder','size_bytes':4096,"
       "'modified':'2010-03-05T07:08:09','read_only':false,'hidden':false},{'name':'f',"
       "'type':'file','size_bytes':5,'modified':'2010-03-05T07:08:09','read_only':true,"
       "'hidden':true}]}"},
      // A name with a line feed, sent as it is.
      {"ls /x --ctime", "200\n/x/\n1\n5\na\nb\n4\n     0\n05032010070809\n05032010070810\n",
       "{'folder':'/x/','count':1,'entries':[{'name':'a\\nb','type':'other','size_bytes':0,"
       "'changed':'2010-03-05T07:08:09','modified':'2010-03-05T07:08:10','read_only':false,"
       "'hidden':false}]}"},
      {"info", kInfo,
       "{'name':'A','version':'1.32','platform':'P','developer':'D','host_name':'h',"
       "'running_os':'o','os_updates':'none','comment':'a=b','port':1055,'timeout_ms':4000,"
       "'connections':{'active':1,'opened':20,'rejected':3},'tests':{'TCP':true,'UDP':false},"
       "'actions':{'Syslog':false}}"},
      {"settings get", kSettings,
       "{'settings':{'Port':1055,'Timeout':4000,'Comment':'a=b','LogOkConn':false,"
       "'LogBadConn':true,'OkLogFile':'l1','BadLogFile':'l2','Password':'p',"
       "'IPFiltering':true,'IPFilterAddr':'10.0.0.110.0.0.2','IPFilterMarks':'10',"
       "'AllowUpdates':false,'AllowRManage':true,'UpdateAddr':'','ManageAddr':'127.0.0.1'},"
       "'tests':{'TCP':true,'UDP':false},'actions':{'Syslog':false}}"},
      {"disk --path / -w 20% -c 10%", kDisk,
       "DISK OK - / 31.6 GiB free (71%) | "
       "'/'=14100000000B;38400000000;43200000000;0;48000000000"},
      {"disk / -w 80% -c 10%", kDisk,
       "DISK WARNING - / 31.6 GiB free (71%) | "
       "'/'=14100000000B;9600000000;43200000000;0;48000000000"},
      {"disk / -c 40G", kDisk,
       "DISK CRITICAL - / 31.6 GiB free (71%) | '/'=14100000000B;;5050327040;0;48000000000"},
      {"disk / -w @0:90%", kDisk,
       "DISK WARNING - / 31.6 GiB free (71%) | "
       "'/'=14100000000B;@4800000000:48000000000;;0;48000000000"},
      {"du /x -w 1K", "200\n  2000\n", "DU WARNING - /x holds 2.0 KiB | 'size'=2000B;1024;;0"},
      {"count /x -c 5:", "200\n4\n", "COUNT CRITICAL - 4 files in /x | 'count'=4;;5:;0"},
      {"exists /x -w 60 -c 2h", kFile,
       "EXISTS WARNING - /x, 2.0 KiB, 1 h 1 min old | 'age'=3660s;3600;7200 'size'=2048B;;;0"},
      {"exists /x --size 4K:", kFile,
       "EXISTS CRITICAL - /x, 2.0 KiB, 1 h 1 min old | 'age'=3660s 'size'=2048B;;4096:;0"},
      {"hash /x --expect ABC", "200\nabc\n", "HASH OK - sha256 abc"},
      {"hash /x --expect abd", "200\nabc\n", "HASH CRITICAL - /x has changed: sha256 abc"},
      {"hash /x", "200\nFile size 2 MB\n", "HASH UNKNOWN - above the limit: File size 2 MB"},
      {"compare /a /b", "200\n0\n", "COMPARE CRITICAL - the files differ"},
      {"compare /a /b --invert", "200\n0\n", "COMPARE OK - the files differ"},
      {"grep /a x --invert", "200\n1\n", "GREP CRITICAL - \"x\" is in /a"},
      {"contains /a /b", "200\n1\n", "CONTAINS OK - the first file contains the second"},
      {"proc x", "200\n0\n", "PROC CRITICAL - 0 processes named x | 'count'=0;;1:;0"},
      {"proc x -c 5:", "200\n5\n", "PROC OK - 5 processes named x | 'count'=5;;5:;0"},
      {"proc x -w 0", "200\n1\n", "PROC WARNING - 1 process named x | 'count'=1;0;;0"},
      {"cpu -w 80% -c 90", "200\n85.2500\n", "CPU WARNING - 85.2% used | 'cpu'=85.25%;80;90;0;100"},
      {"tcp h 25 -w 10ms", "200\n12\nhi\n",
       "TCP WARNING - h:25 answers in 12 ms: hi | 'time'=0.012s;0.01;;0"},
      {"tcp h 25 --expect 220", "200\n12\n221\n",
       "TCP CRITICAL - h:25 answers in 12 ms: 221 (not what was expected) | 'time'=0.012s;;;0"},
      {"run x", "200\n1\n", "RUN WARNING - exit code 1 | 'exit'=1;;;0;255"},
      {"run x", "200\n255\n", "RUN UNKNOWN - exit code 255 | 'exit'=255;;;0;255"},
      {"run -c 300 x", "200\n255\n", "RUN OK - exit code 255 | 'exit'=255;;300;0;255"},
      {"script /dev/null -w 40", "200\nscriptres: 42% full | x\n\n",
       "SCRIPT WARNING - 42% full | 'result'=42%;40"},
      {"script /dev/null", "200\nscriptres: x |a=1e3B 'it''s'=2.50MB;1:;;0 c=3;| d=4\n\n",
       "SCRIPT OK - x | 'it''s'=2.50MB;1:;;0 'c'=3;/ 'd'=4"},
      {"script /dev/null -c 1", "200\nscriptres: x | a=2ms;5 b=1\n\n",
       "SCRIPT CRITICAL - x | 'a'=2ms;;1 'b'=1"},
      {"script /dev/null -w 40", "200\nscriptres: many\n\n", "SCRIPT UNKNOWN - no number: many"},
      {"script /dev/null", "200\nzemexit:127\nsh: foo: not found%0D%0Azemexit:127%0D%0A\n",
       "SCRIPT UNKNOWN - no number and no \"scriptres:\": sh: foo: not found (exit status 127)"},
      {"script /dev/null", "200\nzemexit:0\nzemexit:0%0D%0A\n",
       "SCRIPT UNKNOWN - no number and no \"scriptres:\": no output"},
      {"script /dev/null", "200\nzemexit:1\n3 left%0D%0Azemexit:1%0D%0A\n",
       "SCRIPT WARNING - 3 left (exit status 1) | 'result'=3"},
      {"ls /x f -w 1", "200\n/x/\n2\n4\nf\n0\n5\n05032010070809\nd\n16\n1\n05032010070809\n",
       "LS OK - 1 entries in /x/ | 'entries'=1;1;;0"},
      {"count /x -r", "200\n0\n",
       "COUNT OK - 0 files in /x (-r enters only folders that the agent's user may write, and no "
       "hidden ones) | 'count'=0;;;0"},
      {"disk /x", "200\n48000000000\n33900000000\n33900000000\n1500\n",
       "path          /x\n"
       "total         44.7 GiB\n"
       "used          13.1 GiB\n"
       "free          31.6 GiB\n"
       "available     31.6 GiB\n"
       "used percent  29.4 %\n"
       "free percent  70.6 %\n"
       "query         1.5 s\n"},
      {"ls /x",
       "200\n/x/\n2\n4\n\x1b[2Jf\n0\n     5\n05032010070809\nd\xc3\xa9\n16\n  4096\n"
       "05032010070809\n",
       "folder  /x/\n"
       "count   2\n"
       "\n"
       "name      type       size  modified\n"
       "d\xc3\xa9        folder  4.0 KiB  2010-03-05 07:08:09\n"
       "\\x1b[2Jf  file        5 B  2010-03-05 07:08:09\n"},
      // Two members whose labels would be the same.
      {"tcp h 1", "200\n12\nhi\n",
       "time            12 ms\nreceived bytes  2 B\nreceived        hi\n"},
      {"settings set tcp=1 UDP=0", "200\n", "changed  TCP, UDP\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.typed);
    const bool check = c.shown[0] >= 'A' && c.shown[0] <= 'Z';
    const Read read = ReadReply((check ? "check_zem " : "") + c.typed, c.reply);
    EXPECT_EQ(check               ? PluginLine(c.shown.substr(0, c.shown.find(' ')), read.verdict)
              : c.shown[0] == '{' ? Compact(read.result)
                                  : ReadableResult(read.result, Style(false)),
              c.shown);
  }
  const std::string settings =
      ReadableResult(ReadReply("settings get", kSettings).result, Style(false));
  EXPECT_TRUE(settings.starts_with("Port           1055\n")) << settings;
  EXPECT_TRUE(
      settings.ends_with("tests on       TCP\ntests off      UDP\nactions on     none\n"
                         "actions off    Syslog\n"))
      << settings;
}

TEST(ReplyFieldsTest, RefusesRepliesThatAreNotWhatTheCommandAnswersWith) {
  const std::pair<const char*, std::vector<const char*>> cases[] = {
      {"disk /", {"", "1\n2\n3\n", "1\n2\nx\n4\n", "1\n2\n3\n4.5\n"}},
      {"du /", {"nan\n"}},
      {"count /", {"1 2\n", "99999999999999999999\n"}},
      {"exists /",
       {"1\n0503201007080\n05032010070809\n/\nmin\n0\n",
        "1\n0503201007080x\n05032010070809\n/\nmin\n0\n"}},
      {"hash /x", {"", "\n"}},
      {"compare /a /b", {"yes\n"}},
      {"cpu", {"inf\n"}},
      {"tcp h 1", {"5\n"}},
      {"procs", {"", "\n"}},
      {"run x", {"\n"}},
      {"script /dev/null", {"x\n"}},
      {"info", {""}},
      {"settings get", {kInfo + 4}},
      {"ls /x", {"/\n1\n4\nf\n0\n1\n05032010070809\n", "/x/\n0\n4\n"}},  // not there, not readable
      {"ls /",
       {"/\n", "/\n1\n4\n", "/\n0\n5\n", "/\n1\n4\nname\n", "/\n1\n4\nname\n0\n1\nstamp\n",
        "/\n-1\n4\n", "/\n2000000000\n4\na\n0\n1\n05032010070809\n"}},
  };
  for (const auto& [typed, replies] : cases) {
    for (const std::string lines : replies) {
      SCOPED_TRACE(testing::Message() << typed << " | " << lines);
      EXPECT_THROW((void)ReadReply(typed, "200\n" + lines), BadReply);
    }
  }
}

}  // namespace
}  // namespace zem::client
