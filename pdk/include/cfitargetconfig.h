#ifndef FRIM_PDK_CFITARGETCONFIG_H
#define FRIM_PDK_CFITARGETCONFIG_H

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace frim_pdk_4_4 {

// A "snapshot_resource_spec" value that cannot be read. what() names the
// line and says what is wrong with it, for the administrator, quoting the
// entry; line() and column() (both from 1, 0 when unknown) place it without
// quoting, for a value whose content must not be shown.
class CFiTargetConfigError : public std::runtime_error {
 public:
  explicit CFiTargetConfigError(const std::string& what, int line = 0, int column = 0)
      : std::runtime_error(what), m_line(line), m_column(column) {}
  int line() const { return m_line; }
  int column() const { return m_column; }

 private:
  int m_line;
  int m_column;
};

// The snapshot targets an administrator configured per source device: the
// value of the "snapshot_resource_spec" parameter (format in
// pdk/README-config.md). One entry per line, or several separated by ";":
//
//   # comment
//   UDID##HITACHI##HDS##410001##256 = UDID##HITACHI##HDS##410001##512
//   UDID##HP##XP##520002##300 = UDID##HP##XP##520002##600, UDID##HP##XP##520002##601
//
// A source is a device's UDID text; a target is any text that ends in "##"
// and the target's decimal device id (a UDID is the natural choice). A
// source may have several targets, on one line or on several; they are kept
// in the order written.
class CFiTargetConfig {
 public:
  // Replaces the configuration with `text`. A malformed text throws
  // CFiTargetConfigError and leaves the previous configuration in place.
  void parse(const std::string& text);

  // The targets configured for the device a node is named after, in order;
  // empty when none is. The node name is matched by its UDID: the text from
  // its first "UDID##" on (the whole name when it holds none).
  std::vector<std::string> targetsFor(const std::string& nodeName) const;

  bool empty() const { return m_targets.empty(); }

  // The device id a target names: the text after its last "##".
  static std::string deviceIdOf(const std::string& target);

 private:
  std::map<std::string, std::vector<std::string>> m_targets;
};

}  // namespace frim_pdk_4_4

#endif
