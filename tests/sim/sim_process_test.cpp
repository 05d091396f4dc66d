// One state for every process, the library variants, and the exported
// symbols.
#include <elf.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "sim_fixture.h"

namespace simtest {
namespace {

const int kLun257 = 2;

// Runs `body` in a child process; its result is the child's exit status.
template <class Fn>
int inChild(Fn body) {
  pid_t child = ::fork();
  if (child == 0) ::_exit(body());
  int status = -1;
  if (child < 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

class SharedState : public SimulatorTest {};

TEST_F(SharedState, ChangesAndFaultsMadeByOneProcessAreSeenByAnother) {
  EXPECT_EQ(0, inChild([&] { return split(kLun257, 0); }));
  EXPECT_EQ(RMSIM_PSUS, status(kLun257, 0).pairstat);

  sim->setFault("getdkclimit", 77, "controller busy", 1);
  EXPECT_EQ(77, inChild([&] {
              dkc_limit limits{};
              return lib.limit(&cmd, &limits);
            }));
  dkc_limit limits{};
  EXPECT_EQ(0, lib.limit(&cmd, &limits));  // the child used the fault up
  EXPECT_EQ(2, sim->counter("getdkclimit"));
}

TEST_F(SharedState, ConcurrentProcessesLoseNoCall) {
  sim->resetCounters();
  const int children = 4, calls = 40;
  std::vector<pid_t> pids;
  for (int c = 0; c < children; ++c) {
    pid_t pid = ::fork();
    if (pid == 0) {
      int failures = 0;
      for (int i = 0; i < calls; ++i) {
        targdev t = volume(kLun257, i % 4);
        pairstatinfo info{};
        if (lib.volstat(&cmd, &t, &info) != 0) ++failures;
      }
      ::_exit(failures);
    }
    ASSERT_GT(pid, 0);
    pids.push_back(pid);
  }
  for (pid_t pid : pids) {
    int status = -1;
    ASSERT_EQ(pid, ::waitpid(pid, &status, 0));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  EXPECT_EQ(children * calls, sim->counter("pairvolstat"));
}

// The defined global symbols of a shared object's dynamic symbol table.
std::set<std::string> exportedSymbols(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  std::vector<char> image((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::set<std::string> names;
  if (image.size() < sizeof(Elf64_Ehdr)) return names;
  const Elf64_Ehdr* header = reinterpret_cast<const Elf64_Ehdr*>(image.data());
  const Elf64_Shdr* sections = reinterpret_cast<const Elf64_Shdr*>(image.data() + header->e_shoff);
  for (int s = 0; s < header->e_shnum; ++s) {
    if (sections[s].sh_type != SHT_DYNSYM) continue;
    const Elf64_Sym* symbols = reinterpret_cast<const Elf64_Sym*>(image.data() + sections[s].sh_offset);
    const char* strings = image.data() + sections[sections[s].sh_link].sh_offset;
    for (size_t i = 0; i < sections[s].sh_size / sizeof(Elf64_Sym); ++i) {
      const int bind = ELF64_ST_BIND(symbols[i].st_info);
      if (symbols[i].st_shndx != SHN_UNDEF && (bind == STB_GLOBAL || bind == STB_WEAK)) {
        names.insert(strings + symbols[i].st_name);
      }
    }
  }
  return names;
}

TEST(LibraryVariants, ExportExactlyTheRmlibFunctionsButTheirOneAndWork) {
  const std::set<std::string> all = {"attachcmddev", "detachcmddev", "pairvolstat", "pairsplit",
                                     "pairresync",   "getldev",      "getrminfo",   "getrmerrmsg",
                                     "getrmver",     "getdkclimit",  "getfmtmsg"};
  EXPECT_EQ(all, exportedSymbols(SIM_ROOT "/usr/lib/libsvrrm.so"));
  std::set<std::string> noLimit = all, noSplit = all;
  noLimit.erase("getdkclimit");
  noSplit.erase("pairsplit");
  EXPECT_EQ(noLimit, exportedSymbols(SIM_ROOT "-no-getdkclimit/usr/lib/libsvrrm.so"));
  EXPECT_EQ(noSplit, exportedSymbols(SIM_ROOT "-no-pairsplit/usr/lib/libsvrrm.so"));

  TempDir dir;
  const std::string db = dir.path() + "/state.db";
  rmsim::Simulator(db).loadModel(rmsim::Simulator::defaultModel(), "db1");
  ::setenv("RMSIM_DB", db.c_str(), 1);
  Svrrm variant(SIM_ROOT "-no-pairsplit");
  ASSERT_NE(nullptr, variant.handle);
  EXPECT_EQ(nullptr, variant.split);
  cmddevinfo block{};
  char path[] = "/dev/sdb";
  ASSERT_EQ(0, variant.attach(&block, path, 603));
  targdev t = volume(kLun257, 0);
  EXPECT_EQ(0, variant.resync(&block, &t, 0, 15));
}

}  // namespace
}  // namespace simtest
