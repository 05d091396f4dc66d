// Formatting a message record the framework hands back, or one the plugin
// pushed, must never crash whatever its id, locale and arguments.
// Input: fields separated by NUL bytes: id, locale, then arguments; an
// argument starting with '#' is an integer (the rest, as decimal), any other
// a text. Run: fuzz_messages corpus/
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "cfierrormanager.h"

using namespace frim_pdk_4_4;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static CFiErrorManager* errors = [] {
    auto* made = new CFiErrorManager();
    made->increment();
    CFiCatalogManagerPtr catalogs(new CFiMessageCatalogManager());
    catalogs->registerFactory(new CFiIcuMessageCatalogFactory("root", ACE_CString("hitachifi")));
    made->registerHandler(new CFiErrorHandler(nullptr, "en", catalogs));
    return made;
  }();
  std::vector<std::string> fields(2);
  for (size_t i = 0, field = 0; i < size; ++i) {
    if (data[i] == 0 && ++field >= fields.size()) fields.emplace_back();
    if (data[i] != 0) fields[field] += static_cast<char>(data[i]);
  }
  std::vector<zfi_msg_arg> args;
  std::vector<icu::Formattable> values;
  for (size_t i = 2; i < fields.size(); ++i) {
    const bool number = !fields[i].empty() && fields[i][0] == '#';
    const long long value = number ? std::strtoll(fields[i].c_str() + 1, nullptr, 10) : 0;
    args.push_back({number ? ZFI_MSG_ARG_INT : ZFI_MSG_ARG_STRING, value, number ? nullptr : &fields[i][0]});
    values.push_back(number ? icu::Formattable(static_cast<int64_t>(value))
                            : icu::Formattable(icu::UnicodeString::fromUTF8(fields[i])));
  }
  zfi_msg_info record{};
  record.msg_id = &fields[0][0];
  record.arg_count = static_cast<int>(args.size());
  record.args = args.empty() ? nullptr : args.data();
  char* text = nullptr;
  int length = 0;
  const char* locale = fields[1].empty() ? nullptr : fields[1].c_str();
  if (errors->getLocaleMessage(&length, &record, locale, &text) != 0 || text == nullptr) __builtin_trap();
  errors->delLocaleMessage(&text);

  errors->pushError(CFiMessagePtr(new CFiIcuMessage(
      fields[0].c_str(), values.data(), static_cast<int>(values.size()), ZFI_SEV_CRITICAL, "f", 1)));
  zfi_msg_info* info = nullptr;
  if (errors->getLastError(&info) != 0 || info == nullptr) __builtin_trap();
  errors->delLastError(&info);
  return 0;
}
