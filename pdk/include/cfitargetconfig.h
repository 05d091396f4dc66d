#ifndef FRIM_PDK_CFITARGETCONFIG_H
#define FRIM_PDK_CFITARGETCONFIG_H

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace frim_pdk_4_4 {

// A "snapshot_resource_spec" value that cannot be read; what() names the line.
class CFiTargetConfigError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The snapshot targets an administrator configured per source device, from
// the "snapshot_resource_spec" parameter. One entry per line:
//
//   # comment
//   UDID##HITACHI##HDS##410001##256 = UDID##HITACHI##HDS##410001##512
//   UDID##HP##XP##520002##300 = UDID##HP##XP##520002##600, UDID##HP##XP##520002##601
//
// The source is the device's UDID text; each target is a device text that
// ends in "##" and the target's device id (a UDID is the natural choice).
// Several targets are tried in order; ";" may separate entries on one line
// (the framework's configuration is often a single line). A source listed
// twice, a line without "=", or a target without "##<device id>" is an error.
class CFiTargetConfig {
 public:
  // Replaces the configuration; throws CFiTargetConfigError (and keeps the
  // previous one) when the text is malformed.
  void parse(const std::string& text);
  // The targets of `source`, in order; empty when none is configured.
  std::vector<std::string> targetsFor(const std::string& source) const;
  bool empty() const { return m_targets.empty(); }

  // Why the configuration the process started with could not be read ("" if it could).
  const std::string& loadError() const { return m_error; }

  // The process's configuration. It starts from the parameter's value in
  // HITACHIFI_SNAPSHOT_RESOURCE_SPEC (the text itself, or "@<file>" for a
  // file that holds it); a malformed value leaves it empty, with loadError()
  // saying why. The framework's configuration call may parse() a new value.
  static CFiTargetConfig& current();

 private:
  std::map<std::string, std::vector<std::string>> m_targets;
  std::string m_error;
};

}  // namespace frim_pdk_4_4

#endif
