#ifndef FIHOST_CONTEXT_H
#define FIHOST_CONTEXT_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "plugin.h"

namespace fihost {

using nlohmann::json;

// What every subcommand shares: the global options and the plugin messages
// met on the way, which are shown with whatever the subcommand reports.
struct Context {
  std::string pluginPath;
  bool asJson = false;
  std::vector<PluginMessage> messages;

  // Takes the plugin's messages after a failed call, prints them (text
  // mode) and keeps them for the JSON document.
  void collect(Plugin& plugin);
  // Fails the subcommand when a plugin call did not return 0: collects the
  // messages and throws Problem naming the step and the result.
  void require(Plugin& plugin, int rc, const std::string& step);
  json messagesJson() const;
};

// Prints a document: JSON on stdout, or nothing in text mode (the
// subcommand prints its own text).
void emit(const Context& context, const json& document);

// Left-aligned columns, one header row.
void printTable(const std::vector<std::vector<std::string>>& rows);

// Subcommands. Each returns its exit code or throws Problem.
struct SnapshotOptions {
  std::string method;
  std::string stateFile;
  double wait = 300;
  double interval = 2;
  size_t keep = 0;  // 0: the plugin's own target, no rotation
  std::vector<std::string> devices;
};
struct SnapshotsOptions {
  std::vector<std::string> devices;
};
struct RestoreOptions {
  std::string stateFile;
  std::string snapshotId;  // a restore point of the catalogue, instead of a state file
  bool yes = false;
  double timeout = 0;  // 0: no limit
};
struct CheckOptions {
  std::string method;
  std::vector<std::string> devices;
};

int runDevices(Context& context);
int runInstances(Context& context, bool reclaim);
int runCheck(Context& context, const CheckOptions& options);
int runSnapshot(Context& context, const SnapshotOptions& options);
int runRestore(Context& context, const RestoreOptions& options);
int runSnapshots(Context& context, const SnapshotsOptions& options);

// The four snapshot methods, and the default for a vendor's device: the
// full copy, which needs no pool on the array.
bool isMethod(const std::string& name);
std::string defaultMethod(const std::string& vendor);
std::string methodsList();

}  // namespace fihost

#endif
