// SPDX-License-Identifier: BSD-2-Clause
// The text of a request, read in every way; and the same bytes as lines of a reply.
#include <string>

#include "fuzz.h"
#include "protocol/agent_reply.h"
#include "protocol/agent_request.h"
#include "protocol/escape.h"

namespace zem {
namespace {

void ReadRequest(std::string_view text) {
  const AgentRequest request(text);
  // The lines, joined by line feeds, are the text.
  std::string joined;
  const size_t count = request.CountLines();
  const size_t shown = count < 20 ? count : 20;  // reading line n costs n lines
  for (size_t i = 1; i <= shown; ++i) {
    const OvString line = request.GetLine(i, Trim::kNo);
    joined.append(line.View()).append("\n");
    FUZZ_CHECK(request.GetLine(i) == Trimmed(line));
    std::string_view name;
    std::string_view value;
    if (!SplitParameter(line, &name, &value)) continue;
    const OvString first = request.GetParam(name);
    FUZZ_CHECK(first.View() == Trimmed(first));
    FUZZ_CHECK(request.GetParamBool(name) == (first == "1"));
    const int number = request.GetParamInt(name);
    FUZZ_CHECK(request.TryParamInt(name).value_or(number) == number);
    (void)request.GetParamFloat(name);
    (void)request.GetParamDateTime(name);
    (void)request.GetNumberLine(i);
  }
  if (shown == count) joined.append(request.GetLine(count + 1, Trim::kNo).View());
  FUZZ_CHECK(text.substr(0, joined.size()) == joined);
  FUZZ_CHECK(shown < count || joined.size() == text.size());
  FUZZ_CHECK(request.GetLine(count + 2).IsEmpty());
}

void WriteReply(std::string_view text) {
  const OvString escaped = EscapeLineBreaks(text);
  FUZZ_CHECK(escaped.Find('\n') == 0 && escaped.Find('\r') == 0);
  const bool ambiguous = text.find("%0A") != text.npos || text.find("%0D") != text.npos;
  FUZZ_CHECK(ambiguous || UnescapeLineBreaks(escaped) == text);

  static const SessionKeyPtr key = MakeSessionKey("key");
  AgentReply reply;
  reply.StartReply(text.substr(0, 3), key);
  reply.AddLine(text);
  reply.AddFormat("%s", OvString(text).CStr());
  reply.AddLine(text, Escape::kYes);
  if (text.size() > 200) return;  // one block of the cipher for each byte takes its time
  std::string expected(reply.Text().View());
  expected += '\r';
  const OvString sealed = reply.SealReply();
  std::string opened(expected.size(), '\0');
  FUZZ_CHECK(sealed.Length() == 4 + expected.size());
  key->Schedule().Decipher(sealed.View().substr(4), opened.data());
  FUZZ_CHECK(opened == expected);
}

}  // namespace
}  // namespace zem

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  zem::ReadRequest(zem::Text(data, size));
  zem::WriteReply(zem::Text(data, size));
  return 0;
}
