#ifndef FRIM_PDK_CFIMESSAGECATALOG_H
#define FRIM_PDK_CFIMESSAGECATALOG_H

#include <ace/SString.h>
#include <unicode/unistr.h>

#include <memory>
#include <string>
#include <vector>

#include "cfimessage.h"
#include "cfitraceable.h"

namespace frim_pdk_4_4 {

// A source of message texts.
class CFiMessageCatalogFactory {
 public:
  virtual ~CFiMessageCatalogFactory() = default;
  // The pattern (ICU MessageFormat) and catalog index of message `id` in
  // `locale` (null or empty: the catalog's root). False when the catalog has
  // no such message.
  virtual bool lookup(const std::string& id, char const* locale, icu::UnicodeString& pattern, int& index) = 0;
};

// The plugin's compiled message catalog, embedded in the library as ICU
// common data (package "hitachifimsg"). `catalog` names the bundle ("root");
// a locale the catalog does not have falls back to it, as ICU resource
// bundles do. On first use the data is copied to memory that lives as long
// as the process and registered with ICU (udata_setAppData), so no data file
// is read at run time and unloading the plugin leaves ICU nothing dangling.
class CFiIcuMessageCatalogFactory : public CFiMessageCatalogFactory {
 public:
  CFiIcuMessageCatalogFactory(char const* catalog, const ACE_CString& pluginName);
  ~CFiIcuMessageCatalogFactory() override;
  bool lookup(const std::string& id, char const* locale, icu::UnicodeString& pattern, int& index) override;
  const std::string& getCatalog() const { return m_catalog; }

 private:
  std::string m_catalog;
  std::string m_pluginName;
};

// Formats messages with the registered catalogs (first match wins).
class CFiMessageCatalogManager : public virtual CFiRefCount, public virtual CFiTraceable {
 public:
  CFiMessageCatalogManager();
  ~CFiMessageCatalogManager() override;

  // Takes ownership.
  void registerFactory(CFiMessageCatalogFactory* factory);
  size_t factoryCount() const { return m_factories.size(); }

  void setNativeLanguage(char const* language) { m_nativeLanguage = language ? language : ""; }
  const std::string& getNativeLanguage() const { return m_nativeLanguage; }

  // The message's text in `locale` (null: the native language; empty
  // native language: the catalog's root) and its catalog index (0 when no
  // catalog knows the id). Never fails: a message no catalog knows, or whose
  // arguments do not fit its pattern, is rendered as its id followed by its
  // arguments.
  std::string format(const CFiMessage& message, char const* locale, int& index);

 private:
  std::vector<std::unique_ptr<CFiMessageCatalogFactory>> m_factories;
  std::string m_nativeLanguage;
};

using CFiCatalogManagerPtr =
    CFiSmartPtr<CFiMessageCatalogManager, CFiContextSingletonAllocator<CFiMessageCatalogManager>>;

// Renders an argument list plainly: "a, 2, c".
std::string renderArguments(const std::vector<icu::Formattable>& arguments);

}  // namespace frim_pdk_4_4

#endif
