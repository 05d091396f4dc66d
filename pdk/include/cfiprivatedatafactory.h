#ifndef FRIM_PDK_CFIPRIVATEDATAFACTORY_H
#define FRIM_PDK_CFIPRIVATEDATAFACTORY_H

#include <map>
#include <string>
#include <vector>

#include "cfiprivatedata.h"
#include "cfismartptr.h"
#include "cfitraceable.h"
#include "zfi.h"

namespace frim_pdk_4_4 {

// Makes, shares and drops the private data that a plugin keeps with each
// framework node. The operations are in the factory's slot order.
class CFiPrivateDataFactory : public virtual CFiRefCount, public virtual CFiTraceable {
 public:
  // The private data attached to the node; empty if none (or no node).
  virtual CFiPrivateDataPtr access(zfi_domain* domain) = 0;
  // Attaches private data to the node if it has none, and returns what is
  // attached. Empty only for a null node.
  virtual CFiPrivateDataPtr allocate(zfi_domain* domain, bool isAltNode) = 0;
  // Detaches the node's private data: 0, or -1 (and nothing changed) when
  // the node is null or has none.
  virtual int deallocate(zfi_domain* domain) = 0;
  // The private data kept for a node name, ordinary or alternate; empty if none.
  virtual CFiPrivateDataPtr accessByName(const std::string& name, bool isAltNode) = 0;
  // Every private data object the factory keeps: ordinary ones first, each
  // group in name order.
  virtual std::vector<CFiPrivateDataPtr> getPrivateDataList() = 0;
  ~CFiPrivateDataFactory() override = default;
};

using CFiPrivateDataFactoryPtr = CFiSmartPtr<CFiPrivateDataFactory, CFiNullAllocator<CFiPrivateDataFactory>>;

// What a node's private-data slot (zfi_domain::private_data) points at while
// private data is attached: the holder of the node's one reference. The
// factory that attached it owns the holder; the slot only borrows it.
struct CFiPrivateDataHolder {
  CFiPrivateDataPtr data;
};

// The factory for a plugin's private-data type T, a CFiPrivateData
// constructible from the node's object id and the alternate flag.
//
// Two tables from node name (the name of the node's object id) to private
// data, one for ordinary and one for alternate nodes: every node of one name
// shares one object within the process, and the alternate copy of a node
// has its own. An object lives from the first allocate() for its name until
// the last node holding it is deallocated (while the table holds it, a node
// of that name allocated later gets it back), or until the factory goes.
//
// The nodes are the framework's and may be dropped without a deallocate(),
// so the factory keeps each node's holder itself, keyed by the node, and
// releases them all when it is destroyed (at fini, with the private data
// manager). It never reads through a slot it did not fill: a slot that is
// not one of its own holders (left by an earlier factory of the process, or
// by a node freed and reallocated at the same address) counts as empty.
//
// Not locked: the framework calls node operations one at a time.
template <class T>
class CFiPrivateDataConcreteFactory : public CFiPrivateDataFactory {
 public:
  CFiPrivateDataPtr access(zfi_domain* domain) override {
    auto attached = attachedTo(domain);
    return attached == m_attached.end() ? CFiPrivateDataPtr() : attached->second.data;
  }

  CFiPrivateDataPtr allocate(zfi_domain* domain, bool isAltNode) override {
    if (domain == nullptr) return CFiPrivateDataPtr();
    // 1. Already attached: that one.
    auto attached = attachedTo(domain);
    if (attached != m_attached.end()) return attached->second.data;
    // 2. Look the name up in the table of its kind.
    Table& table = tableFor(isAltNode);
    const std::string name = nameOf(domain);
    auto found = table.find(name);
    CFiPrivateDataPtr data;
    if (found == table.end()) {
      // 3. New: made for this node, traced to the factory's log, kept in the table.
      data = CFiPrivateDataPtr(new T(domain->objid, isAltNode));
      data->registerTraceLog(m_traceLog);
      table.emplace(name, data);
    } else {
      // 4. Known: shared.
      data = found->second;
    }
    // The node's reference. A stale entry for this address is replaced.
    CFiPrivateDataHolder& holder = m_attached[domain];
    holder.data = data;
    domain->private_data = &holder;
    return data;
  }

  int deallocate(zfi_domain* domain) override {
    auto attached = attachedTo(domain);
    if (attached == m_attached.end()) return -1;
    const CFiPrivateData* object = attached->second.data.get();
    const bool isAltNode = object->getIsAltNode();
    m_attached.erase(attached);  // the node's reference
    domain->private_data = nullptr;
    Table& table = tableFor(isAltNode);
    auto found = table.find(nameOf(domain));
    // Only the table holds it now: the last node has let go.
    if (found != table.end() && found->second.get() == object && found->second->getCount() == 1)
      table.erase(found);
    return 0;
  }

  CFiPrivateDataPtr accessByName(const std::string& name, bool isAltNode) override {
    Table& table = tableFor(isAltNode);
    auto found = table.find(name);
    return found == table.end() ? CFiPrivateDataPtr() : found->second;
  }

  std::vector<CFiPrivateDataPtr> getPrivateDataList() override {
    std::vector<CFiPrivateDataPtr> all;
    for (auto& entry : m_ordinary) all.push_back(entry.second);
    for (auto& entry : m_alternate) all.push_back(entry.second);
    return all;
  }

  // Releases the tables and every node's reference. The nodes' slots are
  // left as they are (they may be gone already); no factory reads them.
  ~CFiPrivateDataConcreteFactory() override {
    m_attached.clear();
    m_ordinary.clear();
    m_alternate.clear();
  }

 private:
  using Table = std::map<std::string, CFiPrivateDataPtr>;
  // Map nodes do not move, so a slot can point at its holder.
  using Attached = std::map<const zfi_domain*, CFiPrivateDataHolder>;

  Table& tableFor(bool isAltNode) { return isAltNode ? m_alternate : m_ordinary; }

  // The node's entry when its slot still points at the holder this factory
  // gave it.
  typename Attached::iterator attachedTo(const zfi_domain* domain) {
    if (domain == nullptr || domain->private_data == nullptr) return m_attached.end();
    auto found = m_attached.find(domain);
    if (found == m_attached.end() || domain->private_data != &found->second) return m_attached.end();
    return found;
  }

  // The name of the node's object; the node's own name when it has no object.
  static std::string nameOf(const zfi_domain* domain) {
    if (domain->objid != nullptr && domain->objid->name != nullptr) return domain->objid->name;
    return domain->name != nullptr ? domain->name : "";
  }

  Table m_ordinary;
  Table m_alternate;
  Attached m_attached;
};

}  // namespace frim_pdk_4_4

#endif
