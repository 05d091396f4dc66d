// Formatting a message record the framework hands back must never crash,
// whatever its id, locale and arguments: get_locale_message rebuilds the
// message from the record and formats it with the embedded catalog.
//
// Input layout: fields separated by NUL bytes: id, locale, then arguments;
// an argument whose first byte is '#' is an integer (the rest, as decimal),
// any other is a text. Run: fuzz_messages corpus/
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "cfierrormanager.h"
#include "hitachi_clierror.h"

using namespace frim_pdk_4_4;

namespace {

CFiErrorManager& manager() {
  static CFiErrorManager* errors = [] {
    auto* made = new CFiErrorManager();
    made->increment();
    CFiCatalogManagerPtr catalogs(new CFiMessageCatalogManager());
    catalogs->registerFactory(new CFiIcuMessageCatalogFactory("root", ACE_CString("hitachifi")));
    made->registerHandler(new CFiErrorHandler(nullptr, "en", catalogs));
    return made;
  }();
  return *errors;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<std::string> fields(1);
  for (size_t i = 0; i < size; ++i) {
    if (data[i] == 0) {
      fields.emplace_back();
    } else {
      fields.back() += static_cast<char>(data[i]);
    }
  }
  while (fields.size() < 2) fields.emplace_back();
  std::vector<zfi_msg_arg> args;
  for (size_t i = 2; i < fields.size(); ++i) {
    zfi_msg_arg arg{};
    if (!fields[i].empty() && fields[i][0] == '#') {
      arg.type = ZFI_MSG_ARG_INT;
      arg.int_value = std::strtoll(fields[i].c_str() + 1, nullptr, 10);
    } else {
      arg.type = ZFI_MSG_ARG_STRING;
      arg.str_value = &fields[i][0];
    }
    args.push_back(arg);
  }
  zfi_msg_info record{};
  record.msg_id = &fields[0][0];
  record.arg_count = static_cast<int>(args.size());
  record.args = args.empty() ? nullptr : args.data();
  char* text = nullptr;
  int length = 0;
  const char* locale = fields[1].empty() ? nullptr : fields[1].c_str();
  if (manager().getLocaleMessage(&length, &record, locale, &text) != 0 || text == nullptr) __builtin_trap();
  manager().delLocaleMessage(&text);

  // The same message pushed and fetched as the plugin's own.
  std::vector<icu::Formattable> values;
  for (const zfi_msg_arg& arg : args) {
    if (arg.type == ZFI_MSG_ARG_INT) {
      values.emplace_back(static_cast<int64_t>(arg.int_value));
    } else {
      values.emplace_back(icu::UnicodeString::fromUTF8(arg.str_value));
    }
  }
  manager().pushError(CFiMessagePtr(new CFiIcuMessage(
      fields[0].c_str(), values.data(), static_cast<int>(values.size()), ZFI_SEV_CRITICAL, "f", 1)));
  zfi_msg_info* info = nullptr;
  if (manager().getLastError(&info) != 0 || info == nullptr) __builtin_trap();
  manager().delLastError(&info);
  return 0;
}
