#include "cficonfigparam.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/sax2/Attributes.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/sax2/SAX2XMLReader.hpp>
#include <xercesc/sax2/XMLReaderFactory.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/TransService.hpp>
#include <xercesc/util/XMLString.hpp>

XERCES_CPP_NAMESPACE_USE

namespace frim_pdk_4_4 {

namespace {

// Xerces counts its initialisations, so the kit takes one for itself on
// first use and gives it back when the plugin is unloaded (or the process
// ends); other users in the process keep theirs.
class XercesUse {
 public:
  XercesUse() { XMLPlatformUtils::Initialize(); }
  ~XercesUse() { XMLPlatformUtils::Terminate(); }
};

void ensureXerces() { static XercesUse use; }

// UTF-8 <-> XMLCh, whatever the process's locale. Texts that are not UTF-8
// throw Xerces' TranscodingException (an XMLException).
class XStr {
 public:
  explicit XStr(const std::string& text)
      : m_text(reinterpret_cast<const XMLByte*>(text.c_str()), text.size(), "UTF-8") {}
  const XMLCh* get() const { return m_text.str(); }

 private:
  TranscodeFromStr m_text;
};

std::string utf8(const XMLCh* text) {
  if (text == nullptr) return std::string();
  TranscodeToStr bytes(text, "UTF-8");
  return std::string(reinterpret_cast<const char*>(bytes.str()), bytes.length());
}

class ParamHandler : public DefaultHandler {
 public:
  void startElement(const XMLCh* const, const XMLCh* const localname, const XMLCh* const,
                    const Attributes& attributes) override {
    std::string name = utf8(localname);
    if (name == "parameter") {
      CFiConfigParamInfo info;
      info.m_name = attribute(attributes, "name");
      info.m_value = attribute(attributes, "value");
      info.m_firstAttribute = number(attributes, "first", 6);
      info.m_secondAttribute = number(attributes, "second", 3);
      info.m_flag = attribute(attributes, "flag") == "1";
      info.m_description = attribute(attributes, "description");
      info.m_minimum = number(attributes, "minimum", -1);
      info.m_maximum = number(attributes, "maximum", -1);
      params.push_back(info);
    } else if (name == "allowed") {
      if (params.empty()) throw CFiConfigXmlError("<allowed> outside a <parameter>");
      inAllowed = true;
      text.clear();
    } else if (name != "parameters") {
      throw CFiConfigXmlError("unexpected element <" + name + ">");
    }
  }
  void endElement(const XMLCh* const, const XMLCh* const localname, const XMLCh* const) override {
    if (utf8(localname) == "allowed") {
      params.back().m_allowedValues.push_back(text);
      inAllowed = false;
    }
  }
  void characters(const XMLCh* const chars, const XMLSize_t) override {
    if (inAllowed) text += utf8(chars);
  }
  // The parameter list never needs a document type, and its subsets are
  // where entities are declared or fetched: a few hundred bytes of nested
  // entities expand to megabytes. Refused before Xerces reads any of it.
  // Xerces calls this only for a document type with a subset or an external
  // id; a bare <!DOCTYPE name> declares nothing and is let through.
  void startDTD(const XMLCh* const, const XMLCh* const, const XMLCh* const) override {
    throw CFiConfigXmlError("document type declarations are refused");
  }
  // Nothing the document names is read: no schema, no external entity, no
  // URL. Schema loading is off as well; this is the backstop for whatever
  // Xerces would still try to resolve.
  InputSource* resolveEntity(const XMLCh* const, const XMLCh* const) override {
    throw CFiConfigXmlError("external resources are refused");
  }
  void fatalError(const SAXParseException& e) override {
    throw CFiConfigXmlError("line " + std::to_string(e.getLineNumber()) + ": " + utf8(e.getMessage()));
  }

  std::vector<CFiConfigParamInfo> params;

 private:
  static std::string attribute(const Attributes& attributes, const char* name) {
    XStr key(name);
    return utf8(attributes.getValue(key.get()));
  }
  // A decimal integer that fits an int; anything else is a broken
  // description, not a number to guess at.
  static int number(const Attributes& attributes, const char* name, int fallback) {
    std::string value = attribute(attributes, name);
    if (value.empty()) return fallback;
    errno = 0;
    char* end = nullptr;
    long parsed = std::strtol(value.c_str(), &end, 10);
    if (*end != '\0' || errno == ERANGE || parsed < INT_MIN || parsed > INT_MAX)
      throw CFiConfigXmlError(std::string("attribute ") + name + " is not an integer: '" + value + "'");
    return static_cast<int>(parsed);
  }
  bool inAllowed = false;
  std::string text;
};

}  // namespace

bool CFiConfigParamInfo::operator==(const CFiConfigParamInfo& other) const {
  return m_name == other.m_name && m_value == other.m_value && m_firstAttribute == other.m_firstAttribute &&
         m_secondAttribute == other.m_secondAttribute && m_flag == other.m_flag &&
         m_allowedValues == other.m_allowedValues && m_description == other.m_description &&
         m_minimum == other.m_minimum && m_maximum == other.m_maximum;
}

void CFiConfigParamInfoList::addParamInfo(const CFiConfigParamInfo& info) {
  CFiConfigParamInfo* existing = nullptr;
  for (CFiConfigParamInfo& param : m_params) {
    if (param.m_name == info.m_name) existing = &param;
  }
  std::vector<CFiConfigParamInfo> previous = m_params;
  if (existing == nullptr) {
    m_params.emplace_back();
    existing = &m_params.back();
  }
  *existing = info;
  try {
    updateXML();
  } catch (...) {
    m_params.swap(previous);
    throw;
  }
}

const CFiConfigParamInfo* CFiConfigParamInfoList::find(const std::string& name) const {
  for (const CFiConfigParamInfo& param : m_params) {
    if (param.m_name == name) return &param;
  }
  return nullptr;
}

namespace {

// The document for `params`. XML 1.0 cannot carry control characters other
// than tab, line feed and carriage return: a text holding one makes the
// serializer throw a DOMException.
std::string writeXml(const std::vector<CFiConfigParamInfo>& params) {
  XStr core("Core");
  DOMImplementation* impl = DOMImplementationRegistry::getDOMImplementation(core.get());
  XStr rootName("parameters");
  std::unique_ptr<DOMDocument, void (*)(DOMDocument*)> doc(
      impl->createDocument(nullptr, rootName.get(), nullptr), [](DOMDocument* d) { d->release(); });
  DOMElement* root = doc->getDocumentElement();
  for (const CFiConfigParamInfo& param : params) {
    XStr element("parameter");
    DOMElement* node = doc->createElement(element.get());
    auto set = [&](const char* key, const std::string& value) {
      XStr k(key), v(value);
      node->setAttribute(k.get(), v.get());
    };
    set("name", param.m_name);
    set("value", param.m_value);
    set("first", std::to_string(param.m_firstAttribute));
    set("second", std::to_string(param.m_secondAttribute));
    set("flag", param.m_flag ? "1" : "0");
    set("description", param.m_description);
    set("minimum", std::to_string(param.m_minimum));
    set("maximum", std::to_string(param.m_maximum));
    for (const std::string& allowed : param.m_allowedValues) {
      XStr allowedName("allowed"), allowedText(allowed);
      DOMElement* child = doc->createElement(allowedName.get());
      child->appendChild(doc->createTextNode(allowedText.get()));
      node->appendChild(child);
    }
    root->appendChild(node);
  }
  std::unique_ptr<DOMLSSerializer, void (*)(DOMLSSerializer*)> writer(
      impl->createLSSerializer(), [](DOMLSSerializer* w) { w->release(); });
  std::unique_ptr<DOMLSOutput, void (*)(DOMLSOutput*)> output(impl->createLSOutput(),
                                                              [](DOMLSOutput* o) { o->release(); });
  MemBufFormatTarget target;
  XStr encoding("UTF-8");
  output->setEncoding(encoding.get());
  output->setByteStream(&target);
  if (!writer->write(doc.get(), output.get()))
    throw CFiConfigXmlError("the parameter list cannot be written as XML");
  return std::string(reinterpret_cast<const char*>(target.getRawBuffer()), target.getLen());
}

}  // namespace

void CFiConfigParamInfoList::updateXML() {
  ensureXerces();
  try {
    m_xml = writeXml(m_params);
  } catch (const XMLException& e) {
    throw CFiConfigXmlError("parameter text: " + utf8(e.getMessage()));
  } catch (const DOMException& e) {
    throw CFiConfigXmlError("parameter list cannot be written as XML: " + utf8(e.getMessage()));
  }
}

std::vector<CFiConfigParamInfo> CFiConfigParamInfoList::parseXML(const std::string& xml) {
  ensureXerces();
  std::unique_ptr<SAX2XMLReader> reader(XMLReaderFactory::createXMLReader());
  // A parameter list is read as it stands: a schema location in it
  // (xsi:schemaLocation, xsi:noNamespaceSchemaLocation) names a file or a
  // URL, and neither is opened.
  reader->setFeature(XMLUni::fgSAX2CoreValidation, false);
  reader->setFeature(XMLUni::fgXercesLoadExternalDTD, false);
  reader->setFeature(XMLUni::fgXercesSchema, false);
  reader->setFeature(XMLUni::fgXercesLoadSchema, false);
  reader->setFeature(XMLUni::fgXercesDisableDefaultEntityResolution, true);
  ParamHandler handler;
  reader->setEntityResolver(&handler);
  reader->setContentHandler(&handler);
  reader->setErrorHandler(&handler);
  reader->setLexicalHandler(&handler);
  MemBufInputSource source(reinterpret_cast<const XMLByte*>(xml.data()), xml.size(), "parameters");
  try {
    reader->parse(source);
  } catch (const XMLException& e) {
    throw CFiConfigXmlError(utf8(e.getMessage()));
  } catch (const SAXException& e) {
    throw CFiConfigXmlError(utf8(e.getMessage()));
  }
  return handler.params;
}

std::string CFiConfigurationPathTool::getCacheLocationInfo() {
  const char* dir = ::secure_getenv("HITACHIFI_CACHE_DIR");
  return (dir != nullptr && *dir != '\0') ? dir : "/var/cache/hitachifi";
}

}  // namespace frim_pdk_4_4
