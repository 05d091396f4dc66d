#ifndef FRIM_PDK_CFILIST_H
#define FRIM_PDK_CFILIST_H

#include <ace/SString.h>

#include <cstdint>
#include <string>
#include <vector>

#include "zfi.h"

namespace frim_pdk_4_4 {

class CFiStringTool {
 public:
  // A copy of `text` in a frim_alloc_buf block (length + 1 bytes); null when
  // no memory can be had.
  static char* tstrdup(const ACE_CString& text);
  // A null-terminated array of copies of `texts`, each and the array in
  // frim_alloc_buf blocks ((count + 1) pointers); null on failure, with
  // nothing left allocated.
  static char** tstrduplist(const std::vector<ACE_CString>& texts);
  // Frees what tstrduplist made.
  static void tstrfreelist(char** list);
};

// A provider as enumerate_providers reports it.
struct CFiProviderInfo {
  ACE_CString m_name;
  uint16_t m_version[4] = {0, 0, 0, 0};
  int m_firstAttribute = 0;
  int m_secondAttribute = 0;
  std::vector<ACE_CString> m_udidPrefixes;
};

// A snapshot method (FIM) as enumerate_fims reports it.
struct CFiFim {
  CFiFim(const std::string& name, int consistencyClass, int fimType, int syncType, int technology, int firstNumber,
         int secondNumber, const std::string& displayName, const std::string& version, const std::string& text)
      : m_name(name), m_consistencyClass(consistencyClass), m_fimType(fimType), m_syncType(syncType),
        m_technology(technology), m_firstNumber(firstNumber), m_secondNumber(secondNumber),
        m_displayName(displayName), m_version(version), m_text(text) {}
  std::string m_name;
  int m_consistencyClass;
  int m_fimType;
  int m_syncType;
  int m_technology;
  int m_firstNumber;
  int m_secondNumber;
  std::string m_displayName;
  std::string m_version;
  std::string m_text;
};

// Builds a singly linked framework list of E (with a `next` member) at the
// tail, counting its elements. The list belongs to the builder until
// release(); a builder that still holds its list frees it when destroyed.
template <class E>
class CFiList {
 public:
  using Free = void (*)(E*);
  explicit CFiList(Free freeElement) : m_free(freeElement) {}
  ~CFiList() {
    for (E* element = m_head; element != nullptr;) {
      E* next = element->next;
      m_free(element);
      element = next;
    }
  }
  CFiList(const CFiList&) = delete;
  CFiList& operator=(const CFiList&) = delete;

  void append(E* element) {
    if (element == nullptr) return;
    element->next = nullptr;
    if (m_tail) m_tail->next = element;
    else m_head = element;
    m_tail = element;
    ++m_count;
  }
  E* release() {
    E* head = m_head;
    m_head = m_tail = nullptr;
    m_count = 0;
    return head;
  }
  int count() const { return m_count; }

 private:
  Free m_free;
  E* m_head = nullptr;
  E* m_tail = nullptr;
  int m_count = 0;
};

// Copies providers into a zfi_provider_list for the caller's out pointer.
class CFiProviderListFactory {
 public:
  explicit CFiProviderListFactory(zfi_provider_list** out);
  // Stores the list in the out pointer (or frees it when there is none).
  ~CFiProviderListFactory();
  bool add(const CFiProviderInfo& info);
  int count() const { return m_list.count(); }
  static void freeElement(zfi_provider_list* element);
  // Frees a whole list as the framework would.
  static void freeList(zfi_provider_list* head);

 private:
  zfi_provider_list** m_out;
  CFiList<zfi_provider_list> m_list;
};

// Copies FIMs into a zfi_fim_list for the caller's out pointer.
class CFiFimListFactory {
 public:
  explicit CFiFimListFactory(zfi_fim_list** out);
  ~CFiFimListFactory();
  bool add(const CFiFim& fim);
  int count() const { return m_list.count(); }
  static void freeElement(zfi_fim_list* element);
  static void freeList(zfi_fim_list* head);

 private:
  zfi_fim_list** m_out;
  CFiList<zfi_fim_list> m_list;
};

}  // namespace frim_pdk_4_4

#endif
