// SPDX-License-Identifier: BSD-2-Clause
// Reads the nodes of a YAML file as what they should be.
//
// Errors:  ConfigError with the line of the node. It names keys, never values: a password that
//          somebody wrote into the file must not reach the log.
// Threads: one at a time.

#ifndef ZEM_EXPORTER_YAML_FIELDS_H_
#define ZEM_EXPORTER_YAML_FIELDS_H_

#include <yaml-cpp/yaml.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace zem::exporter {

class ConfigError : public std::runtime_error {
 public:
  ConfigError(int line, const std::string& text) : std::runtime_error(text), line_(line) {}
  int Line() const { return line_; }

 private:
  int line_;
};

[[noreturn]] void Refuse(const YAML::Node& node, const std::string& text);

// A scalar that holds something; `what` names it in a refusal.
std::string TextOf(const YAML::Node& node, std::string_view what);
bool FlagOf(const YAML::Node& node, std::string_view what);
// A list of them, or one by itself; at least one.
std::vector<std::string> TextsOf(const YAML::Node& node, std::string_view what);
// Every element of a list, at least one.
void EachItem(const YAML::Node& node, std::string_view what,
              const std::function<void(const YAML::Node& item)>& take);
// Every key with its value, in the order of the file; a key that comes twice is refused. A map of
// nothing may be left out.
void EachKey(const YAML::Node& node, std::string_view what,
             const std::function<void(const std::string& key, const YAML::Node& key_node,
                                      const YAML::Node& value)>& take);

}  // namespace zem::exporter

#endif  // ZEM_EXPORTER_YAML_FIELDS_H_
