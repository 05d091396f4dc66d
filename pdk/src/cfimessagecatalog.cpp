#include "cfimessagecatalog.h"

#include <dlfcn.h>
#include <unicode/locid.h>
#include <unicode/msgfmt.h>
#include <unicode/udata.h>
#include <unicode/umsg.h>
#include <unicode/ures.h>

#include <cstdlib>
#include <cstring>
#include <mutex>

// The compiled catalog, generated at build time from messages/root.txt, and
// its size in bytes.
extern "C" const struct {
  double bogus;
  uint8_t bytes[1];
} hitachifimsg_hitachifimsg_dat;
extern "C" const unsigned long hitachifimsg_dat_size;

namespace frim_pdk_4_4 {

namespace {

const char kPackage[] = "hitachifimsg";

// ICU's caches live as long as its libraries. When the plugin is the only
// user, unloading the plugin would unload ICU too and strand them, so the
// kit keeps the ICU libraries it uses loaded for the life of the process.
void pinLibraryOf(const void* symbol) {
  Dl_info info;
  if (::dladdr(symbol, &info) != 0 && info.dli_fname != nullptr) {
    ::dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
  }
}

// ICU keeps application data, and the bundles it opened from it, by package
// name for as long as ICU is loaded, which is longer than the plugin: the
// framework may unload and load the plugin again. ICU is therefore given a
// copy that is never freed rather than the library's own bytes, which vanish
// at dlclose. A reloaded plugin finds the package registered already (ICU
// answers with a warning) and goes on using the first copy.
bool registerEmbeddedCatalog() {
  static std::once_flag once;
  static bool registered = false;
  std::call_once(once, [] {
    pinLibraryOf(reinterpret_cast<const void*>(&ures_open));
    pinLibraryOf(reinterpret_cast<const void*>(&umsg_open));
    void* copy = std::malloc(hitachifimsg_dat_size);  // malloc's alignment suits ICU data
    if (copy == nullptr) return;
    std::memcpy(copy, hitachifimsg_hitachifimsg_dat.bytes, hitachifimsg_dat_size);
    UErrorCode status = U_ZERO_ERROR;
    udata_setAppData(kPackage, copy, &status);
    registered = U_SUCCESS(status) || status == U_USING_DEFAULT_WARNING;
    if (status != U_ZERO_ERROR) std::free(copy);  // ICU kept an earlier copy, or refused this one
  });
  return registered;
}

// RAII for ICU resource bundles.
struct Bundle {
  UResourceBundle* handle = nullptr;
  ~Bundle() {
    if (handle) ures_close(handle);
  }
};

std::string toUtf8(const icu::UnicodeString& text) {
  std::string out;
  text.toUTF8String(out);
  return out;
}

}  // namespace

std::string renderArguments(const std::vector<icu::Formattable>& arguments) {
  std::string out;
  for (size_t i = 0; i < arguments.size(); ++i) {
    if (i) out += ", ";
    const icu::Formattable& arg = arguments[i];
    switch (arg.getType()) {
      case icu::Formattable::kString: {
        icu::UnicodeString text;
        out += toUtf8(arg.getString(text));
        break;
      }
      case icu::Formattable::kLong:
        out += std::to_string(arg.getLong());
        break;
      case icu::Formattable::kInt64:
        out += std::to_string(arg.getInt64());
        break;
      case icu::Formattable::kDouble:
        out += std::to_string(arg.getDouble());
        break;
      default:
        out += "?";
        break;
    }
  }
  return out;
}

CFiIcuMessageCatalogFactory::CFiIcuMessageCatalogFactory(char const* catalog, const ACE_CString& pluginName)
    : m_catalog(catalog ? catalog : "root"), m_pluginName(pluginName.c_str()) {}

CFiIcuMessageCatalogFactory::~CFiIcuMessageCatalogFactory() = default;

bool CFiIcuMessageCatalogFactory::lookup(const std::string& id, char const* locale,
                                         icu::UnicodeString& pattern, int& index) {
  if (!registerEmbeddedCatalog()) return false;
  const char* bundleLocale = (locale != nullptr && *locale != '\0') ? locale : m_catalog.c_str();
  UErrorCode status = U_ZERO_ERROR;
  Bundle root;
  root.handle = ures_open(kPackage, bundleLocale, &status);
  if (U_FAILURE(status)) {
    // A locale name ICU cannot take (too long, malformed) still gets the
    // catalog's own texts.
    if (root.handle) ures_close(root.handle);
    status = U_ZERO_ERROR;
    root.handle = ures_open(kPackage, m_catalog.c_str(), &status);
    if (U_FAILURE(status)) return false;
  }
  Bundle entry;
  entry.handle = ures_getByKey(root.handle, id.c_str(), nullptr, &status);
  if (U_FAILURE(status)) return false;
  int32_t length = 0;
  const UChar* text = ures_getStringByKey(entry.handle, "text", &length, &status);
  if (U_FAILURE(status)) return false;
  Bundle indexEntry;
  indexEntry.handle = ures_getByKey(entry.handle, "index", nullptr, &status);
  index = U_SUCCESS(status) ? ures_getInt(indexEntry.handle, &status) : 0;
  pattern.setTo(text, length);
  return true;
}

CFiMessageCatalogManager::CFiMessageCatalogManager() = default;
CFiMessageCatalogManager::~CFiMessageCatalogManager() = default;

void CFiMessageCatalogManager::registerFactory(CFiMessageCatalogFactory* factory) {
  if (factory) m_factories.emplace_back(factory);
}

std::string CFiMessageCatalogManager::format(const CFiMessage& message, char const* locale, int& index) {
  index = 0;
  const char* language = locale ? locale : m_nativeLanguage.c_str();
  const std::vector<icu::Formattable>& args = message.getArguments();
  for (auto& factory : m_factories) {
    icu::UnicodeString pattern;
    int found = 0;
    if (!factory->lookup(message.getId(), language, pattern, found)) continue;
    index = found;
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale formatLocale(language);
    if (formatLocale.isBogus()) formatLocale = icu::Locale::getRoot();
    icu::MessageFormat formatter(pattern, formatLocale, status);
    if (U_SUCCESS(status)) {
      icu::UnicodeString result;
      icu::FieldPosition position(icu::FieldPosition::DONT_CARE);
      formatter.format(args.data(), static_cast<int32_t>(args.size()), result, position, status);
      // Missing arguments stay as their {n} placeholders; extra ones are ignored.
      if (U_SUCCESS(status)) return toUtf8(result);
    }
    break;  // the pattern does not take these arguments: render plainly
  }
  return message.getId() + ": " + renderArguments(args);
}

}  // namespace frim_pdk_4_4
