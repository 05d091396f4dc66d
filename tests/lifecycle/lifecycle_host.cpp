#include "lifecycle_host.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

LifecycleHost::LifecycleHost(const std::string& model, int traceLevel) {
  char pattern[] = "/tmp/hitachifi-lifecycle.XXXXXX";
  if (::mkdtemp(pattern) == nullptr) throw std::runtime_error("cannot create a temporary directory");
  m_dir = pattern;
  const std::string db = m_dir + "/rmsim.db", hosts = m_dir + "/hosts";
  std::ofstream(hosts) << "127.0.0.1 localhost\n10.0.0.7 db1.example.test db1\n";
  const std::pair<const char*, std::string> env[] = {{"RMSIM_DB", db},
                                                     {"FRIM_DLOPEN_ROOT", SIM_ROOT},
                                                     {"RMSIM_HOSTNAME", "db1"},
                                                     {"HITACHIFI_HOSTNAME", "db1"},
                                                     {"HITACHIFI_HOSTS_FILE", hosts},
                                                     {"HITACHIFI_SYSFS_ROOT", m_dir + "/sys"},
                                                     {"HITACHIFI_CACHE_DIR", m_dir},
                                                     {"HITACHIFI_TRACE_DIR", m_dir},
                                                     {"HITACHIFI_TRACE_FILE", "trace.log"},
                                                     {"HITACHIFI_TRACE_LEVEL", std::to_string(traceLevel)}};
  for (const auto& var : env) ::setenv(var.first, var.second.c_str(), 1);
  m_sim.reset(new rmsim::Simulator(db));
  m_sim->loadModel(model.empty() ? rmsim::Simulator::defaultModel() : model, "db1");
  m_sim->writeSysfs(m_dir + "/sys");
  m_handle = ::dlopen(PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
  if (m_handle == nullptr) throw std::runtime_error(std::string("dlopen: ") + ::dlerror());
  zfi_version version{};
  const int rc = entry<int (*)(zfi_fw_info*, zfi_version*, const char*)>("init")(nullptr, &version, "");
  if (rc != 0) throw std::runtime_error("init returned " + std::to_string(rc));
  m_sim->clearJournal();
}

LifecycleHost::~LifecycleHost() {
  if (m_handle != nullptr) {
    entry<void (*)()>("fini")();
    ::dlclose(m_handle);
  }
  m_sim.reset();
  std::error_code ignored;
  std::filesystem::remove_all(m_dir, ignored);
}

void* LifecycleHost::symbol(const char* op) {
  void* found = ::dlsym(m_handle, (std::string("hitachifi_fi_pgn_") + op).c_str());
  if (found == nullptr) throw std::runtime_error(std::string("no entry point ") + op);
  return found;
}

HostNode& LifecycleHost::node(const std::string& name, const std::string& fim) {
  m_nodes.emplace_back(new HostNode(name, fim));
  return *m_nodes.back();
}

namespace {

std::vector<zfi_splitnode*> splits(const std::vector<HostNode*>& nodes) {
  std::vector<zfi_splitnode*> list;
  for (HostNode* node : nodes) list.push_back(node ? &node->split : nullptr);
  return list;
}

}  // namespace

int LifecycleHost::select(const std::string& session, const std::vector<HostNode*>& nodes) {
  auto list = splits(nodes);
  return entry<int (*)(zfi_splitnode*, char*, zfi_splitnode**, int)>("select")(
      nullptr, const_cast<char*>(session.c_str()), list.data(), static_cast<int>(list.size()));
}

int LifecycleHost::prepare(const std::string& session, const std::vector<HostNode*>& nodes) {
  auto list = splits(nodes);
  return entry<int (*)(zfi_splitnode*, char*, zfi_splitnode**, int, int)>("prepare")(
      nullptr, const_cast<char*>(session.c_str()), list.data(), static_cast<int>(list.size()), 0);
}

int LifecycleHost::isready(const std::vector<HostNode*>& nodes) {
  auto list = splits(nodes);
  return entry<int (*)(zfi_splitnode*, char*, zfi_splitnode**, int)>("isready")(
      nullptr, nullptr, list.data(), static_cast<int>(list.size()));
}

int LifecycleHost::make(const std::string& session, const std::vector<HostNode*>& nodes,
                        std::vector<std::string>* names) {
  auto list = splits(nodes);
  frim_objid** ids = nullptr;
  int count = 0;
  const int rc = entry<int (*)(zfi_splitnode*, char*, zfi_splitnode**, int, frim_objid***, int*)>("make")(
      nullptr, const_cast<char*>(session.c_str()), list.data(), static_cast<int>(list.size()), &ids, &count);
  // The kit's own buffer functions serve a host that has none: plain heap blocks.
  for (int i = 0; ids != nullptr && i < count; ++i) {
    if (names) names->push_back(ids[i]->name);
    std::free(ids[i]->name);
    std::free(ids[i]);
  }
  std::free(ids);
  return rc;
}

std::vector<HostMessage> LifecycleHost::messages() {
  std::vector<HostMessage> newestFirst;
  for (;;) {
    zfi_msg_info* record = nullptr;
    if (entry<int (*)(zfi_msg_info**)>("get_last_error")(&record) != 0 || record == nullptr) break;
    HostMessage message{record->msg_id ? record->msg_id : "", {}};
    for (int i = 0; i < record->arg_count; ++i) {
      const zfi_msg_arg& arg = record->args[i];
      message.args.push_back(arg.type == ZFI_MSG_ARG_STRING ? std::string("S:") + arg.str_value
                                                            : "I:" + std::to_string(arg.int_value));
    }
    newestFirst.push_back(message);
    entry<int (*)(zfi_msg_info**)>("del_last_error")(&record);
  }
  return std::vector<HostMessage>(newestFirst.rbegin(), newestFirst.rend());
}

std::string LifecycleHost::describeMessages() {
  std::string text;
  for (const HostMessage& message : messages()) {
    text += message.id;
    for (const std::string& arg : message.args) text += " " + arg;
    text += "\n";
  }
  return text;
}

std::vector<rmsim::CallRecord> LifecycleHost::calls() {
  auto made = m_sim->journal();
  m_sim->clearJournal();
  return made;
}

std::vector<std::string> LifecycleHost::infos(const std::vector<rmsim::CallRecord>& made) {
  std::vector<std::string> ldevs;
  for (const auto& call : made)
    if (call.function == "getrminfo") ldevs.push_back(std::to_string(call.ldevArg));
  return ldevs;
}
