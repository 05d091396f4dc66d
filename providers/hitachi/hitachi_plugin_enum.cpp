// The provider and the snapshot methods (FIMs) it offers.
#include "cfilist.h"
#include "hitachi_plugin.h"
#include "hitachi_trace.h"

using namespace frim_pdk_4_4;

int CHitachiPlugin::getProviderInfo(zfi_provider_list** out) {
  HITACHI_TRACE_FUNCTION("CHitachiPlugin::getProviderInfo");
  CFiProviderListFactory factory(out);
  CFiProviderInfo info;
  info.m_name = cfi_pgn_name_tstr;
  info.m_version[0] = 7;
  info.m_firstAttribute = 1;
  info.m_secondAttribute = 2;
  info.m_udidPrefixes = {ACE_CString("UDID##HITACHI##HDS##"), ACE_CString("UDID##HP##XP##")};
  factory.add(info);
  return ZFI_OK;
}

int CHitachiPlugin::enumerateFims(zfi_fim_list** out) {
  HITACHI_TRACE_FUNCTION("CHitachiPlugin::enumerateFims");
  CFiFimListFactory factory(out);
  // Full-copy methods first (technology 1), then copy-on-write (0).
  factory.add(CFiFim("Hitachi_ShadowImage", 0, 0, 1, 1, 0, 5, "Hitachi_ShadowImage", "1.0", "none"));
  factory.add(CFiFim("Hitachi_CopyOnWrite", 0, 0, 1, 0, 0, 5, "Hitachi_CopyOnWrite", "1.0", "none"));
  factory.add(CFiFim("HPXP_BusinessCopy", 0, 0, 1, 1, 0, 5, "HPXP_BusinessCopy", "1.0", "none"));
  factory.add(CFiFim("HPXP_Snapshot", 0, 0, 1, 0, 0, 5, "HPXP_Snapshot", "1.0", "none"));
  return ZFI_OK;
}
