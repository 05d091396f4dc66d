#include "plugin.h"

#include <dlfcn.h>
#include <limits.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "hints.h"
#include "problem.h"

namespace fihost {

namespace {

bool readable(const std::string& path) { return ::access(path.c_str(), R_OK) == 0; }

std::string executableDirectory() {
  char buffer[PATH_MAX];
  ssize_t length = ::readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  if (length <= 0) return ".";
  std::string path(buffer, static_cast<size_t>(length));
  return path.substr(0, path.rfind('/'));
}

}  // namespace

std::string defaultPluginPath() {
  if (readable(FIHOST_INSTALLED_PLUGIN)) return FIHOST_INSTALLED_PLUGIN;
  const std::string built = executableDirectory() + "/" FIHOST_BUILT_PLUGIN;
  char resolved[PATH_MAX];
  return ::realpath(built.c_str(), resolved) ? std::string(resolved) : built;
}

Plugin::Plugin(const std::string& path, bool requireInit) : m_path(path) {
  // Never unmapped: fihost exits soon after fini, and a library unmapped
  // with thread-local storage still registered trips leak checkers at exit.
  m_handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (m_handle == nullptr) {
    const char* why = ::dlerror();
    throw Problem("cannot load the plugin " + path + ": " + (why ? why : "unknown reason") +
                  " (give its path with --plugin)");
  }
  auto init = entry<int (*)(zfi_fw_info*, zfi_version*, const char*)>("init");
  static char language[] = "en_US";
  static char* languages[] = {language, nullptr};
  static zfi_fw_info info{nullptr, nullptr, nullptr, languages};
  m_initResult = init(&info, &m_version, "hitachifi");
  m_initialised = true;  // fini undoes a partial init too
  if (m_initResult != 0 && requireInit) throw Problem(initFailure());
}

std::string Plugin::initFailure() const {
  return "the plugin's init returned " + resultText(m_initResult);
}

Plugin::~Plugin() {
  if (m_initialised) {
    auto fini = reinterpret_cast<void (*)()>(::dlsym(m_handle, "hitachifi_fi_pgn_fini"));
    if (fini) fini();
  }
  if (m_handle) ::dlclose(m_handle);
}

void* Plugin::symbol(const char* op) const {
  const std::string name = std::string("hitachifi_fi_pgn_") + op;
  void* address = ::dlsym(m_handle, name.c_str());
  if (address == nullptr) throw Problem(m_path + " has no entry point " + name);
  return address;
}

std::vector<PluginMessage> Plugin::takeMessages() {
  std::vector<PluginMessage> messages;
  auto lastError = entry<int (*)(zfi_msg_info**)>("get_last_error");
  auto delLastError = entry<int (*)(zfi_msg_info**)>("del_last_error");
  auto localeMessage = entry<int (*)(int*, zfi_msg_info*, const char*, char**)>("get_locale_message");
  auto delLocaleMessage = entry<int (*)(char**)>("del_locale_message");
  zfi_msg_info* info = nullptr;
  // Bounded: the kit keeps at most 64, and a message that cannot be dropped
  // must not hold fihost forever.
  for (int guard = 0; guard < 256 && lastError(&info) == 0 && info != nullptr; ++guard) {
    PluginMessage message;
    message.index = info->msg_index;
    message.severity = info->severity;
    message.id = info->msg_id ? info->msg_id : "";
    char* text = nullptr;
    int length = 0;
    if (localeMessage(&length, info, nullptr, &text) == 0 && text != nullptr) {
      message.text = text;
      delLocaleMessage(&text);
    } else if (info->text) {
      message.text = info->text;
    }
    for (int i = 0; i < info->arg_count && info->args != nullptr; ++i) {
      if (info->args[i].type == ZFI_MSG_ARG_STRING && info->args[i].str_value && *info->args[i].str_value)
        message.details.push_back(info->args[i].str_value);
    }
    messages.push_back(message);
    if (delLastError(&info) != 0) break;
  }
  return messages;
}

std::string describe(const PluginMessage& message) {
  std::string out = message.id + " (" + std::to_string(message.index) + "): " + message.text;
  if (!message.details.empty()) {
    out += " [";
    for (size_t i = 0; i < message.details.size(); ++i) out += (i ? "; " : "") + message.details[i];
    out += "]";
  }
  return out;
}

}  // namespace fihost
