#ifndef TESTS_LIFECYCLE_HOST_NODE_H
#define TESTS_LIFECYCLE_HOST_NODE_H

#include <string>
#include <vector>

#include "zfi.h"

// One framework node as a host builds it: the object id's name equals the
// node's name (the plugin keys private data by it).
struct HostNode {
  HostNode(const std::string& nodeName, const std::string& fimName);
  HostNode(const HostNode&) = delete;
  HostNode& operator=(const HostNode&) = delete;

  std::string name;
  std::string fim;
  std::string altName;
  frim_objid objid{};
  frim_objid altObjid{};
  zfi_domain domain{};
  zfi_domain alt{};
  zfi_splitnode split{};
};

// The lines of the trace file `path` whose message holds `text`, each as
// "L<level> <message>".
std::vector<std::string> tracedLines(const std::string& path, const std::string& text);

#endif
