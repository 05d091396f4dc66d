// Hostile inputs at every exported entry point: null pointers, zero and
// negative counts, and malformed texts wherever a text is taken. Each call
// runs in a child forked from a loaded, initialised plugin, so that one
// crash is reported as that call's and the others still run; the child
// sends the result back through a pipe.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <list>
#include <set>
#include <string>
#include <type_traits>

#include "plugin_host.h"

namespace {

enum Input { kNull, kNegative, kEmptyText, kUdidPrefix, kBadBytes, kLongText, kInputs };
const char* const kInputNames[kInputs] = {"null/0",         "-1",        "\"\"", "\"UDID##\"",
                                          "\"\\xff\\xfe\"", "4096 chars"};

// A writable copy of the input's text for each argument of a call (the
// plugin may take `char*` texts as its own to scribble on); released when
// the child ends.
std::list<std::string> g_texts;

char* textOf(Input input) {
  switch (input) {
    case kEmptyText:
      g_texts.emplace_back("");
      break;
    case kUdidPrefix:
      g_texts.emplace_back("UDID##");
      break;
    case kBadBytes:
      g_texts.emplace_back("\xff\xfe");
      break;
    case kLongText:
      g_texts.emplace_back(4096, 'A');
      break;
    default:
      return nullptr;
  }
  return &g_texts.back()[0];
}

template <class T>
T argument(Input input) {
  if constexpr (std::is_same<T, char*>::value || std::is_same<T, const char*>::value) {
    return textOf(input);
  } else if constexpr (std::is_pointer<T>::value) {
    return nullptr;
  } else if constexpr (std::is_same<T, zfi_op_providerstate>::value) {
    return static_cast<T>(input == kNegative ? -1 : 0);
  } else if constexpr (std::is_enum<T>::value) {
    // 3: within the values of the two-bit intent and disposition types but
    // none of their names (-1 is not a value of theirs).
    return static_cast<T>(input == kNegative ? 3 : 0);
  } else {
    return static_cast<T>(input == kNegative ? -1 : 0);
  }
}

template <class R, class... A>
int invoke(void* symbol, Input input) {
  auto fn = reinterpret_cast<R (*)(A...)>(symbol);
  if constexpr (std::is_void<R>::value) {
    fn(argument<A>(input)...);
    return 0;
  } else {
    return static_cast<int>(fn(argument<A>(input)...));
  }
}

struct EntryPoint {
  const char* name;
  int (*call)(void*, Input);
  bool takesText;  // has a `char*` parameter: the text inputs apply
  // The result of each input, in the order of Input; `_` where the input
  // does not apply (no text parameter). A void entry point's 0 says that it
  // returned.
  int results[kInputs];
};

template <class... A>
constexpr bool hasText() {
  return (... || (std::is_same<A, char*>::value || std::is_same<A, const char*>::value));
}

#define ENTRY(NAME, R, ...) \
  EntryPoint {              \
#NAME, &invoke < R, __VA_ARGS__>, hasText < __VA_ARGS__>(),
#define ENTRY0(NAME, R) \
  EntryPoint {          \
#NAME, &invoke < R>, false,

const int _ = -3;

// The signatures are the framework's. Results, all codes of zfi.h:
// 8 the kit's "not supported" default for what this provider does not
// offer; 0 the defaults with nothing to do and the empty enumerations and
// queries (and select/prepare/make/isready/restore on no nodes); 3 the
// refusals of null arguments (translate_resource_names, init_node,
// init_altnode/init_remnode without nodes, errmsg and the message
// retrieval without a record); 7 init without a version record; 6
// process_providerstate's set without a block; 4 import_resource's refused
// import mode -1; objctl returns 0 whatever its operation did.
// clang-format off
const EntryPoint kEntryPoints[] = {
    ENTRY(init, int, zfi_fw_info*, zfi_version*, const char*) {7, 7, 7, 7, 7, 7}},
    ENTRY0(fini, void) {0, 0, _, _, _, _}},
    ENTRY(init_altnode, int, zfi_domain*, zfi_domain*, zfi_domain*) {3, 3, _, _, _, _}},
    ENTRY(init_remnode, int, zfi_domain*, zfi_domain*, zfi_domain*) {3, 3, _, _, _, _}},
    ENTRY(deinit_node, void, zfi_domain*) {0, 0, _, _, _, _}},
    ENTRY(quiesce, int, zfi_quiescenode*, zfi_quiescenode**, int, char*) {0, 0, 0, 0, 0, 0}},
    ENTRY(unquiesce, void, zfi_quiescenode*, zfi_quiescenode**, int) {0, 0, _, _, _, _}},
    ENTRY(isready, int, zfi_splitnode*, char*, zfi_splitnode**, int) {0, 0, 0, 0, 0, 0}},
    ENTRY(verify_qscombos, int, zfi_splitnode*, zfi_splitnode**, int) {0, 0, _, _, _, _}},
    ENTRY(set_import_options, int, zfi_splitnode*, zfi_splitnode**, int, zfi_host_infn*, int, void*) {0, 0, _, _, _, _}},
    ENTRY(select, int, zfi_splitnode*, char*, zfi_splitnode**, int) {0, 0, 0, 0, 0, 0}},
    ENTRY(prepare, int, zfi_splitnode*, char*, zfi_splitnode**, int, int) {0, 0, 0, 0, 0, 0}},
    ENTRY(make, int, zfi_splitnode*, char*, zfi_splitnode**, int, frim_objid***, int*) {0, 0, 0, 0, 0, 0}},
    ENTRY(preselect, int, zfi_splitnode*, char*, zfi_splitnode**, int) {0, 0, 0, 0, 0, 0}},
    ENTRY(cache_disable, int, zfi_domain*) {0, 0, _, _, _, _}},
    ENTRY(cache_enable, void, zfi_domain*) {0, 0, _, _, _, _}},
    ENTRY(objctl, int, char*, char*, char**, long*) {0, 0, 0, 0, 0, 0}},
    ENTRY(update_snapshot_handle, int, char*, zfi_snapreplica_ele*) {8, 8, 8, 8, 8, 8}},
    ENTRY(translate_resource_names, int, char**, int, char**) {3, 3, 3, 3, 3, 3}},
    ENTRY(claim, int, frim_objid*, frim_objid***, int*) {0, 0, _, _, _, _}},
    ENTRY(supports_fitype, int, zfi_domain*, char*) {8, 8, 8, 8, 8, 8}},
    ENTRY(deport_tree, int, zfi_domain*, zfi_domain*, zfi_accessnode*) {8, 8, _, _, _, _}},
    ENTRY(import_tree, int, zfi_domain*, frim_objid**, frim_objid**, int, frim_objid**) {8, 8, _, _, _, _}},
    ENTRY(init_node, int, zfi_domain*, zfi_domain**, int, frim_objid*) {3, 3, _, _, _, _}},
    ENTRY(config, int, zfi_domain*, int, char*, zfi_confspec*) {8, 8, 8, 8, 8, 8}},
    ENTRY(reaccess_tmpobj, int, zfi_domain*, frim_objid*, char*, zfi_domain*, char*, zfi_intent) {8, 8, 8, 8, 8, 8}},
    ENTRY(reaccess_altnode, int, zfi_domain*, frim_objid*, frim_objid*, char*, frim_objid**, frim_objid**, int, zfi_intent) {8, 8, 8, 8, 8, 8}},
    ENTRY(dispose, int, zfi_domain*, zfi_domain*, zfi_splitnode*, zfi_disposition) {8, 8, _, _, _, _}},
    ENTRY(online, int, zfi_domain*, zfi_domain*, int, zfi_disposition) {8, 8, _, _, _, _}},
    ENTRY(subobj_list, int, zfi_domain*, frim_objid***, int*) {0, 0, _, _, _, _}},
    ENTRY(errmsg, int, int, const char**) {3, 3, _, _, _, _}},
    ENTRY(build_alttree, int, zfi_domain*, char*, frim_objid**, frim_objid**, int, frim_objid**) {8, 8, 8, 8, 8, 8}},
    ENTRY(interpose, int, zfi_domain*, frim_objid**, frim_objid***, int*) {0, 0, _, _, _, _}},
    ENTRY(getattr, int, zfi_domain*, zfi_domain*, zfi_splitnode*, zfi_attributes*) {8, 8, _, _, _, _}},
    ENTRY(get_provider_info, int, zfi_provider_list**) {0, 0, _, _, _, _}},
    ENTRY(enumerate_nodes, int, zfi_node_list**, int*, int, char*) {0, 0, 0, 0, 0, 0}},
    ENTRY(enumerate_associations, int, zfi_assoc_list**) {0, 0, _, _, _, _}},
    ENTRY(enumerate_group_nodes, int, zfi_group_node_list**) {0, 0, _, _, _, _}},
    ENTRY(enumerate_fims, int, zfi_fim_list**) {0, 0, _, _, _, _}},
    ENTRY(isvalid_node_association, int, zfi_assoc*, int*) {8, 8, _, _, _, _}},
    ENTRY(get_associated_nodes, int, zfi_node*, zfi_node_list**) {0, 0, _, _, _, _}},
    ENTRY(check_node_existence, int, zfi_domain*, int*) {0, 0, _, _, _, _}},
    ENTRY(process_providerstate, int, zfi_domain*, zfi_blob*, zfi_op_providerstate) {6, 0, _, _, _, _}},
    ENTRY(get_last_error, int, zfi_msg_info**) {3, 3, _, _, _, _}},
    ENTRY(del_last_error, int, zfi_msg_info**) {3, 3, _, _, _, _}},
    ENTRY(get_locale_message, int, int*, zfi_msg_info*, const char*, char**) {3, 3, 3, 3, 3, 3}},
    ENTRY(del_locale_message, int, char**) {3, 3, _, _, _, _}},
    ENTRY(enable_access, int, zfi_node_subobj_list*, long, int, int) {8, 8, _, _, _, _}},
    ENTRY(disable_access, int, zfi_node_subobj_list*, long) {8, 8, _, _, _, _}},
    ENTRY(restore, int, frim_objid**, frim_objid**, long, char*, char*, char***, long*, long, long*) {0, 0, 0, 0, 0, 0}},
    ENTRY(resync, int, frim_objid**, frim_objid**, long, char*, char*, long, long*) {8, 8, 8, 8, 8, 8}},
    ENTRY(get_status, int, frim_objid**, frim_objid**, long, char*, long, long*) {8, 8, 8, 8, 8, 8}},
    ENTRY(pre_prepare, int, zfi_domain*) {0, 0, _, _, _, _}},
    ENTRY(query_valid_secondaries, int, char*, frim_objid***, long*) {0, 0, 0, 0, 0, 0}},
    ENTRY(res_status, int, frim_objid*, long, long*, zfi_msg_info**) {8, 8, _, _, _, _}},
    ENTRY(revisit_pgn_nodes, int, zfi_pgn_node_list*) {0, 0, _, _, _, _}},
    ENTRY(start_build_alttree, int, zfi_domain*, frim_objid**, void*) {8, 8, _, _, _, _}},
    ENTRY(enumerate_enclosures, int, zfi_enclosure_node_list**, int*, char*) {0, 0, 0, 0, 0, 0}},
    ENTRY(import_resource, int, char**, char*, char*, char*, int, char**, char*) {0, 4, 0, 0, 0, 0}},
    ENTRY(format, int, char**, int, char*, char*, char*, int, char***, int*) {8, 8, 8, 8, 8, 8}},
    ENTRY(enumerate_host_nodes, int, zfi_host_node_list**, int*, char*) {0, 0, 0, 0, 0, 0}},
    ENTRY(online_resource, int, char**, int, char*, char*, char*, char*, int, char***, int*) {8, 8, 8, 8, 8, 8}},
    ENTRY(deport_resource, int, char*, char*, char*, char*, int) {8, 8, 8, 8, 8, 8}},
    ENTRY(is_parent_pgn, int, char*, int*, int) {8, 8, 8, 8, 8, 8}},
    ENTRY(unformat, int, char**, int, int) {8, 8, _, _, _, _}},
    ENTRY(pre_deport_resource, int, char*, int, char*) {8, 8, 8, 8, 8, 8}},
    ENTRY(refresh_tree, int, zfi_domain*, int, int, zfi_resource*, int, int*, void*, int) {8, 8, _, _, _, _}},
    ENTRY(get_backupset, int, zfi_domain*, int, char**, int, zfi_bkupset*) {8, 8, _, _, _, _}},
    ENTRY(get_app_status, int, zfi_domain*, int, void*) {8, 8, _, _, _, _}},
    ENTRY(set_op_status, int, zfi_domain*, int) {0, 0, _, _, _, _}},
    ENTRY(set_comp_status, int, zfi_domain*, int, char*, int) {0, 0, 0, 0, 0, 0}},
    ENTRY(set_restorepaths, int, zfi_domain*, char*, int) {8, 8, 8, 8, 8, 8}},
    ENTRY(createSnapReplicaNode, int, zfi_domain*, zfi_snapreplica_ele*) {8, 8, _, _, _, _}},
    ENTRY(update_snapshot_id, int, zfi_domain*, zfi_domain*, zfi_snapreplica_ele*, int) {8, 8, _, _, _, _}},
    ENTRY(getSnapshotSetId, int, zfi_domain*, char**) {8, 8, _, _, _, _}},
    ENTRY(get_snapdiff, int, zfi_domain*, zfi_snapreplica_ele*, zfi_snapreplica_ele*, TrieNode_*) {8, 8, _, _, _, _}},
    ENTRY(post_deport, int, zfi_domain*, zfi_domain*) {0, 0, _, _, _, _}},
};
// clang-format on

// Every code zfi.h defines but 1 (delayed initialisation ran before the
// calls) and 30 (only init loads the library).
const std::set<int> kDocumented = {0, 2, 3, 4, 5, 6, 7, 8};

class EntryInputs : public ::testing::Test {
 protected:
  PluginHost host;
  // The entry point's result for `input` in a child of this process; -100
  // when the child did not end normally (crash, sanitizer report, hang).
  int inChild(const EntryPoint& entry, void* symbol, Input input) {
    int fds[2];
    if (::pipe(fds) != 0) return -101;
    std::fflush(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0) {
      ::close(fds[0]);
      ::alarm(20);
      const int result = entry.call(symbol, input);
      if (::write(fds[1], &result, sizeof result) != sizeof result) ::_exit(3);
      ::_exit(0);
    }
    ::close(fds[1]);
    int result = 0;
    const ssize_t got = ::read(fds[0], &result, sizeof result);
    ::close(fds[0]);
    int status = 0;
    ::waitpid(pid, &status, 0);
    if (got != sizeof result || !WIFEXITED(status) || WEXITSTATUS(status) != 0) return -100;
    return result;
  }
};

TEST_F(EntryInputs, EveryEntryPointTakesNullsNegativeCountsAndBadTextsWithoutCrashing) {
  ASSERT_EQ(77u, sizeof kEntryPoints / sizeof kEntryPoints[0]);
  // Delayed initialisation runs here once, so the children see a plugin
  // that is ready and every result is the operation's own.
  zfi_assoc_list* associations = nullptr;
  ASSERT_EQ(0, host.entry<int (*)(zfi_assoc_list**)>("enumerate_associations")(&associations));
  int calls = 0;
  for (const EntryPoint& entry : kEntryPoints) {
    void* symbol = host.entry<void*>(entry.name);
    ASSERT_NE(nullptr, symbol) << entry.name;
    std::string observed;
    for (int i = 0; i < kInputs; ++i) {
      const Input input = static_cast<Input>(i);
      if (input >= kEmptyText && !entry.takesText) continue;
      SCOPED_TRACE(std::string(entry.name) + " with " + kInputNames[i]);
      const int result = inChild(entry, symbol, input);
      ++calls;
      observed += std::string(" ") + kInputNames[i] + "=" + std::to_string(result);
      EXPECT_NE(-100, result) << "the call did not return";
      EXPECT_EQ(1u, kDocumented.count(result)) << result;
      EXPECT_EQ(entry.results[i], result);
    }
    std::printf("entry inputs: %s:%s\n", entry.name, observed.c_str());
  }
  std::printf("entry inputs: %d calls\n", calls);
}

}  // namespace
