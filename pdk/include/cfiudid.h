#ifndef FRIM_PDK_CFIUDID_H
#define FRIM_PDK_CFIUDID_H

#include <string>

namespace frim_pdk_4_4 {

// A device id text that could not be parsed, with the reason:
// 1 nothing after the product, 2 no "UDID##", 3 no separator after the
// vendor, 4 no separator after the product.
class CFiUdidException {
 public:
  CFiUdidException(const std::string& text, int reason) : m_text(text), m_reason(reason) {}
  const std::string& getText() const { return m_text; }
  int getReason() const { return m_reason; }

 private:
  std::string m_text;
  int m_reason;
};

// A unique device id: "UDID##<vendor>##<product>##<enclosure>##<device>",
// e.g. UDID##HITACHI##HDS##410##12. The enclosure id keys the per-array maps.
class CFiUdid {
 public:
  CFiUdid() = default;
  explicit CFiUdid(char const* text);
  // Clears the parts and parses `text` into them; throws CFiUdidException.
  void parse(std::string const& text);

  const std::string& getVendor() const { return m_vendor; }
  const std::string& getProduct() const { return m_product; }
  const std::string& getEnclosureId() const { return m_enclosureId; }
  const std::string& getDeviceId() const { return m_deviceId; }
  bool hasEnclosureId() const { return m_hasEnclosureId; }

 private:
  std::string m_vendor;
  std::string m_product;
  std::string m_enclosureId;
  std::string m_deviceId;
  bool m_hasEnclosureId = false;
};

}  // namespace frim_pdk_4_4

#endif
