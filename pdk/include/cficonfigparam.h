#ifndef FRIM_PDK_CFICONFIGPARAM_H
#define FRIM_PDK_CFICONFIGPARAM_H

#include <ace/SString.h>

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace frim_pdk_4_4 {

// One configuration parameter a plugin declares (and the shape of the plugin
// base's configuration records): values by name, name and value texts, two
// leading integer attributes, a flag, the allowed values, a description and
// two trailing integer attributes (a range; -1 when unset).
struct CFiConfigParamInfo {
  std::map<std::string, std::string> m_values;
  std::string m_name;
  std::string m_value;
  int m_firstAttribute = 6;
  int m_secondAttribute = 3;
  bool m_flag = false;
  std::vector<std::string> m_allowedValues;
  std::string m_description;
  int m_minimum = -1;
  int m_maximum = -1;
  ACE_CString m_displayName;

  bool operator==(const CFiConfigParamInfo& other) const;
};

class CFiConfigXmlError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The plugin's declared parameters, and their XML description for the
// framework:
//   <parameters>
//     <parameter name=".." value=".." first=".." second=".." flag="0|1"
//                description=".." minimum=".." maximum="..">
//       <allowed>..</allowed>...
//     </parameter>
//   </parameters>
// written with Xerces-C's DOM serializer and read back with its SAX2 parser.
class CFiConfigParamInfoList {
 public:
  // Adds (or replaces, by name) a parameter: a new one starts from the kit's
  // defaults and takes every field of `info`. Regenerates the XML. Texts are
  // UTF-8; one that is not, or that holds a control character other than
  // tab, line feed or carriage return (XML 1.0 cannot carry those), throws
  // CFiConfigXmlError and leaves the list and its XML as they were.
  void addParamInfo(const CFiConfigParamInfo& info);
  // Regenerates the XML text from the parameters; throws CFiConfigXmlError
  // (XML unchanged) as addParamInfo does.
  void updateXML();
  const std::string& getXML() const { return m_xml; }
  // Parses an XML text of the form above into a parameter list; throws
  // CFiConfigXmlError naming what is wrong. A document type with an internal
  // subset or an external id is refused, so no entity is ever declared or
  // expanded and nothing outside the text is read.
  static std::vector<CFiConfigParamInfo> parseXML(const std::string& xml);

  const std::vector<CFiConfigParamInfo>& getParams() const { return m_params; }
  const CFiConfigParamInfo* find(const std::string& name) const;

 private:
  std::vector<CFiConfigParamInfo> m_params;
  std::string m_xml;
};

// Where the framework keeps its files on this host.
class CFiConfigurationPathTool {
 public:
  // The framework's cache directory: $HITACHIFI_CACHE_DIR when set and not
  // empty, else /var/cache/hitachifi. Not created here: its users create
  // what they need below it.
  static std::string getCacheLocationInfo();
};

}  // namespace frim_pdk_4_4

#endif
