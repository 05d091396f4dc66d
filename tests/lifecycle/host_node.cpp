#include "host_node.h"

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
