#ifndef FIHOST_PLUGIN_H
#define FIHOST_PLUGIN_H

#include <string>
#include <vector>

#include "zfi.h"

namespace fihost {

// Where the plugin is looked for when --plugin is not given: the installed
// one when it exists, else the one built beside this tool.
std::string defaultPluginPath();

// One message the plugin reported, as get_last_error and get_locale_message
// give it. `details` are the message's text arguments, among them the
// array's own error text when an array call failed.
struct PluginMessage {
  int index = 0;
  int severity = 0;
  std::string id;
  std::string text;
  std::vector<std::string> details;
};

// The plugin library, loaded with dlopen and driven only through its
// exported hitachifi_fi_pgn_* entry points. init runs in the constructor
// (as a framework calls it at load) and fini in the destructor.
class Plugin {
 public:
  // Throws Problem when the library cannot be loaded, lacks init, or (with
  // `requireInit`) its init fails.
  explicit Plugin(const std::string& path, bool requireInit = true);
  ~Plugin();
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  const std::string& path() const { return m_path; }
  const zfi_version& version() const { return m_version; }
  // init's result, and what it means for an administrator.
  int initResult() const { return m_initResult; }
  std::string initFailure() const;

  // The entry point hitachifi_fi_pgn_<op>; throws Problem when it is missing.
  void* symbol(const char* op) const;
  template <class Fn>
  Fn entry(const char* op) const {
    return reinterpret_cast<Fn>(symbol(op));
  }

  // Takes every message the plugin holds, newest first, and removes them.
  std::vector<PluginMessage> takeMessages();

  // A provider state set in this process: the plugin's node records then
  // lack the source's LUN, so isready, prepare and make would address the
  // wrong LUN. Only restore may follow; FrameworkSession enforces it.
  void noteProviderStateSet() { m_providerStateSet = true; }
  bool providerStateSet() const { return m_providerStateSet; }

 private:
  std::string m_path;
  void* m_handle = nullptr;
  zfi_version m_version{};
  bool m_initialised = false;
  int m_initResult = 0;
  bool m_providerStateSet = false;
};

// "MSG_ID (6012): text [detail; detail]" for printing.
std::string describe(const PluginMessage& message);

}  // namespace fihost

#endif
