#ifndef FRIM_PDK_CFICONTEXTSINGLETON_H
#define FRIM_PDK_CFICONTEXTSINGLETON_H

#include <utility>

#include "cfismartptr.h"

// Tag that makes one plugin's singletons distinct from another's. Every
// plugin library hides its symbols, so each loaded plugin has its own
// holders even though they all name this one tag.
struct FI_PLUGIN_NAME {};

namespace frim_pdk_4_4 {

// The one way to the process-wide kit objects: the plugin, the trace log,
// the error manager, the catalogs, the private data and the sessions.
template <class T, class Tag>
class CFiContextSingleton {
 public:
  using Ptr = CFiSmartPtr<T, CFiContextSingletonAllocator<T>>;

  // With `release` false, returns a counted reference to the object,
  // creating it on first use (and again after a release). With `release`
  // true, drops the holder's own reference (the object goes when the last
  // caller lets go) and returns an empty pointer. The caller releases what
  // it gets.
  static Ptr instance(bool release) {
    Ptr& held = holder();
    if (release) {
      held.release();
      return held;
    }
    if (held.isNull()) {
      Ptr created(true);
      held = std::move(created);  // the holder's is the one count
    }
    return held;
  }

 private:
  // Constructed on first use and destroyed at exit (or unload) in reverse
  // order of first use; at that point it releases what it still holds.
  static Ptr& holder() {
    static Ptr held;
    return held;
  }
};

}  // namespace frim_pdk_4_4

#endif
