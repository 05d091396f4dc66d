#ifndef FRIM_PDK_CFIERRORMANAGER_H
#define FRIM_PDK_CFIERRORMANAGER_H

#include <deque>
#include <memory>
#include <string>

#include "cfimessage.h"
#include "cfimessagecatalog.h"
#include "cfitraceable.h"
#include "zfi.h"

namespace frim_pdk_4_4 {

// What the error manager knows of the framework: its information record,
// the native language of messages and the catalogs to format them with.
class CFiErrorHandler {
 public:
  CFiErrorHandler(zfi_fw_info* frameworkInfo, const std::string& language,
                  const CFiCatalogManagerPtr& catalogs);
  ~CFiErrorHandler();

  zfi_fw_info* getFrameworkInfo() const { return m_frameworkInfo; }
  const std::string& getLanguage() const { return m_language; }
  CFiMessageCatalogManager* getCatalogManager() const { return m_catalogs.get(); }

 private:
  zfi_fw_info* m_frameworkInfo;
  std::string m_language;
  CFiCatalogManagerPtr m_catalogs;
};

// Keeps the messages the plugin reports until the framework fetches them.
//
// Messages form a stack, newest on top, of at most kMaxMessages: when a
// long-running host never fetches them, the oldest are dropped. The
// framework reads the newest with getLastError (a copy it owns), and
// delLastError frees that copy and removes the newest message, so
//   while (get_last_error(&m) == 0 && m) { show(m); del_last_error(&m); }
// drains the stack newest first.
class CFiErrorManager : public virtual CFiRefCount, public virtual CFiTraceable {
 public:
  static constexpr size_t kMaxMessages = 64;

  CFiErrorManager();
  ~CFiErrorManager() override;

  void pushError(CFiMessagePtr message);
  size_t size() const { return m_messages.size(); }
  CFiMessagePtr peek() const;
  void clear() { m_messages.clear(); }

  // Takes ownership; a second handler replaces the first.
  void registerHandler(CFiErrorHandler* handler);
  CFiErrorHandler* getHandler() const { return m_handler.get(); }

  // Added to each message's catalog index in what the framework receives
  // (msg_index = catalog index + offset; a message no catalog knows has
  // catalog index 0). The plugin base hands its own offset (6000, set at
  // init) over before each getLastError.
  void setMessageIndexOffset(int offset) { m_messageIndexOffset = offset; }
  int getMessageIndexOffset() const { return m_messageIndexOffset; }

  // *info = a new record describing the newest message: id, arguments
  // (texts as UTF-8, numbers as 64-bit integers), severity, where it is
  // defined, index and its English text (the catalog's root). Null when
  // there is none. The message stays until delLastError. 0, or 3 for a null
  // `info`.
  int getLastError(zfi_msg_info** info);
  // Frees *info (if set; only records made by getLastError) and nulls it,
  // and removes the newest message. 0, or 3 when there was nothing to
  // remove.
  int delLastError(zfi_msg_info** info);
  // *text = a new text of the message `info` describes (any record: one of
  // getLastError's or one the framework built), in `locale` (null: the
  // framework's native language; a locale without texts of its own, or one
  // ICU cannot take, gets the English ones); *length = its length. The
  // caller frees the text with delLocaleMessage. A message whose arguments
  // do not fit its text is still formatted: a missing argument shows as its
  // placeholder ("{1}"), surplus arguments are ignored, and a text that
  // cannot take the arguments at all gives "<id>: <arguments>". 0, or 3 for
  // a null record, id or text pointer.
  int getLocaleMessage(int* length, zfi_msg_info* info, char const* locale, char** text);
  // Frees *text and nulls it. 0, or 3 for a null pointer.
  int delLocaleMessage(char** text);

  // Frees a record made by getLastError.
  static void freeMessageInfo(zfi_msg_info* info);

 private:
  std::string format(const CFiMessage& message, char const* locale, int& index) const;

  std::deque<CFiMessagePtr> m_messages;  // front is the newest
  std::unique_ptr<CFiErrorHandler> m_handler;
  int m_messageIndexOffset = 6000;
};

using CFiErrorManagerPtr = CFiSmartPtr<CFiErrorManager, CFiContextSingletonAllocator<CFiErrorManager>>;

}  // namespace frim_pdk_4_4

#endif
