// SPDX-License-Identifier: BSD-2-Clause
#include "app/refusal.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace zem::client {

namespace {

// What may stand in front of them.
constexpr std::pair<std::string_view, std::string_view> kFronts[] = {
    {"Script execution error: ", ""}, {"exec error: ", "cannot be run: "}};

// The agent's words, and the system's that it hands on.
constexpr std::pair<std::string_view, std::string_view> kMeanings[] = {
    {"I/O Error", "not readable for the agent's user"},
    {"Cannot open file", "not readable for the agent's user"},
    {"Permission denied", "closed to the agent's user"},
    {"No such file or directory", "no such file"},
    {"no such file or acess denied", "no such file, or closed to the agent's user"},
    {"File doesn`t exist", "no such regular file, or closed to the agent's user"},
    {"Folder/File doesn`t exist or access denied", "no such folder, or closed to the agent's user"},
    {"Folder doesn`t exist or access denied", "no such folder, or closed to the agent's user"},
    {"The size of the second file cannot exceed 8Mb",
     "the second file is larger than 8 MiB, too much to look for"},
    {"Script error", "the agent's script printed no number"},
    {"abnormal termination", "ended by a signal, or at its time limit"},
    {"exec error", "cannot be run"},
    {"Cannot resolve server name to IP address", "the agent's host cannot resolve the name"},
};

std::string Meaning(std::string_view text) {
  for (const auto& [front, meaning] : kFronts) {
    if (text.starts_with(front)) return std::string(meaning) + Meaning(text.substr(front.size()));
  }
  const auto* found = std::find_if(std::begin(kMeanings), std::end(kMeanings),
                                   [text](const auto& each) { return each.first == text; });
  return std::string(found == std::end(kMeanings) ? text : found->second);
}

}  // namespace

std::string SubjectOf(const Command& command, const Arguments& arguments) {
  std::string_view form = command.subject;
  std::string subject;
  for (size_t open = 0; (open = form.find('{')) != std::string_view::npos;) {
    const size_t end = form.find('}', open);
    subject.append(form.substr(0, open));
    subject.append(arguments.Text(form.substr(open + 1, end - open - 1)));
    form.remove_prefix(end + 1);
  }
  return subject.append(form);
}

std::string RefusalText(const Reply& reply) {
  const std::string message = reply.Message();
  if (!reply.status) return message.empty() ? "an empty reply" : message;
  return fmt::format("{} {}", *reply.status,
                     message.empty() ? StatusMeaning(*reply.status) : message);
}

std::string RefusalMeaning(const Command& command, const Arguments& arguments, const Reply& reply) {
  std::string text;
  if (command.explain != nullptr && reply.status == kStatusUnavailable) {
    text = command.explain(reply);
  }
  if (text.empty()) text = Meaning(reply.Message());
  if (text.empty()) text = reply.status ? StatusMeaning(*reply.status) : "an empty reply";
  const std::string subject = SubjectOf(command, arguments);
  return subject.empty() ? text : subject + ": " + text;
}

std::string HintFor(const Command& command, const Reply& reply) {
  if (command.explain != nullptr && reply.status == kStatusUnavailable) {
    return command.explain(reply);
  }
  const std::string_view text = reply.Line(1);
  if (reply.status == kStatusNotAllowed && *command.switch_keys != '\0') {
    return fmt::format("switch on in the agent's configuration: {}", command.switch_keys);
  }
  if (text == "Script error") return kProcessesHint;
  static constexpr struct {
    const char* text;
    const char* key;
  } kScripts[] = {{"ProcCnt script", "proccntscript"},
                  {"ProcList script", "proclistscript"},
                  {"CPUUsage script", "cpuusagescript"}};
  for (const auto& script : kScripts) {
    if (text.starts_with(script.text)) {
      return fmt::format("set {} in the agent's configuration to the script's path", script.key);
    }
  }
  return "";
}

bool IsLimitOfAgent(const Reply& reply) {
  return reply.Line(1) == kHashReadError ||
         reply.Line(1) == "The size of the second file cannot exceed 8Mb";
}

}  // namespace zem::client
