#include "cfilist.h"

#include <cstring>

namespace frim_pdk_4_4 {

namespace {

void freeText(char* text) {
  if (text) frim_free_buf(text, std::strlen(text) + 1);
}

char* dup(const std::string& text) { return CFiStringTool::tstrdup(ACE_CString(text.c_str())); }

}  // namespace

char* CFiStringTool::tstrdup(const ACE_CString& text) {
  char* copy = static_cast<char*>(frim_alloc_buf(text.length() + 1));
  if (copy == nullptr) return nullptr;
  std::memcpy(copy, text.c_str(), text.length());
  copy[text.length()] = '\0';
  return copy;
}

char** CFiStringTool::tstrduplist(const std::vector<ACE_CString>& texts) {
  char** list = static_cast<char**>(frim_alloc_buf((texts.size() + 1) * sizeof(char*)));
  if (list == nullptr) return nullptr;
  for (size_t i = 0; i < texts.size(); ++i) {
    list[i] = tstrdup(texts[i]);
    if (list[i] == nullptr) {
      tstrfreelist(list);
      return nullptr;
    }
  }
  list[texts.size()] = nullptr;
  return list;
}

void CFiStringTool::tstrfreelist(char** list) {
  if (list == nullptr) return;
  size_t count = 0;
  for (; list[count] != nullptr; ++count) freeText(list[count]);
  frim_free_buf(list, (count + 1) * sizeof(char*));
}

CFiProviderListFactory::CFiProviderListFactory(zfi_provider_list** out) : m_out(out), m_list(&freeElement) {}

CFiProviderListFactory::~CFiProviderListFactory() {
  if (m_out) *m_out = m_list.release();
}

bool CFiProviderListFactory::add(const CFiProviderInfo& info) {
  zfi_provider_list* element = static_cast<zfi_provider_list*>(frim_alloc_buf(sizeof(zfi_provider_list)));
  if (element == nullptr) return false;
  std::memset(element, 0, sizeof *element);
  element->name = CFiStringTool::tstrdup(info.m_name);
  std::memcpy(element->version, info.m_version, sizeof element->version);
  element->first_attribute = info.m_firstAttribute;
  element->second_attribute = info.m_secondAttribute;
  element->udid_prefixes = CFiStringTool::tstrduplist(info.m_udidPrefixes);
  element->prefix_count = static_cast<int>(info.m_udidPrefixes.size());
  if (element->name == nullptr || element->udid_prefixes == nullptr) {
    freeElement(element);
    return false;
  }
  m_list.append(element);
  return true;
}

void CFiProviderListFactory::freeElement(zfi_provider_list* element) {
  if (element == nullptr) return;
  freeText(element->name);
  CFiStringTool::tstrfreelist(element->udid_prefixes);
  frim_free_buf(element, sizeof *element);
}

void CFiProviderListFactory::freeList(zfi_provider_list* head) {
  while (head) {
    zfi_provider_list* next = head->next;
    freeElement(head);
    head = next;
  }
}

CFiFimListFactory::CFiFimListFactory(zfi_fim_list** out) : m_out(out), m_list(&freeElement) {}

CFiFimListFactory::~CFiFimListFactory() {
  if (m_out) *m_out = m_list.release();
}

bool CFiFimListFactory::add(const CFiFim& fim) {
  zfi_fim_list* element = static_cast<zfi_fim_list*>(frim_alloc_buf(sizeof(zfi_fim_list)));
  if (element == nullptr) return false;
  std::memset(element, 0, sizeof *element);
  element->name = dup(fim.m_name);
  element->consistency_class = fim.m_consistencyClass;
  element->fim_type = fim.m_fimType;
  element->sync_type = fim.m_syncType;
  element->technology = fim.m_technology;
  element->first_number = fim.m_firstNumber;
  element->second_number = fim.m_secondNumber;
  element->display_name = dup(fim.m_displayName);
  element->version = dup(fim.m_version);
  element->text = dup(fim.m_text);
  if (!element->name || !element->display_name || !element->version || !element->text) {
    freeElement(element);
    return false;
  }
  m_list.append(element);
  return true;
}

void CFiFimListFactory::freeElement(zfi_fim_list* element) {
  if (element == nullptr) return;
  freeText(element->name);
  freeText(element->display_name);
  freeText(element->version);
  freeText(element->text);
  frim_free_buf(element, sizeof *element);
}

void CFiFimListFactory::freeList(zfi_fim_list* head) {
  while (head) {
    zfi_fim_list* next = head->next;
    freeElement(head);
    head = next;
  }
}

}  // namespace frim_pdk_4_4
