#include "cfierrormanager.h"

#include <cstdlib>
#include <cstring>

namespace frim_pdk_4_4 {

namespace {

char* duplicate(const std::string& text) { return ::strdup(text.c_str()); }

std::string toUtf8(const icu::UnicodeString& text) {
  std::string out;
  text.toUTF8String(out);
  return out;
}

// Rebuilds a message from a framework record, for formatting in a locale.
CFiIcuMessage messageFromInfo(const zfi_msg_info& info) {
  std::vector<icu::Formattable> args;
  for (int i = 0; i < info.arg_count && info.args != nullptr; ++i) {
    const zfi_msg_arg& arg = info.args[i];
    if (arg.type == ZFI_MSG_ARG_INT) {
      args.emplace_back(static_cast<int64_t>(arg.int_value));
    } else {
      args.emplace_back(icu::UnicodeString::fromUTF8(arg.str_value ? arg.str_value : ""));
    }
  }
  return CFiIcuMessage(info.msg_id, args.data(), static_cast<int>(args.size()), info.severity, info.file,
                       info.line);
}

}  // namespace

CFiErrorHandler::CFiErrorHandler(zfi_fw_info* frameworkInfo, const std::string& language,
                                 const CFiCatalogManagerPtr& catalogs)
    : m_frameworkInfo(frameworkInfo), m_language(language), m_catalogs(catalogs) {}

CFiErrorHandler::~CFiErrorHandler() = default;

CFiErrorManager::CFiErrorManager() = default;
CFiErrorManager::~CFiErrorManager() = default;

void CFiErrorManager::pushError(CFiMessagePtr message) {
  if (!message) return;
  m_messages.push_front(message);
  while (m_messages.size() > kMaxMessages) m_messages.pop_back();
}

CFiMessagePtr CFiErrorManager::peek() const {
  return m_messages.empty() ? CFiMessagePtr() : m_messages.front();
}

void CFiErrorManager::registerHandler(CFiErrorHandler* handler) { m_handler.reset(handler); }

std::string CFiErrorManager::format(const CFiMessage& message, char const* locale, int& index) const {
  if (m_handler && m_handler->getCatalogManager()) {
    return m_handler->getCatalogManager()->format(message, locale, index);
  }
  index = 0;
  return message.getId() + ": " + renderArguments(message.getArguments());
}

int CFiErrorManager::getLastError(zfi_msg_info** info) {
  if (info == nullptr) return ZFI_E_INVALID;
  *info = nullptr;
  if (m_messages.empty()) return ZFI_OK;
  const CFiMessage& message = *m_messages.front();
  zfi_msg_info* record = static_cast<zfi_msg_info*>(std::calloc(1, sizeof(zfi_msg_info)));
  if (record == nullptr) return ZFI_E_NO_PRIVDATA;
  int index = 0;
  record->text = duplicate(format(message, "root", index));
  record->msg_index = index + m_messageIndexOffset;
  record->severity = message.getSeverity();
  record->msg_id = duplicate(message.getId());
  record->file = duplicate(message.getFile());
  record->line = message.getLine();
  const std::vector<icu::Formattable>& args = message.getArguments();
  record->arg_count = static_cast<int>(args.size());
  record->args =
      args.empty() ? nullptr : static_cast<zfi_msg_arg*>(std::calloc(args.size(), sizeof(zfi_msg_arg)));
  for (size_t i = 0; record->args != nullptr && i < args.size(); ++i) {
    const icu::Formattable& arg = args[i];
    if (arg.getType() == icu::Formattable::kString) {
      icu::UnicodeString text;
      record->args[i].type = ZFI_MSG_ARG_STRING;
      record->args[i].str_value = duplicate(toUtf8(arg.getString(text)));
    } else {
      UErrorCode status = U_ZERO_ERROR;
      record->args[i].type = ZFI_MSG_ARG_INT;
      record->args[i].int_value = arg.getInt64(status);
    }
  }
  if (!args.empty() && record->args == nullptr) record->arg_count = 0;
  *info = record;
  return ZFI_OK;
}

int CFiErrorManager::delLastError(zfi_msg_info** info) {
  if (info != nullptr) {
    freeMessageInfo(*info);
    *info = nullptr;
  }
  if (m_messages.empty()) return ZFI_E_INVALID;
  m_messages.pop_front();
  return ZFI_OK;
}

int CFiErrorManager::getLocaleMessage(int* length, zfi_msg_info* info, char const* locale, char** text) {
  if (text == nullptr) return ZFI_E_INVALID;
  *text = nullptr;
  if (length) *length = 0;
  if (info == nullptr || info->msg_id == nullptr) return ZFI_E_INVALID;
  const char* language = locale;
  if (language == nullptr && m_handler) language = m_handler->getLanguage().c_str();
  int index = 0;
  CFiIcuMessage message = messageFromInfo(*info);
  std::string formatted = format(message, language, index);
  *text = duplicate(formatted);
  if (*text == nullptr) return ZFI_E_NO_PRIVDATA;
  if (length) *length = static_cast<int>(formatted.size());
  return ZFI_OK;
}

int CFiErrorManager::delLocaleMessage(char** text) {
  if (text == nullptr) return ZFI_E_INVALID;
  std::free(*text);
  *text = nullptr;
  return ZFI_OK;
}

void CFiErrorManager::freeMessageInfo(zfi_msg_info* info) {
  if (info == nullptr) return;
  for (int i = 0; i < info->arg_count && info->args != nullptr; ++i) std::free(info->args[i].str_value);
  std::free(info->args);
  std::free(info->msg_id);
  std::free(info->text);
  std::free(info->file);
  std::free(info);
}

}  // namespace frim_pdk_4_4
