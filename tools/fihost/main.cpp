// fihost: takes, checks and restores snapshots through the hitachifi plugin,
// driving it only through its exported entry points as a snapshot
// framework does.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "context.h"
#include "problem.h"

using namespace fihost;

namespace {

constexpr char kFooter[] =
    "Exit status: 0 done; 1 a problem was found or an operation failed (the plugin's messages say why); "
    "2 usage; 3 restore not confirmed; 124 --timeout or --wait ran out; 130 interrupted (Ctrl-C).\n"
    "Global options (--plugin, --json) may also follow the subcommand.";

// --wait and friends: seconds, fractions allowed, never negative.
CLI::Option* seconds(CLI::App* app, const std::string& name, double& value, const std::string& help) {
  static const CLI::Validator notNegative(
      [](std::string& text) -> std::string {
        char* end = nullptr;
        const double value = std::strtod(text.c_str(), &end);
        if (text.empty() || *end != '\0') return "must be a number of seconds, not " + text;
        if (!(value >= 0)) return "must be 0 or more, not " + text;
        return "";
      },
      "", "seconds");
  return app->add_option(name, value, help)->check(notNegative)->type_name("SECONDS")->capture_default_str();
}

// The "Usage:" line of an app's help, to show with a usage error.
std::string usageLine(CLI::App& app) {
  const std::string help = app.help();
  size_t at = help.find("Usage: ");
  if (at == std::string::npos) return "";
  size_t end = help.find('\n', at);
  const std::string path = app.get_parent() ? "fihost " + app.get_name() : "fihost";
  std::string usage = help.substr(at + 7, end - at - 7);
  if (usage.compare(0, 7, "fihost ") != 0) usage = "fihost " + usage;
  return "usage: " + usage + "\nRun '" + path + " --help' for more.\n";
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{
      "Takes, checks and restores array snapshots through the hitachifi plugin, as a framework does.",
      "fihost"};
  app.footer(kFooter);
  app.require_subcommand(1);
  app.set_version_flag("--version", "fihost " FIHOST_VERSION);
  Context context;
  context.pluginPath = defaultPluginPath();
  app.add_option("--plugin", context.pluginPath,
                 "the plugin library (default: " FIHOST_INSTALLED_PLUGIN
                 " when installed, else the one built "
                 "beside fihost)")
      ->type_name("PATH");
  app.add_flag("--json", context.asJson, "print one JSON document with the same facts instead of text");
  // Lets the global options follow the subcommand, where people type them.
  app.fallthrough();

  CLI::App* devices =
      app.add_subcommand("devices", "list the host's disks as the plugin's discovery sees them");

  CheckOptions check;
  CLI::App* checkCmd = app.add_subcommand(
      "check",
      "preflight before the first backup: library, command devices, cache and instance files, trace "
      "file, and for each DEVICE whether a snapshot can be taken now (changes nothing on the array)");
  checkCmd
      ->add_option("--method", check.method,
                   "snapshot method to check (" + methodsList() + "; default: the vendor's full copy)")
      ->type_name("METHOD");
  checkCmd->add_option("DEVICE", check.devices, "a host disk (/dev/sdc) or a device UDID")
      ->type_name("DEVICE");

  SnapshotOptions snap;
  CLI::App* snapCmd = app.add_subcommand(
      "snapshot",
      "take a snapshot of each DEVICE as a framework does: select, prepare, wait until ready, make");
  snapCmd
      ->add_option("--method", snap.method,
                   "snapshot method (" + methodsList() + "; default: the vendor's full copy)")
      ->type_name("METHOD");
  snapCmd
      ->add_option("--state", snap.stateFile, "write the provider states to FILE (JSON) for a later restore")
      ->type_name("FILE");
  seconds(snapCmd, "--wait", snap.wait, "give up when the devices are not ready after SECONDS");
  seconds(snapCmd, "--interval", snap.interval, "ask the plugin whether the devices are ready every SECONDS");
  snapCmd
      ->add_option("--keep", snap.keep,
                   "keep the last N snapshots of each DEVICE: take this one on the partner holding no "
                   "recorded snapshot, else on the one holding the oldest (of the first N partners of the "
                   "method, by mirror unit)")
      ->type_name("N")
      ->check(CLI::PositiveNumber);
  snapCmd->add_option("DEVICE", snap.devices, "a host disk (/dev/sdc) or a device UDID")
      ->type_name("DEVICE")
      ->required();

  RestoreOptions restore;
  CLI::App* restoreCmd = app.add_subcommand(
      "restore", "copy the snapshots of a state file back onto their source devices (overwrites them)");
  restoreCmd->add_option("--state", restore.stateFile, "the state file written by fihost snapshot")
      ->type_name("FILE");
  std::string stateArgument;
  restoreCmd->add_option("FILE", stateArgument, "the state file, as with --state")->type_name("FILE");
  restoreCmd
      ->add_option("--snapshot", restore.snapshotId,
                   "restore the snapshot with this ID from the catalogue of snapshots instead (see fihost "
                   "snapshots)")
      ->type_name("ID");
  restoreCmd->add_flag("--yes", restore.yes, "do not ask for confirmation");
  seconds(restoreCmd, "--timeout", restore.timeout,
          "stop waiting after SECONDS (0: wait until done) and report the pairs' states");

  SnapshotsOptions points;
  CLI::App* pointsCmd = app.add_subcommand(
      "snapshots",
      "list the snapshots recorded on this host, newest first, and whether each can still be restored "
      "(its partner was not resynchronised or taken again since)");
  pointsCmd->add_option("DEVICE", points.devices, "only the snapshots of these devices")->type_name("DEVICE");

  bool reclaim = false;
  CLI::App* instances = app.add_subcommand(
      "instances", "show the RAID Manager instance-number files: numbers held, holders, whether they run");
  instances->add_flag("--reclaim", reclaim, "free the numbers held by processes that have ended");

  for (CLI::App* sub : {devices, checkCmd, snapCmd, pointsCmd, restoreCmd, instances}) sub->footer(kFooter);

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForVersion& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    CLI::App* failed = &app;
    for (CLI::App* sub : app.get_subcommands()) failed = sub;
    std::fprintf(stderr, "fihost: %s\n%s", e.what(), usageLine(*failed).c_str());
    return kExitUsage;
  }

  if (restoreCmd->parsed()) {
    if (!stateArgument.empty() && !restore.stateFile.empty()) {
      std::fprintf(stderr, "fihost: give the state file once, as FILE or as --state FILE\n%s",
                   usageLine(*restoreCmd).c_str());
      return kExitUsage;
    }
    if (!restore.snapshotId.empty() && !(stateArgument.empty() && restore.stateFile.empty())) {
      std::fprintf(stderr, "fihost: restore either a state file or --snapshot ID, not both\n%s",
                   usageLine(*restoreCmd).c_str());
      return kExitUsage;
    }
    if (!stateArgument.empty()) restore.stateFile = stateArgument;
    if (restore.stateFile.empty() && restore.snapshotId.empty()) {
      std::fprintf(stderr, "fihost: restore needs the state file (FILE or --state FILE) or --snapshot ID\n%s",
                   usageLine(*restoreCmd).c_str());
      return kExitUsage;
    }
  }

  try {
    if (snapCmd->parsed() && !snap.method.empty() && !isMethod(snap.method))
      throw Problem("--method " + snap.method + " is none of " + methodsList(), kExitUsage);
    if (checkCmd->parsed() && !check.method.empty() && !isMethod(check.method))
      throw Problem("--method " + check.method + " is none of " + methodsList(), kExitUsage);
    if (devices->parsed()) return runDevices(context);
    if (instances->parsed()) return runInstances(context, reclaim);
    if (checkCmd->parsed()) return runCheck(context, check);
    if (snapCmd->parsed()) return runSnapshot(context, snap);
    if (restoreCmd->parsed()) return runRestore(context, restore);
    if (pointsCmd->parsed()) return runSnapshots(context, points);
  } catch (const Problem& problem) {
    if (context.asJson) {
      const std::string command = app.get_subcommands().empty() ? "" : app.get_subcommands()[0]->get_name();
      emit(context,
           {{"command", command}, {"ok", false}, {"error", problem.what()}, {"exit", problem.exitCode()}});
    } else {
      std::fprintf(stderr, "fihost: %s\n", problem.what());
    }
    return problem.exitCode();
  } catch (const std::exception& e) {
    std::fprintf(stderr, "fihost: %s\n", e.what());
    return kExitProblem;
  }
  return kExitUsage;
}
