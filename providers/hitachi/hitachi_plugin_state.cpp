// Provider state: the node's device records as a block the framework keeps
// and hands back, possibly to another process, before restore or deletion.
#include <cstdlib>
#include <cstring>
#include <string>

#include "hitachi_clierror.h"
#include "hitachi_exception.h"
#include "hitachi_pdparser.h"
#include "hitachi_plugin.h"
#include "hitachi_plugin_guard.h"
#include "hitachi_trace.h"

using namespace frim_pdk_4_4;

namespace {

// The block's bytes up to the first zero byte, never past its length: the
// framework owes us no terminator.
std::string blockText(const zfi_blob* block) {
  const char* bytes = static_cast<const char*>(block->data);
  const void* zero = std::memchr(bytes, '\0', block->length);
  const size_t length = zero != nullptr ? static_cast<size_t>(static_cast<const char*>(zero) - bytes)
                                        : static_cast<size_t>(block->length);
  return std::string(bytes, length);
}

// A record that cannot be read back is the framework's block at fault; it is
// reported as invalid input rather than left to escape the operation.
[[noreturn]] void throwInvalidState(const std::string& reason, const char* file, int line) {
  CHitachiException failure;
  failure.m_kind = HITACHI_EXC_INVALID_INPUT;
  failure.m_errorNumber = -1;
  failure.m_apiName = "setProviderState";
  failure.m_reason = reason;
  failure.m_file = file;
  failure.m_line = line;
  throw failure;
}

[[noreturn]] void throwUnreadable(const invalidData& e, const char* file, int line) {
  throwInvalidState(std::string("unreadable value '") + e.getContents().c_str() + "' in the provider state",
                    file, line);
}

// The state of one node is two device records, a few KiB at most. Reading
// a state takes time that grows with the square of its length, so a larger
// block is refused before it is read.
const size_t kLargestState = 64 * 1024;

}  // namespace

CHitachiPrivateData* CHitachiPlugin::GetPrivateData(zfi_domain* node) {
  HITACHI_TRACE_FUNCTION("CHitachiPlugin::GetPrivateData");
  if (node == nullptr || node->private_data == nullptr) return nullptr;
  CFiPrivateDataFactoryPtr factory = privateDataFactory();
  if (factory.get() == nullptr) return nullptr;
  return dynamic_cast<CHitachiPrivateData*>(factory->access(node).get());
}

int CHitachiPlugin::getProviderState(zfi_domain* node, zfi_blob* block) {
  HITACHI_TRACE_FUNCTION("CHitachiPlugin::getProviderState");
  CHitachiPrivateData* data = GetPrivateData(node);
  if (data == nullptr) {
    // Only nodes the plugin selected have a state; others get an empty block.
    HITACHI_TRACE(FI_TRACE_ERROR, "CHitachiPlugin::getProviderState : node '%s' has no private data",
                  node != nullptr && node->name != nullptr ? node->name : "");
    return ZFI_E_NO_PRIVDATA;
  }
  ACE_CString vdisks = data->m_vdisk.serialize();
  vdisks += data->m_vdiskCopy.serialize();
  const ACE_CString text = CPrivateDataParser::createNode("VdiskList", vdisks);
  HITACHI_TRACE(FI_TRACE_FLOW, "CHitachiPlugin::getProviderState : [%s]", text.c_str());
  // The framework frees the copy with free().
  block->data = ::strdup(text.c_str());
  block->length = block->data != nullptr ? text.length() + 1 : 0;
  return ZFI_OK;
}

int CHitachiPlugin::setProviderState(zfi_domain* node, zfi_blob* block) {
  HITACHI_TRACE_FUNCTION("CHitachiPlugin::setProviderState");
  const std::string text = blockText(block);
  if (text.size() > kLargestState)
    throwInvalidState("provider state of " + std::to_string(text.size()) + " bytes, more than the " +
                          std::to_string(kLargestState) + " accepted",
                      __FILE__, __LINE__);

  CHitachiPrivateData* data = GetPrivateData(node);
  if (data == nullptr) {
    CFiPrivateDataFactoryPtr factory = privateDataFactory();
    if (factory.get() != nullptr)
      data = dynamic_cast<CHitachiPrivateData*>(factory->allocate(node, false).get());
  }
  if (data == nullptr) {
    pushHitachiMessage(MSG_ERROR_PRIVATE_DATA_MALLOC,
                       {messageText("setProviderState"),
                        messageText(node != nullptr && node->name != nullptr ? node->name : "")});
    return ZFI_E_NO_PRIVDATA;
  }

  const char* cursor = nullptr;
  int length = 0;
  if (CPrivateDataParser::getNodeContents("VdiskList", text.c_str(), &cursor, &length) != 0) return ZFI_OK;
  const char* start = nullptr;
  const char* end = nullptr;
  // Each "Vdisk" is read from its start to the end of the text, so the
  // source record also collects the pairs written for the snapshot record.
  // Kept: that is how these records have always been read back.
  while (CPrivateDataParser::getNode("Vdisk", cursor, &start, &end) == 0) {
    SHitachiVirtualDisk vdisk;
    try {
      vdisk.deserialize(start);
    } catch (const invalidData& e) {
      throwUnreadable(e, __FILE__, __LINE__);
    }
    if (vdisk.m_isSnap)
      data->m_vdiskCopy = vdisk;
    else
      data->m_vdisk = vdisk;
    cursor = end;
  }
  return ZFI_OK;
}

int CHitachiPlugin::processProviderState(zfi_domain* node, zfi_blob* block, zfi_op_providerstate op) {
  HITACHI_TRACE_FUNCTION("processProviderState");
  return HITACHI_GUARDED({
    if (op == ZFI_GET_PROVIDERSTATE) {
      if (block == nullptr) {
        HITACHI_TRACE(FI_TRACE_ERROR,
                      "CHitachiPlugin::processProviderState ZFI_GET_PROVIDERSTATE blob is null");
        return ZFI_E_INVALID;
      }
      block->length = 0;
      block->data = nullptr;
      block->flags = 0;
      getProviderState(node, block);
      return ZFI_OK;
    }
    if (op == ZFI_SET_PROVIDERSTATE) {
      if (block == nullptr || block->data == nullptr) {
        HITACHI_TRACE(FI_TRACE_ERROR,
                      "CHitachiPlugin::processProviderState ZFI_SET_PROVIDERSTATE blob is null");
        return ZFI_E_REPORTED;
      }
      setProviderState(node, block);
      return ZFI_OK;
    }
    return ZFI_OK;
  });
}
