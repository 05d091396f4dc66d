#ifndef FRIM_PDK_CFIREFCOUNT_H
#define FRIM_PDK_CFIREFCOUNT_H

namespace frim_pdk_4_4 {

// Intrusive reference count shared by every kit object. Always inherited
// virtually, so an object that is reachable through several kit interfaces
// still has exactly one count. The count is a plain integer: the plugin is
// entered by one framework thread at a time and takes no locks.
class CFiRefCount {
 public:
  CFiRefCount() = default;
  CFiRefCount(const CFiRefCount&) : m_count(0) {}  // a copy is a new object
  CFiRefCount& operator=(const CFiRefCount&) { return *this; }
  virtual ~CFiRefCount() = default;

  // Each returns the count after the change.
  virtual int increment() { return ++m_count; }
  virtual int decrement() { return --m_count; }
  virtual int getCount() { return m_count; }

 private:
  int m_count = 0;
};

}  // namespace frim_pdk_4_4

#endif
