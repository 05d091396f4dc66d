#include "host_node.h"

#include <fstream>

HostNode::HostNode(const std::string& nodeName, const std::string& fimName)
    : name(nodeName), fim(fimName), altName(nodeName + "#alt") {
  objid.name = const_cast<char*>(name.c_str());
  objid.length = static_cast<uint32_t>(name.size() + 1);
  altObjid.name = const_cast<char*>(altName.c_str());
  altObjid.length = static_cast<uint32_t>(altName.size() + 1);
  domain.name = const_cast<char*>(name.c_str());
  domain.objid = &objid;
  alt.name = const_cast<char*>(altName.c_str());
  alt.objid = &altObjid;
  split.fim_name = const_cast<char*>(fim.c_str());
  split.node = &domain;
  split.alt_node = &alt;
}

std::vector<std::string> tracedLines(const std::string& path, const std::string& text) {
  std::vector<std::string> found;
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) {
    const size_t level = line.find("] L");
    if (level == std::string::npos) continue;
    const size_t name = line.find(' ', level + 2);
    const size_t body = line.find(": ", name);
    if (name == std::string::npos || body == std::string::npos) continue;
    const std::string message = line.substr(body + 2);
    if (message.find(text) != std::string::npos)
      found.push_back(line.substr(level + 2, name - level - 2) + " " + message);
  }
  return found;
}
