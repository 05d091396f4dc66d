// A test plugin for the error path through the C ABI: generated from the
// same entry-point macro as the real plugin, with the real message catalog,
// and an object-control command that reports a CHitachiException built from
// its arguments:
//   objctl("push", "kind=1\ncall=...\nenclosure=...\nerror=...\nreason=...\n
//          file=...\nline=...\nvdisk=...\nvdiskCopy=...\nstatus=...")
// stores 6 as the operation's result, as the plugin's operation guard does.
#include <cstdlib>
#include <string>

#include "cfiapiexport.h"
#include "hitachi_exception.h"

ACE_CString cfi_pgn_name_tstr("errfi");

namespace {

int number(const frim_pdk_4_4::CFiObjctlArgs& args, const char* name) {
  return std::atoi(args.get(name, "0").c_str());
}

}  // namespace

class CErrorsTestPlugin : public frim_pdk_4_4::CFiPluginInterposer {
 public:
  int init() override {
    using namespace frim_pdk_4_4;
    CFiCatalogManagerPtr catalogs =
        CFiContextSingleton<CFiMessageCatalogManager, FI_PLUGIN_NAME>::instance(false);
    catalogs->registerFactory(new CFiIcuMessageCatalogFactory("root", cfi_pgn_name_tstr));
    return 0;
  }
  void fini() override {}
  int objctl(ACE_CString command, frim_pdk_4_4::CFiObjctlArgs& args) override {
    if (command != "push") return ZFI_E_NOT_SUPPORTED;
    CHitachiException e;
    e.m_kind = number(args, "kind");
    e.m_errorNumber = number(args, "error");
    e.m_reason = args.get("reason");
    e.m_apiName = args.get("call");
    e.m_enclosureId = args.get("enclosure");
    e.m_file = args.get("file");
    e.m_line = number(args, "line");
    e.m_vdisk = args.get("vdisk");
    e.m_vdiskCopy = args.get("vdiskCopy");
    e.m_pairStatus = args.get("status");
    e.push();
    return ZFI_E_REPORTED;
  }
};

CFI_API_EXPORT_ALL(errfi, CErrorsTestPlugin)
