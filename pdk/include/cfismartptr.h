#ifndef FRIM_PDK_CFISMARTPTR_H
#define FRIM_PDK_CFISMARTPTR_H

#include "cfirefcount.h"

namespace frim_pdk_4_4 {

// Allocation policy for pointers that are only ever given existing objects
// (sessions, messages, private data). It never creates one.
template <class T>
struct CFiNullAllocator {
  static T* create() { return nullptr; }
};

// Allocation policy of the context singletons: `CFiSmartPtr(true)` creates a
// default-constructed T.
template <class T>
struct CFiContextSingletonAllocator {
  static T* create() { return new T(); }
};

// Intrusive counted pointer over a T that derives virtually from CFiRefCount.
// Copies share the object; the last release deletes it through its virtual
// destructor.
template <class T, class Allocator = CFiNullAllocator<T>>
class CFiSmartPtr {
 public:
  CFiSmartPtr() = default;

  // With `create` true, holds a new T from the allocation policy (count 1);
  // with false, or under CFiNullAllocator, starts empty.
  explicit CFiSmartPtr(bool create) {
    if (create) attach(Allocator::create());
  }

  // Shares an existing object (adds one to its count). A null pointer gives
  // an empty CFiSmartPtr.
  explicit CFiSmartPtr(T* object) { attach(object); }

  CFiSmartPtr(const CFiSmartPtr& other) { attach(other.m_ptr); }

  template <class U, class OtherAllocator>
  CFiSmartPtr(const CFiSmartPtr<U, OtherAllocator>& other) {  // NOLINT: implicit by design
    attach(other.get());
  }

  CFiSmartPtr(CFiSmartPtr&& other) noexcept : m_ptr(other.m_ptr) { other.m_ptr = nullptr; }

  // Self-assignment (or the same object again) changes nothing. Otherwise
  // the old object is released first and the new one then counted: an
  // object must not be assigned from a pointer that only the old target
  // keeps alive.
  CFiSmartPtr& operator=(const CFiSmartPtr& other) {
    if (this != &other && m_ptr != other.m_ptr) {
      T* incoming = other.m_ptr;
      release();
      attach(incoming);
    }
    return *this;
  }

  CFiSmartPtr& operator=(CFiSmartPtr&& other) noexcept {
    if (this != &other) {
      release();
      m_ptr = other.m_ptr;
      other.m_ptr = nullptr;
    }
    return *this;
  }

  ~CFiSmartPtr() { release(); }

  // Drops this pointer's reference. Returns -1 when the pointer was empty,
  // else the count that decrement() reported. At zero the count is put back
  // to 1 before the delete, so anything that takes and drops a reference to
  // the object while it is being destroyed cannot delete it a second time.
  // While the object is being destroyed this pointer still names it, so a
  // destructor that reaches the same holder finds the dying object rather
  // than creating a new one.
  int release() {
    if (m_ptr == nullptr) return -1;
    int count = m_ptr->decrement();
    if (count == 0) {
      m_ptr->increment();
      delete m_ptr;
    }
    m_ptr = nullptr;
    return count;
  }

  T* get() const { return m_ptr; }
  T* operator->() const { return m_ptr; }
  T& operator*() const { return *m_ptr; }
  bool isNull() const { return m_ptr == nullptr; }
  explicit operator bool() const { return m_ptr != nullptr; }

 private:
  void attach(T* object) {
    m_ptr = object;
    if (m_ptr) m_ptr->increment();
  }

  T* m_ptr = nullptr;
};

}  // namespace frim_pdk_4_4

#endif
