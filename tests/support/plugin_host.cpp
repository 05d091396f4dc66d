#include "plugin_host.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "rmsim.h"

PluginHost::Folder::~Folder() {
  std::error_code ignored;
  if (!path.empty()) std::filesystem::remove_all(path, ignored);
}

HostNode::HostNode(const std::string& nodeName, const std::string& fimName)
    : name(nodeName), fim(fimName), altName(nodeName + "#alt"), objidName(nodeName) {
  objid.name = &objidName[0];
  objid.length = static_cast<uint32_t>(objidName.size() + 1);
  altObjid.name = &altName[0];
  altObjid.length = static_cast<uint32_t>(altName.size() + 1);
  domain.name = &name[0];
  domain.objid = &objid;
  alt.name = &altName[0];
  alt.objid = &altObjid;
  split.fim_name = &fim[0];
  split.node = &domain;
  split.alt_node = &alt;
}

std::string HostMessage::str() const {
  std::string line = id;
  for (const std::string& arg : args) line += " " + arg;
  return line;
}

PluginHost::PluginHost(const std::string& model, int traceLevel) {
  char pattern[] = "/tmp/hitachifi-host.XXXXXX";
  if (::mkdtemp(pattern) == nullptr) throw std::runtime_error("cannot create a temporary directory");
  m_dir.path = pattern;
  ::mkdir((dir() + "/cache").c_str(), 0755);
  ::mkdir((dir() + "/log").c_str(), 0755);
  // Host names come from a file of the test's own: no test asks DNS.
  std::ofstream(dir() + "/hosts") << "127.0.0.1 localhost\n10.0.0.7 db1.example.test db1\n";
  const std::pair<const char*, std::string> env[] = {{"RMSIM_DB", dir() + "/rmsim.db"},
                                                     {"FRIM_DLOPEN_ROOT", SIM_ROOT},
                                                     {"RMSIM_HOSTNAME", "db1"},
                                                     {"HITACHIFI_HOSTNAME", "db1"},
                                                     {"HITACHIFI_HOSTS_FILE", dir() + "/hosts"},
                                                     {"HITACHIFI_SYSFS_ROOT", dir() + "/sys"},
                                                     {"HITACHIFI_CACHE_DIR", dir() + "/cache"},
                                                     {"HITACHIFI_TRACE_DIR", dir() + "/log"},
                                                     {"HITACHIFI_TRACE_FILE", "trace.log"},
                                                     {"HITACHIFI_TRACE_LEVEL", std::to_string(traceLevel)}};
  for (const auto& var : env) ::setenv(var.first, var.second.c_str(), 1);
  ::unsetenv("HITACHIFI_SNAPSHOT_RESOURCE_SPEC");
  m_sim.reset(new rmsim::Simulator(dir() + "/rmsim.db"));
  m_sim->loadModel(model.empty() ? rmsim::Simulator::defaultModel() : model, "db1");
  load();
}

PluginHost::~PluginHost() {
  unload();
  m_sim.reset();
}

void PluginHost::load() {
  m_sim->writeSysfs(dir() + "/sys");
  m_handle = ::dlopen(PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
  if (m_handle == nullptr) throw std::runtime_error(std::string("dlopen: ") + ::dlerror());
  zfi_version version{};
  static char language[] = "en_US";  // the framework's language
  static char* languages[] = {language, nullptr};
  static zfi_fw_info info{nullptr, nullptr, nullptr, languages};  // the plugin may keep it
  const int rc = entry<int (*)(zfi_fw_info*, zfi_version*, const char*)>("init")(&info, &version, "fim");
  if (rc != 0) throw std::runtime_error("init returned " + std::to_string(rc));
  m_sim->clearJournal();
}

void PluginHost::unload() {
  if (m_handle == nullptr) return;
  entry<void (*)()>("fini")();
  ::dlclose(m_handle);
  m_handle = nullptr;
}

void PluginHost::reload() {
  unload();
  load();
}

void* PluginHost::symbol(const std::string& op) const {
  return m_handle ? ::dlsym(m_handle, ("hitachifi_fi_pgn_" + op).c_str()) : nullptr;
}

HostNode& PluginHost::node(const std::string& name, const std::string& fim, bool bare) {
  m_nodes.emplace_back(new HostNode(name, fim));
  HostNode& made = *m_nodes.back();
  if (!bare) {
    entry<int (*)(zfi_domain*, zfi_domain**, int, frim_objid*)>("init_node")(&made.domain, nullptr, 0,
                                                                             &made.objid);
    entry<int (*)(zfi_domain*, zfi_domain*, zfi_domain*)>("init_altnode")(&made.domain, &made.alt, nullptr);
  }
  return made;
}

namespace {

std::vector<zfi_splitnode*> splits(const std::vector<HostNode*>& nodes) {
  std::vector<zfi_splitnode*> list;
  for (HostNode* node : nodes) list.push_back(node ? &node->split : nullptr);
  return list;
}

struct Objects {
  std::deque<std::string> names;
  std::deque<frim_objid> ids;
  frim_objid* add(const std::string& name) {
    names.push_back(name);
    ids.push_back(frim_objid{});
    ids.back().name = &names.back()[0];
    ids.back().length = static_cast<uint32_t>(name.size() + 1);
    return &ids.back();
  }
};

}  // namespace

// select, isready or prepare (flags 0) of `nodes`, with a writable copy of the session id (null: none).
int PluginHost::listCall(const char* op, const char* session, const std::vector<HostNode*>& nodes) {
  auto list = splits(nodes);
  std::string id = session ? session : "";
  char* idArg = session ? &id[0] : nullptr;
  const int count = static_cast<int>(list.size());
  if (std::strcmp(op, "prepare") == 0)
    return entry<int (*)(zfi_splitnode*, char*, zfi_splitnode**, int, int)>(op)(nullptr, idArg, list.data(),
                                                                                count, 0);
  return entry<int (*)(zfi_splitnode*, char*, zfi_splitnode**, int)>(op)(nullptr, idArg, list.data(), count);
}

int PluginHost::select(const std::string& session, const std::vector<HostNode*>& nodes) {
  return listCall("select", session.c_str(), nodes);
}

int PluginHost::prepare(const std::string& session, const std::vector<HostNode*>& nodes) {
  return listCall("prepare", session.c_str(), nodes);
}

int PluginHost::isready(const std::vector<HostNode*>& nodes) { return listCall("isready", nullptr, nodes); }

int PluginHost::make(const std::string& session, const std::vector<HostNode*>& nodes,
                     std::vector<std::string>* names) {
  auto list = splits(nodes);
  std::string id = session;
  frim_objid** ids = nullptr;
  int count = 0;
  const int rc = entry<int (*)(zfi_splitnode*, char*, zfi_splitnode**, int, frim_objid***, int*)>("make")(
      nullptr, &id[0], list.data(), static_cast<int>(list.size()), &ids, &count);
  // The kit's own buffer functions serve a host that has none: plain heap blocks.
  for (int i = 0; ids != nullptr && i < count; ++i) {
    if (names) names->push_back(ids[i]->name);
    std::free(ids[i]->name);
    std::free(ids[i]);
  }
  std::free(ids);
  return rc;
}

int PluginHost::restore(frim_objid** sources, frim_objid** snapshots, long count, long flags) {
  char** names = nullptr;
  long outCount = 0, status = 0;
  return entry<int (*)(frim_objid**, frim_objid**, long, char*, char*, char***, long*, long, long*)>(
      "restore")(sources, snapshots, count, nullptr, nullptr, &names, &outCount, flags, &status);
}

int PluginHost::restore(const std::vector<std::pair<std::string, std::string>>& pairs, long flags) {
  Objects objects;
  std::vector<frim_objid*> sources, snapshots;
  for (const auto& pair : pairs) {
    sources.push_back(pair.first == "-" ? nullptr : objects.add(pair.first));
    snapshots.push_back(pair.second == "-" ? nullptr : objects.add(pair.second));
  }
  return restore(sources.data(), snapshots.data(), static_cast<long>(pairs.size()), flags);
}

int PluginHost::providerState(zfi_domain* node, zfi_blob* block, int op) {
  return entry<int (*)(zfi_domain*, zfi_blob*, int)>("process_providerstate")(node, block, op);
}

int PluginHost::getState(zfi_domain* node, std::string* text) {
  int marker = 0;
  zfi_blob block{99, &marker, 0xff};  // what a reused block may hold
  const int rc = providerState(node, &block, ZFI_GET_PROVIDERSTATE);
  if (block.data == &marker) return kBadBlock;
  text->assign(block.data ? static_cast<const char*>(block.data) : "");
  const bool whole = block.flags == 0 && block.length == (block.data ? text->size() + 1 : 0);
  std::free(block.data);  // as the framework frees it
  return whole ? rc : kBadBlock;
}

int PluginHost::setState(zfi_domain* node, const std::string& text, size_t length) {
  if (length == 0) length = text.size() + 1;
  std::vector<char> bytes(length);
  std::memcpy(bytes.data(), text.c_str(), std::min(length, text.size() + 1));
  zfi_blob block{length, bytes.data(), 0};
  return providerState(node, &block, ZFI_SET_PROVIDERSTATE);
}

int PluginHost::import(const std::string& name, const std::string& resource, int flags) {
  std::string nodeName = name, resourceName = resource;
  char* names[] = {resourceName.empty() ? nullptr : &resourceName[0], nullptr};
  return entry<int (*)(char**, char*, char*, char*, int, char**, char*)>("import_resource")(
      resourceName.empty() ? nullptr : names, nodeName.empty() ? nullptr : &nodeName[0], nullptr, nullptr,
      flags, nullptr, nullptr);
}

std::vector<HostMessage> PluginHost::messages() {
  std::vector<HostMessage> newestFirst;
  for (;;) {
    zfi_msg_info* record = nullptr;
    if (entry<int (*)(zfi_msg_info**)>("get_last_error")(&record) != 0 || record == nullptr) break;
    HostMessage message{record->msg_id ? record->msg_id : "",
                        {},
                        record->text ? record->text : "",
                        std::to_string(record->severity) + " " + (record->file ? record->file : "") + ":" +
                            std::to_string(record->line),
                        record->msg_index,
                        {}};
    for (int i = 0; i < record->arg_count; ++i) {
      const zfi_msg_arg& arg = record->args[i];
      message.args.push_back(arg.type == ZFI_MSG_ARG_STRING ? std::string("S:") + arg.str_value
                                                            : "I:" + std::to_string(arg.int_value));
    }
    for (const char* locale : {"de_DE", static_cast<const char*>(nullptr)}) {
      char* text = nullptr;
      int length = -1;
      const bool got = entry<int (*)(int*, zfi_msg_info*, const char*, char**)>("get_locale_message")(
                           &length, record, locale, &text) == 0 &&
                       text != nullptr && length == static_cast<int>(std::strlen(text));
      message.localeTexts.push_back(got ? text : "<failed>");
      if (entry<int (*)(char**)>("del_locale_message")(&text) != 0) message.localeTexts.back() = "<failed>";
    }
    if (entry<int (*)(zfi_msg_info**)>("del_last_error")(&record) != 0 || record != nullptr)
      message.localeTexts.push_back("<failed>");
    newestFirst.push_back(message);
  }
  return std::vector<HostMessage>(newestFirst.rbegin(), newestFirst.rend());
}

std::vector<std::string> PluginHost::traceLines(size_t from) const {
  std::vector<std::string> found;
  std::ifstream in(dir() + "/log/trace.log");
  in.seekg(static_cast<std::streamoff>(from));
  for (std::string line; std::getline(in, line);) {
    const size_t level = line.find("] L");
    if (level == std::string::npos) continue;
    const size_t name = line.find(' ', level + 2);
    const size_t body = line.find(": ", name);
    if (name == std::string::npos || body == std::string::npos) continue;
    found.push_back(line.substr(level + 2, name - level - 2) + " " + line.substr(body + 2));
  }
  return found;
}

size_t PluginHost::traceSize() const {
  std::error_code error;
  const auto size = std::filesystem::file_size(dir() + "/log/trace.log", error);
  return error ? 0 : static_cast<size_t>(size);
}

std::vector<rmsim::CallRecord> PluginHost::calls() {
  auto made = m_sim->journal();
  m_sim->clearJournal();
  return made;
}
