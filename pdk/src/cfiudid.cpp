#include "cfiudid.h"

namespace frim_pdk_4_4 {

CFiUdid::CFiUdid(char const* text) { parse(text ? text : ""); }

void CFiUdid::parse(std::string const& text) {
  m_vendor.clear();
  m_product.clear();
  m_enclosureId.clear();
  m_deviceId.clear();
  m_hasEnclosureId = false;
  static const std::string prefix = "UDID##";
  static const std::string separator = "##";

  size_t at = text.find(prefix);
  if (at == std::string::npos) throw CFiUdidException(text, 2);
  std::string rest = text.substr(at + prefix.size());

  at = rest.find(separator);
  if (at == std::string::npos) throw CFiUdidException(text, 3);
  m_vendor = rest.substr(0, at);
  rest = rest.substr(at + separator.size());

  at = rest.find(separator);
  if (at == std::string::npos) throw CFiUdidException(text, 4);
  m_product = rest.substr(0, at);
  rest = rest.substr(at + separator.size());

  if (rest.empty()) throw CFiUdidException(text, 1);
  at = rest.find(separator);
  if (at == std::string::npos) {
    m_deviceId = rest;
    return;
  }
  m_enclosureId = rest.substr(0, at);
  m_deviceId = rest.substr(at + separator.size());
  m_hasEnclosureId = true;
}

}  // namespace frim_pdk_4_4
