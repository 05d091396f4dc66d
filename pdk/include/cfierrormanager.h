#ifndef FRIM_PDK_CFIERRORMANAGER_H
#define FRIM_PDK_CFIERRORMANAGER_H

#include "cfitraceable.h"

namespace frim_pdk_4_4 {

// Keeps the messages that the plugin reports for the framework to fetch.
class CFiErrorManager : public virtual CFiRefCount, public virtual CFiTraceable {
 public:
  CFiErrorManager() = default;
  ~CFiErrorManager() override = default;
};

}  // namespace frim_pdk_4_4

#endif
