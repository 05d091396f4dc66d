#ifndef FRIM_PDK_CFIPRIVATEDATAMGR_H
#define FRIM_PDK_CFIPRIVATEDATAMGR_H

#include <map>
#include <string>
#include <vector>

#include "cfiprivatedata.h"
#include "cfismartptr.h"
#include "cfitraceable.h"
#include "zfi.h"

namespace frim_pdk_4_4 {

// Makes, shares and drops the private data that a plugin keeps with each
// framework node.
class CFiPrivateDataFactory : public virtual CFiRefCount, public virtual CFiTraceable {
 public:
  ~CFiPrivateDataFactory() override = default;
  // The private data attached to the node; empty if none.
  virtual CFiPrivateDataPtr access(zfi_domain* domain) = 0;
  // Attaches private data to the node if it has none, and returns it.
  virtual CFiPrivateDataPtr allocate(zfi_domain* domain, bool isAltNode) = 0;
  // Detaches the node's private data; -1 if the node is null or has none.
  virtual int deallocate(zfi_domain* domain) = 0;
  // The private data kept for a node name (alternate or ordinary); empty if none.
  virtual CFiPrivateDataPtr accessByName(const std::string& name, bool isAltNode) = 0;
  // Every private data object the factory keeps, ordinary ones first.
  virtual std::vector<CFiPrivateDataPtr> getPrivateDataList() = 0;
};

// How a node holds its private data: the framework's slot points at one of
// these, which owns one reference.
struct CFiPrivateDataHolder {
  CFiPrivateDataPtr data;
};

// The factory for a plugin's private-data type T (constructible from the
// node's object id and the alternate flag). Nodes with the same object name
// share one object; ordinary and alternate nodes are kept apart.
template <class T>
class CFiPrivateDataConcreteFactory : public CFiPrivateDataFactory {
 public:
  ~CFiPrivateDataConcreteFactory() override {
    m_ordinary.clear();
    m_alternate.clear();
  }

  CFiPrivateDataPtr access(zfi_domain* domain) override {
    if (domain == nullptr || domain->private_data == nullptr) return CFiPrivateDataPtr();
    return static_cast<CFiPrivateDataHolder*>(domain->private_data)->data;
  }

  CFiPrivateDataPtr allocate(zfi_domain* domain, bool isAltNode) override {
    if (domain == nullptr) return CFiPrivateDataPtr();
    if (domain->private_data != nullptr) return access(domain);
    std::string name = nameOf(domain);
    auto& table = isAltNode ? m_alternate : m_ordinary;
    auto found = table.find(name);
    CFiPrivateDataPtr data;
    if (found == table.end()) {
      data = CFiPrivateDataPtr(new T(domain->objid, isAltNode));
      data->registerTraceLog(m_traceLog);
      table.emplace(name, data);
    } else {
      data = found->second;
    }
    domain->private_data = new CFiPrivateDataHolder{data};
    return data;
  }

  int deallocate(zfi_domain* domain) override {
    if (domain == nullptr || domain->private_data == nullptr) return -1;
    CFiPrivateDataHolder* holder = static_cast<CFiPrivateDataHolder*>(domain->private_data);
    CFiPrivateDataPtr data = holder->data;
    bool isAltNode = data->getIsAltNode();
    delete holder;
    domain->private_data = nullptr;
    auto& table = isAltNode ? m_alternate : m_ordinary;
    auto found = table.find(nameOf(domain));
    // Only the table and `data` hold it now: the last node has let go.
    if (found != table.end() && found->second.get() == data.get() && data->getCount() == 2) table.erase(found);
    return 0;
  }

  CFiPrivateDataPtr accessByName(const std::string& name, bool isAltNode) override {
    auto& table = isAltNode ? m_alternate : m_ordinary;
    auto found = table.find(name);
    return found == table.end() ? CFiPrivateDataPtr() : found->second;
  }

  std::vector<CFiPrivateDataPtr> getPrivateDataList() override {
    std::vector<CFiPrivateDataPtr> all;
    for (auto& entry : m_ordinary) all.push_back(entry.second);
    for (auto& entry : m_alternate) all.push_back(entry.second);
    return all;
  }

 private:
  static std::string nameOf(zfi_domain* domain) {
    if (domain->objid != nullptr && domain->objid->name != nullptr) return domain->objid->name;
    return domain->name != nullptr ? domain->name : "";
  }

  std::map<std::string, CFiPrivateDataPtr> m_ordinary;
  std::map<std::string, CFiPrivateDataPtr> m_alternate;
};

using CFiPrivateDataFactoryPtr = CFiSmartPtr<CFiPrivateDataFactory, CFiNullAllocator<CFiPrivateDataFactory>>;

// Holds the factory a plugin registered for its private data.
class CFiPrivateDataManager : public virtual CFiRefCount, public virtual CFiTraceable {
 public:
  CFiPrivateDataManager() = default;
  ~CFiPrivateDataManager() override = default;

  void registerFactory(const CFiPrivateDataFactoryPtr& factory) { m_factory = factory; }
  const CFiPrivateDataFactoryPtr& getFactory() const { return m_factory; }

 private:
  CFiPrivateDataFactoryPtr m_factory;
};

}  // namespace frim_pdk_4_4

#endif
