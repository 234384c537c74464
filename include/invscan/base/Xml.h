// Reading XML files as trees of nodes. What stands between the elements (text, comments) is
// skipped.
//
// A file is input like any other: it must be a regular file of at most 1 MiB, its elements may be
// nested 100 deep, it may declare 64 entities, and a tree may take 64 MiB; what goes beyond is
// refused like a file that is not well-formed. Encodings are UTF-8, UTF-16, ISO-8859-1 and
// US-ASCII. Nothing but the file is ever read: external entities and document types are left out.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include <invscan/base/Object.h>
#include <invscan/base/String.h>
#include <invscan/export.h>

// Attributes of an element in document order. Names are exact and case-sensitive; of equal ones,
// which no document has, the first counts.
class INVSCAN_EXPORT StringMap {
 public:
  using Entry = std::pair<String, String>;  // name, value

  void add(String name, String value) { entries_.emplace_back(std::move(name), std::move(value)); }

  // Null when there is no such attribute; it belongs to the map.
  const String* find(const String& name) const;
  // The same by value; empty when there is none.
  String get(const String& name) const;

  auto begin() const { return entries_.begin(); }
  auto end() const { return entries_.end(); }

 private:
  std::vector<Entry> entries_;
};

// An element with all below it.
class INVSCAN_EXPORT Node : public Object {
 public:
  explicit Node(String name, StringMap attributes = {});
  ~Node() override;

  // A copy with all below it, which the caller deletes.
  Node* clone() const override;

  const String& getName() const { return name_; }
  const StringMap& getAttributes() const { return attributes_; }
  // They are in document order and belong to the node.
  const std::vector<std::unique_ptr<Node>>& getChildren() const { return children_; }

  // Appends a child, which belongs to the node from then on, and returns it.
  Node* addChild(std::unique_ptr<Node> child);

 private:
  String name_;
  StringMap attributes_;
  std::vector<std::unique_ptr<Node>> children_;
};

// Hears what a parser finds.
class INVSCAN_EXPORT NodeSink {
 public:
  virtual ~NodeSink();

  // The tree of a whole file, called once and last. It is gone after the call: a sink copies what
  // it keeps.
  virtual void onNodeTree(Node* tree) = 0;

  // Messages, with lines that count from 1; ignored unless a sink cares.
  // Something is left out; parsing goes on.
  virtual void onWarning(const String& message, unsigned long line);
  // The file as a whole cannot be read or is too large, which has no line (0). No tree comes.
  virtual void onError(const String& message, unsigned long line);
  // The text is not well-formed, or goes beyond a limit. No tree comes.
  virtual void onCriticalError(const String& message, unsigned long line);
};

// Keeps the trees of the files that are parsed.
class INVSCAN_EXPORT ParseNodeSink : public NodeSink {
 public:
  void onNodeTree(Node* tree) override;

  // The root of the number-th tree, counting from 1, which the caller deletes; null when there is
  // none or it was taken before.
  Node* getNode(int number);

 private:
  std::vector<std::unique_ptr<Node>> trees_;
};

// Parses one file while it is constructed.
class INVSCAN_EXPORT XmlOrvParser {
 public:
  enum Status { kParsed = 0, kNotOpened = 1, kNotParsed = 2 };

  XmlOrvParser(const String& path, NodeSink& sink);
  virtual ~XmlOrvParser();

  // kParsed when the sink got a tree; kNotOpened when the file cannot be opened and read, or is no
  // regular file; kNotParsed when it is too large, not well-formed or beyond a limit.
  Status getStatus() const { return status_; }

 private:
  Status status_;
};
