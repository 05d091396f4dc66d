#ifndef FRIM_PDK_CFIMESSAGE_H
#define FRIM_PDK_CFIMESSAGE_H

#include <unicode/fmtable.h>

#include <string>
#include <vector>

#include "cfismartptr.h"
#include "zfi.h"

namespace frim_pdk_4_4 {

// A reportable message: an id of the message catalog, its arguments, a
// severity and where the message is defined. The text is made only when
// someone asks for it, in the language they ask for.
class CFiMessage : public virtual CFiRefCount {
 public:
  CFiMessage(char const* id, zfi_eseverity severity, char const* file, int line);
  ~CFiMessage() override;

  const std::string& getId() const { return m_id; }
  zfi_eseverity getSeverity() const { return m_severity; }
  const std::string& getFile() const { return m_file; }
  int getLine() const { return m_line; }
  const std::vector<icu::Formattable>& getArguments() const { return m_arguments; }

 protected:
  std::vector<icu::Formattable> m_arguments;

 private:
  std::string m_id;
  zfi_eseverity m_severity;
  std::string m_file;
  int m_line;
};

// A message whose arguments are ICU values (texts and numbers). `args` may
// be null when `count` is 0; the arguments are copied.
class CFiIcuMessage : public CFiMessage {
 public:
  CFiIcuMessage(char const* id, const icu::Formattable* args, int count, zfi_eseverity severity,
                char const* file, int line);
  ~CFiIcuMessage() override;
};

using CFiMessagePtr = CFiSmartPtr<CFiMessage, CFiNullAllocator<CFiMessage>>;

}  // namespace frim_pdk_4_4

#endif
