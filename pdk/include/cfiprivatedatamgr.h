#ifndef FRIM_PDK_CFIPRIVATEDATAMGR_H
#define FRIM_PDK_CFIPRIVATEDATAMGR_H

#include <string>

#include "cficonfigparam.h"
#include "cfiprivatedatafactory.h"
#include "cfirefcount.h"
#include "cfitargetconfig.h"
#include "cfitraceable.h"

namespace frim_pdk_4_4 {

// The plugin's private-data context singleton: it holds the factory the
// plugin registered for its private data and the snapshot targets an
// administrator configured, which CFiPrivateData::selectTargetFromConfigData
// reads.
class CFiPrivateDataManager : public virtual CFiRefCount, public virtual CFiTraceable {
 public:
  CFiPrivateDataManager() = default;
  ~CFiPrivateDataManager() override = default;

  void registerFactory(const CFiPrivateDataFactoryPtr& factory) { m_factory = factory; }
  const CFiPrivateDataFactoryPtr& getFactory() const { return m_factory; }

  // Takes a new value of the "snapshot_resource_spec" parameter. A malformed
  // value throws CFiTargetConfigError naming the line and keeps the targets
  // configured before.
  void setSnapshotResourceSpec(const std::string& value);
  // The same, with the value the plugin's parameter list holds for
  // "snapshot_resource_spec" (no parameter: nothing is configured).
  void loadSnapshotResourceSpec(const CFiConfigParamInfoList& parameters);

  // The configured targets. Until a value has been set, the first call
  // takes it from $HITACHIFI_SNAPSHOT_RESOURCE_SPEC (the value itself, or
  // "@<file>" for a file holding it; unset or empty: nothing configured).
  // A malformed or unreadable value throws CFiTargetConfigError on every
  // call until a good one is set: a snapshot must not fall back to
  // discovering a target the administrator did not mean.
  const CFiTargetConfig& getTargetConfig();

 private:
  CFiPrivateDataFactoryPtr m_factory;
  CFiTargetConfig m_targetConfig;
  bool m_targetsSet = false;
};

// How the context singleton hands the manager out (same alias as the plugin base's).
using CFiPrivateDataManagerPtr =
    CFiSmartPtr<CFiPrivateDataManager, CFiContextSingletonAllocator<CFiPrivateDataManager>>;

}  // namespace frim_pdk_4_4

#endif
