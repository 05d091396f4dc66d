#ifndef FRIM_PDK_CFIPRIVATEDATAMGR_H
#define FRIM_PDK_CFIPRIVATEDATAMGR_H

#include "cfismartptr.h"
#include "cfitraceable.h"
#include "zfi.h"

namespace frim_pdk_4_4 {

class CFiPrivateData;
using CFiPrivateDataPtr = CFiSmartPtr<CFiPrivateData, CFiNullAllocator<CFiPrivateData>>;

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
