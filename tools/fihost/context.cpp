#include "context.h"

#include <cstdio>
#include <iostream>

#include "hints.h"
#include "problem.h"

namespace fihost {

namespace {

const char* const kMethods[] = {"Hitachi_ShadowImage", "Hitachi_CopyOnWrite", "HPXP_BusinessCopy",
                                "HPXP_Snapshot"};

}  // namespace

void Context::collect(Plugin& plugin) {
  for (const PluginMessage& message : plugin.takeMessages()) {
    if (!asJson) std::fprintf(stderr, "fihost: plugin: %s\n", describe(message).c_str());
    messages.push_back(message);
  }
}

void Context::require(Plugin& plugin, int rc, const std::string& step) {
  if (rc == 0) return;
  collect(plugin);
  throw Problem(step + " returned " + resultText(rc));
}

json Context::messagesJson() const {
  json list = json::array();
  for (const PluginMessage& m : messages)
    list.push_back({{"index", m.index},
                    {"severity", m.severity},
                    {"id", m.id},
                    {"text", m.text},
                    {"details", m.details}});
  return list;
}

void emit(const Context& context, const json& document) {
  if (!context.asJson) return;
  json out = document;
  out["messages"] = context.messagesJson();
  std::cout << out.dump(2) << std::endl;
}

void printTable(const std::vector<std::vector<std::string>>& rows) {
  std::vector<size_t> widths;
  for (const auto& row : rows)
    for (size_t i = 0; i < row.size(); ++i) {
      if (widths.size() <= i) widths.push_back(0);
      widths[i] = std::max(widths[i], row[i].size());
    }
  for (const auto& row : rows) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
      line += row[i];
      if (i + 1 < row.size()) line += std::string(widths[i] - row[i].size() + 2, ' ');
    }
    std::printf("%s\n", line.c_str());
  }
}

bool isMethod(const std::string& name) {
  for (const char* method : kMethods)
    if (name == method) return true;
  return false;
}

std::string defaultMethod(const std::string& vendor) {
  return vendor == "HP" ? "HPXP_BusinessCopy" : "Hitachi_ShadowImage";
}

std::string methodsList() {
  std::string list;
  for (const char* method : kMethods) list += (list.empty() ? "" : ", ") + std::string(method);
  return list;
}

}  // namespace fihost
