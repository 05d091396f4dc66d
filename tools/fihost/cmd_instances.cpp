// fihost instances: the instance-number files, and the reclaim of numbers
// whose holders have ended.
#include <cstdio>

#include "context.h"
#include "instance_files.h"

namespace fihost {

namespace {

std::string numbers(const std::vector<int>& list) {
  std::string text;
  for (int n : list) text += (text.empty() ? "" : " ") + std::to_string(n);
  return text.empty() ? "none" : text;
}

}  // namespace

int runInstances(Context& context, bool reclaim) {
  const std::string directory = instanceDirectory();
  std::vector<InstanceFile> files = readInstanceFiles(directory);
  json list = json::array();
  for (InstanceFile& file : files) {
    if (reclaim) reclaimInstanceFile(file);
    json held = json::array();
    for (const InstanceRecord& record : file.records) {
      if (record.holder < 0) continue;
      held.push_back({{"number", record.number},
                      {"pid", record.holder},
                      {"running", record.running},
                      {"command", record.command}});
    }
    json entry = {{"key", file.key},
                  {"path", file.path},
                  {"numbers", file.records.size()},
                  {"first", file.records.empty() ? 0 : file.records.front().number},
                  {"last", file.records.empty() ? 0 : file.records.back().number},
                  {"free", file.freeCount()},
                  {"held", held}};
    if (reclaim) entry["reclaimed"] = file.reclaimed;
    list.push_back(entry);
  }
  if (context.asJson) {
    emit(context, {{"command", "instances"}, {"ok", true}, {"directory", directory}, {"files", list}});
    return 0;
  }
  if (files.empty()) std::printf("no instance-number files in %s\n", directory.c_str());
  for (const InstanceFile& file : files) {
    std::printf("%s\n  %zu numbers (%d to %d), %d free\n", file.path.c_str(), file.records.size(),
                file.records.empty() ? 0 : file.records.front().number,
                file.records.empty() ? 0 : file.records.back().number, file.freeCount());
    std::vector<std::vector<std::string>> rows = {{"  NUMBER", "PID", "RUNNING", "COMMAND"}};
    for (const InstanceRecord& record : file.records) {
      if (record.holder < 0) continue;
      rows.push_back({"  " + std::to_string(record.number), std::to_string(record.holder),
                      record.running ? "yes" : "no", record.command.empty() ? "-" : record.command});
    }
    if (rows.size() > 1) printTable(rows);
    if (reclaim) std::printf("  reclaimed: %s\n", numbers(file.reclaimed).c_str());
  }
  return 0;
}

}  // namespace fihost
