// SPDX-License-Identifier: BSD-2-Clause
#include "yaml_fields.h"

#include <algorithm>
#include <set>

namespace zem::exporter {

namespace {

std::string Say(std::string_view what, const char* text) {
  return std::string(what) + text;
}

}  // namespace

void Refuse(const YAML::Node& node, const std::string& text) {
  throw ConfigError(std::max(node.Mark().line, 0) + 1, text);  // an empty file has no mark
}

std::string TextOf(const YAML::Node& node, std::string_view what) {
  if (!node.IsScalar() || node.Scalar().empty()) Refuse(node, Say(what, " has to be a text"));
  return node.Scalar();
}

bool FlagOf(const YAML::Node& node, std::string_view what) {
  const std::string text = node.IsScalar() ? node.Scalar() : "";
  if (text != "true" && text != "false") Refuse(node, Say(what, " has to be true or false"));
  return text == "true";
}

std::vector<std::string> TextsOf(const YAML::Node& node, std::string_view what) {
  std::vector<std::string> texts;
  if (!node.IsSequence()) return {TextOf(node, what)};
  EachItem(node, what, [&](const YAML::Node& item) { texts.push_back(TextOf(item, what)); });
  return texts;
}

void EachItem(const YAML::Node& node, std::string_view what,
              const std::function<void(const YAML::Node&)>& take) {
  if (!node.IsSequence()) Refuse(node, Say(what, " has to be a list"));
  if (node.size() == 0) Refuse(node, Say(what, " is empty"));
  for (const YAML::Node& item : node) take(item);
}

void EachKey(
    const YAML::Node& node, std::string_view what,
    const std::function<void(const std::string&, const YAML::Node&, const YAML::Node&)>& take) {
  if (node.IsNull()) return;
  if (!node.IsMap()) Refuse(node, Say(what, " has to be a map of keys and values"));
  std::set<std::string> seen;
  for (const auto& entry : node) {
    const std::string key = TextOf(entry.first, "a key");
    if (!seen.insert(key).second) Refuse(entry.first, "\"" + key + "\" stands here twice");
    take(key, entry.first, entry.second);
  }
}

}  // namespace zem::exporter
