#ifndef FRIM_PDK_CFITRACEABLE_H
#define FRIM_PDK_CFITRACEABLE_H

#include "cfirefcount.h"
#include "cfitracelog.h"

namespace frim_pdk_4_4 {

// Base of every kit object that writes to the trace log: it keeps its own
// counted reference, so the log outlives every object that may still trace.
class CFiTraceable : public virtual CFiRefCount {
 public:
  CFiTraceable() = default;
  ~CFiTraceable() override = default;

  // Counted assignment: the old log is released first; the same log again
  // changes nothing.
  virtual void registerTraceLog(const CFiTraceLogPtr& log) { m_traceLog = log; }

  const CFiTraceLogPtr& traceLog() const { return m_traceLog; }

 protected:
  CFiTraceLogPtr m_traceLog;
};

}  // namespace frim_pdk_4_4

#endif
