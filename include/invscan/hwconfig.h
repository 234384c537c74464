// The hardware configuration file: an XML file that tunes a scan and describes processors.
//
//   <Hardware cpuThreshold="20" priority="low">
//     <Group Name="Partition" skipRemote="true"/>
//     <Processors>
//       <Processor Manufactor="INTEL" BrandID="0" Signature="" Type="0" Family="6" Model="85"
//                  PCX="2" Description="Xeon" TypeEnum="Xeon"/>
//     </Processors>
//     <QCMs>
//       <QCM Family="6" CC="1" NewFamily="7" CoresPerPackage="0x4"/>
//     </QCMs>
//   </Hardware>
//
// GroupFactory::loadNodeFromFile (factory.h) reads it. Names are exact and case-sensitive; what is
// not listed here is ignored. Every attribute of the root is one for all groups, every one of a
// Group element but Name is one for that group (KelGroup::getGlobalAttr, getGroupAttr). The limits
// of a file stand in base/Xml.h.
#pragma once

#include <memory>

#include <invscan/base/String.h>
#include <invscan/base/Xml.h>
#include <invscan/export.h>

// A Processor element: how a family of processors is recognised (processor.h). Each field is the
// attribute of its name; it is empty when the attribute is absent or the element has another name.
class INVSCAN_EXPORT ProcessorInfo {
 public:
  explicit ProcessorInfo(const Node& element);
  virtual ~ProcessorInfo();

  String manufactor;  // "INTEL", "AMD" or "CYRIX"
  String brandID;
  String signature;
  String type;    // Intel's is "0"
  String family;  // decimal
  String model;   // decimal
  String pcx;     // of an Intel processor: decimal, 1 for a Celeron, 2 for a Xeon, else 0
  String description;
  String typeEnum;  // what the family is called
};

// A QCM element: how many cores a package of a family has.
class INVSCAN_EXPORT QCMInfo {
 public:
  explicit QCMInfo(const Node& element);
  virtual ~QCMInfo();

  String family;
  String cc;
  String newFamily;
  String coresPerPackage;  // "1" when the attribute is absent or empty
  // The same as a number: decimal, hexadecimal behind 0x, or octal behind a 0.
  unsigned long coresPerPackageCount = 0;
};

// Keeps the last Processors and the last QCMs element of the trees it hears of, and traces messages
// with their lines.
class INVSCAN_EXPORT HWParseNodeSink : public NodeSink {
 public:
  void onNodeTree(Node* tree) override;
  void onWarning(const String& message, unsigned long line) override;
  void onError(const String& message, unsigned long line) override;
  void onCriticalError(const String& message, unsigned long line) override;

  // A copy of the Processors element for 5, of the QCMs element for 6, which the caller deletes;
  // null when there was none, and for other modes.
  Node* getNode(int mode) const;

 private:
  std::unique_ptr<Node> processors_;
  std::unique_ptr<Node> qcms_;
};

// Parses a file while it is constructed, and traces when it cannot be opened.
class INVSCAN_EXPORT HWXmlOrvParser : public XmlOrvParser {
 public:
  HWXmlOrvParser(const String& path, HWParseNodeSink& sink);
};
