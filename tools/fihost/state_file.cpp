#include "state_file.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>

#include "problem.h"

namespace fihost {

namespace {

constexpr int kFormat = 1;

std::string text(const nlohmann::json& object, const char* key, const std::string& where) {
  auto found = object.find(key);
  if (found == object.end() || !found->is_string() || found->get<std::string>().empty())
    throw Problem(where + ": \"" + key + "\" is missing or not a text");
  return found->get<std::string>();
}

}  // namespace

void writeStateFile(const std::string& path, const StateFile& state) {
  nlohmann::json list = nlohmann::json::array();
  for (const SnapshotEntry& e : state.snapshots)
    list.push_back({{"device", e.device},
                    {"node", e.node},
                    {"source", e.source},
                    {"snapshot", e.snapshot},
                    {"method", e.method},
                    {"provider_state", e.providerState}});
  nlohmann::json document = {
      {"fihost_state", kFormat}, {"created", state.created}, {"session", state.session}, {"snapshots", list}};
  const std::string temporary = path + ".tmp." + std::to_string(::getpid());
  {
    std::ofstream out(temporary);
    out << document.dump(2) << "\n";
    if (!out) throw Problem("cannot write " + temporary + ": " + std::strerror(errno));
  }
  if (std::rename(temporary.c_str(), path.c_str()) != 0) {
    std::string why = std::strerror(errno);
    std::remove(temporary.c_str());
    throw Problem("cannot write " + path + ": " + why);
  }
}

StateFile readStateFile(const std::string& path) {
  std::ifstream in(path);
  if (!in) throw Problem("cannot read the state file " + path + ": " + std::strerror(errno));
  nlohmann::json document = nlohmann::json::parse(in, nullptr, false);
  if (document.is_discarded() || !document.is_object())
    throw Problem(path + " is not a state file written by fihost snapshot (not a JSON object)");
  auto format = document.find("fihost_state");
  if (format == document.end() || !format->is_number_integer() || format->get<int>() != kFormat)
    throw Problem(path + " is not a state file of this fihost (\"fihost_state\" is not " +
                  std::to_string(kFormat) + ")");
  auto list = document.find("snapshots");
  if (list == document.end() || !list->is_array() || list->empty())
    throw Problem(path + ": \"snapshots\" is missing or empty");
  StateFile state;
  if (document.contains("created") && document["created"].is_string()) state.created = document["created"];
  if (document.contains("session") && document["session"].is_string()) state.session = document["session"];
  for (size_t i = 0; i < list->size(); ++i) {
    const nlohmann::json& item = (*list)[i];
    const std::string where = path + ": snapshot " + std::to_string(i + 1);
    if (!item.is_object()) throw Problem(where + " is not an object");
    SnapshotEntry entry;
    entry.device = text(item, "device", where);
    entry.node = text(item, "node", where);
    entry.source = text(item, "source", where);
    entry.snapshot = text(item, "snapshot", where);
    entry.method = text(item, "method", where);
    entry.providerState = text(item, "provider_state", where);
    state.snapshots.push_back(entry);
  }
  return state;
}

}  // namespace fihost
