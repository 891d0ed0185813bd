// SPDX-License-Identifier: BSD-2-Clause
#include "config.h"

#include <sys/stat.h>

#include <cstdlib>
#include <set>

#include "model/local_file.h"
#include "model/secret.h"
#include "model/words.h"

namespace zem::exporter {

namespace {

constexpr int64_t kLargestFile = 1024 * 1024;
constexpr const char* kHidden = "<hidden>";
constexpr size_t kMostSteps = 1000;

void ReadAuths(const YAML::Node& node, const PasswordReader& passwords, Config* config) {
  EachKey(node, "auths", [&](const std::string& name, const YAML::Node&, const YAML::Node& value) {
    const std::string what = "the password file of auth \"" + name + "\"";
    const std::string path = value.IsScalar() ? value.Scalar() : "";
    // What stands here may be a password that somebody took for what belongs here.
    if (!path.starts_with('/')) Refuse(value, what + " has to be named by an absolute path");
    try {
      config->auths.emplace(name, passwords(path));
    } catch (const std::runtime_error& error) {
      std::string text = error.what();
      for (size_t at = text.find(path); at != std::string::npos; at = text.find(path)) {
        text.replace(at, path.size(), "it");
      }
      Refuse(value, what + ": " + text);
    }
  });
}

int PortOf(const YAML::Node& node, const std::string& text) {
  const auto port = client::ParseWhole(text);
  if (!port || *port < 1 || *port > 65535) Refuse(node, "ports are numbers from 1 to 65535");
  return static_cast<int>(*port);
}

TargetRule ReadRule(const YAML::Node& node, const Config& config) {
  TargetRule rule;
  EachKey(node, "a rule of targets",
          [&](const std::string& key, const YAML::Node& key_node, const YAML::Node& value) {
            if (key == "match") {
              for (const std::string& text : TextsOf(value, key)) {
                try {
                  rule.patterns.push_back(Pattern::Parse(text));
                } catch (const std::invalid_argument& error) {
                  Refuse(value, "match: \"" + text + "\": " + error.what());
                }
              }
            } else if (key == "ports") {
              for (const std::string& text : TextsOf(value, key)) {
                rule.ports.push_back(PortOf(value, text));
              }
            } else if (key == "auth") {
              rule.auth = TextOf(value, key);
              if (!config.auths.contains(rule.auth)) {
                Refuse(value, "auth has to be one of the names under auths");
              }
            } else {
              Refuse(key_node, "\"" + key + "\" is no key of a rule of targets");
            }
          });
  if (rule.patterns.empty() || rule.auth.empty()) {
    Refuse(node, "a rule of targets needs \"match\" and \"auth\"");
  }
  if (rule.ports.empty()) rule.ports = {kDefaultPort};
  return rule;
}

std::vector<Step> ReadModule(const std::string& name, const YAML::Node& node) {
  std::vector<Step> steps;
  std::set<std::string> labels;
  EachItem(node, "module \"" + name + "\"", [&](const YAML::Node& check) {
    const size_t before = steps.size();
    ReadCheck(check, &steps);
    if (steps.size() > kMostSteps) Refuse(check, "a module holds at most 1000 requests");
    for (size_t i = before; i < steps.size(); ++i) {
      if (labels.insert(steps[i].label).second) continue;
      Refuse(check, "a second check \"" + steps[i].label + "\"; give one of them a \"name\"");
    }
  });
  return steps;
}

std::string Shown(const YAML::Node& root) {
  YAML::Node copy = YAML::Clone(root);
  for (auto entry : copy["auths"]) entry.second = kHidden;
  YAML::Emitter out;
  out << copy;
  return std::string(out.c_str()) + '\n';
}

Config ReadRoot(const YAML::Node& root, const PasswordReader& passwords) {
  Config config;
  YAML::Node targets;
  YAML::Node modules;
  EachKey(root, "the configuration",
          [&](const std::string& key, const YAML::Node& key_node, const YAML::Node& value) {
            if (key == "auths") {
              ReadAuths(value, passwords, &config);
            } else if (key == "targets") {
              targets.reset(value);
            } else if (key == "modules") {
              modules.reset(value);
            } else {
              Refuse(key_node, "\"" + key + "\" is none of auths, targets, modules");
            }
          });
  if (targets.IsNull()) Refuse(root, "there are no targets");
  // After the auths, wherever those stand.
  EachItem(targets, "targets",
           [&](const YAML::Node& rule) { config.rules.push_back(ReadRule(rule, config)); });
  EachKey(modules, "modules",
          [&](const std::string& name, const YAML::Node&, const YAML::Node& value) {
            config.modules.emplace(name, ReadModule(name, value));
          });
  if (config.modules.empty()) Refuse(root, "there is no module");
  config.shown = Shown(root);
  return config;
}

}  // namespace

const TargetRule* Config::RuleFor(const Target& target) const {
  for (const TargetRule& rule : rules) {
    if (rule.Admits(target)) return &rule;
  }
  return nullptr;
}

client::Secret ReadPassword(const std::string& path) {
  struct stat info;
  // A pipe that nobody writes into would hold up whoever reads the configuration.
  if (stat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) {
    throw std::runtime_error(path + " is no regular file");
  }
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes the environment
  const char* folder = getenv("CREDENTIALS_DIRECTORY");
  const bool handed_over = folder != nullptr && path.starts_with(std::string(folder) + '/') &&
                           path.find("/../") == std::string::npos;
  return client::ReadPasswordFile(
      path, handed_over ? client::Privacy::kAnyMode : client::Privacy::kOwnerOnly);
}

Config ParseConfig(std::string_view text, const std::string& path,
                   const PasswordReader& passwords) {
  int line = 0;
  std::string what;
  try {
    return ReadRoot(YAML::Load(std::string(text)), passwords);
  } catch (const ConfigError& error) {
    line = error.Line();
    what = error.what();
  } catch (const YAML::Exception& error) {
    line = error.mark.line + 1;
    // Its own text may quote the line.
    what = "this is no YAML";
  }
  throw std::runtime_error(path + ':' + std::to_string(line) + ": " + what);
}

Config ReadConfig(const std::string& path) {
  std::string text;
  try {
    text = client::ReadLocalFile(path, kLargestFile);
  } catch (const std::invalid_argument& error) {
    throw std::runtime_error(path + ":1: " + error.what());
  }
  return ParseConfig(text, path, ReadPassword);
}

}  // namespace zem::exporter
