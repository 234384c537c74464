// The variable tree: named nodes that hold named, typed values. Helper programs answer with one, in
// a text form of a line per value:
//
//   (ProcessorTable
//      ActivePackageCount:i=1
//      (Processor
//         Family:s=Xeon
//      )
//   )
//
// Nothing is escaped: names and strings hold no line ends, names neither ":" nor "=". Indentation
// has no meaning, and a line that begins with ";" is a comment.
//
// Names need not be unique among the children or the values of a node; order counts, and look-ups
// take the first match, or the n-th where they are told. A tree is built by one thread; afterwards
// any number of threads may look things up. Trees and all they hold live to the end of the process.
// Nodes and values of a tree that was read may be linked elsewhere, but not deleted, and their
// names may be shared: give one a name or text of its own rather than write into what it has.
#pragma once

#include <invscan/export.h>

struct VtExecInfo;
struct VtIStream;

// The kind of a value, with its letter in the text form.
enum : int {
  kVtInteger = 0,     // i, a signed number of 32 bits
  kVtString = 1,      // s
  kVtDouble = 2,      // f, with six decimals
  kVtWideString = 3,  // u, hexadecimal digits of its UTF-8 form behind a count
  kVtData = 4,        // d, hexadecimal digits behind the number of bytes
};

// A named value. The name, which must not be null, and texts and data are copies that belong to it;
// null texts and data make empty ones.
struct INVSCAN_EXPORT VtVariant {
  VtVariant(const char* valueName, int number);
  VtVariant(const char* valueName, const char* text);
  VtVariant(const char* valueName, double number);
  VtVariant(const char* valueName, const wchar_t* text);
  VtVariant(const char* valueName, const unsigned char* bytes, unsigned long count);
  VtVariant(const VtVariant&) = delete;
  VtVariant& operator=(const VtVariant&) = delete;

  char* name;       // never null
  int kind;         // one of the above
  VtVariant* next;  // of the same node; null at the end
  union {
    int integer;
    char* string;  // in one block with the name
    double real;
    wchar_t* wide;
    unsigned char* data;
  } value;
  // Bytes of data. Has no meaning for other kinds and is not to be written there: in a tree that
  // was read, the next value may begin in its place.
  unsigned long length;
};

// A named node: its values, then its children, each in the order they were added.
struct INVSCAN_EXPORT VtNode {
  explicit VtNode(const char* nodeName);
  VtNode(const VtNode&) = delete;
  VtNode& operator=(const VtNode&) = delete;

  // Appends in constant time, and clears what came behind the new one. Always true. Null, or one
  // without name, is a mistake that an assertion catches; so it is for null names below.
  bool addValue(VtVariant* variant);
  bool addChild(VtNode* node);

  // The child of that name and number among those of the name, counting from 0; any name when it is
  // null. Null when there are not as many.
  VtNode* getChild(const char* childName, int index) const;

  // The first value of that name in this node, or in the node that a path leads to; null when there
  // is none. A path is names with dots between them, each the first child of its name; a null or
  // empty one is this node, one that ends with a dot the node before the dot.
  const VtVariant* getValue(const char* valueName) const;
  const VtVariant* getValue(const char* path, const char* valueName) const;
  // The same, as the default when there is no such value or it is of another kind. The text belongs
  // to the tree.
  const char* getValue(const char* path, const char* valueName, const char* defaultValue) const;
  int getValue(const char* path, const char* valueName, int defaultValue) const;
  float getValueF(const char* path, const char* valueName, float defaultValue) const;

  char* name;            // never null
  VtNode* next;          // sibling; null at the end
  VtVariant* values;     // the first
  VtNode* children;      // the first
  VtVariant* lastValue;  // null when there is none
  VtNode* lastChild;     // null when there is none
};

// The value of a variant, which may be null, as the default when it is of another kind.
INVSCAN_EXPORT int vtGetValue(const VtVariant* variant, int defaultValue);
INVSCAN_EXPORT const char* vtGetValue(const VtVariant* variant, const char* defaultValue);

// The same look-ups in a helper's answer (helper.h), from the root of its tree. Without answer or
// tree: null, or the default.
INVSCAN_EXPORT const VtVariant* vtGetValue(VtExecInfo* info, const char* path, const char* name);
INVSCAN_EXPORT int vtGetValue(VtExecInfo* info, const char* path, const char* name,
                              int defaultValue);
INVSCAN_EXPORT const char* vtGetValue(VtExecInfo* info, const char* path, const char* name,
                                      const char* defaultValue);

// The root of an answer's tree for a null name; otherwise the root's child of that name and number
// (a negative number counts as 0). Not a path. Null when there is none.
INVSCAN_EXPORT VtNode* vtGetNode(const VtExecInfo* info, const char* name, int index);

// Writes a value, or a node with all below it, to standard output, indented by level; a null node
// writes nothing. A wide string's count is its characters, and only that many bytes of its UTF-8
// form follow, which shortens texts beyond ASCII: readers expect it; kept. A value of unknown kind
// is written as its address. Numbers look the same in every locale. Indentation grows to level 128
// and no further, so that the depth of a tree costs no more than its size.
INVSCAN_EXPORT void vtDumpValue(const VtVariant* value, int level);
INVSCAN_EXPORT void vtDumpNode(const VtNode* node, int level);
// Writes the indentation of a level: as often what the second returns, three blanks.
INVSCAN_EXPORT void vtIndent(int level);
INVSCAN_EXPORT const char* vtGetIndentString();

// Lines out of a stream, which must outlive it. It is large: better made with new.
struct INVSCAN_EXPORT VtILineStream {
  static constexpr int kBufferSize = 409600;

  explicit VtILineStream(VtIStream* stream);
  VtILineStream(const VtILineStream&) = delete;
  VtILineStream& operator=(const VtILineStream&) = delete;

  // Copies the next line, without its end and cut to size - 1 bytes, and returns the buffer; null
  // at the end of input. A line ends with LF, at its first CR or NUL there is nothing more to see,
  // and what follows the last LF is a line too. One that fills the whole buffer of the stream ends
  // the input. A null buffer or a size of 0 skips a line and returns the null or the buffer.
  char* getline(char* line, unsigned long size, int unused);

  // The next line that has been read completely, null when there is none; it belongs to the stream,
  // may be overwritten, and is good until the next call.
  char* get_next_line();

  // The next line in place, as far as it is to be seen: getline without the copy. The last one may
  // lack a terminator.
  char* nextInPlace(unsigned long& length);

  VtIStream* in;
  unsigned char ended;  // whether the stream had no more
  char buffer[kBufferSize];
  int position;  // of the first byte that was not given out
  int count;     // bytes in the buffer
  int searched;  // no line ends between position and here
};

// Reads the text form and adds what it finds to the root; a node is added when it is closed. 0 at
// the end of input, where nodes still open are dropped; at the first line that is wrong, what is
// wrong with it, and what was added stays. Lines are cut to 102399 bytes, names of nodes and
// strings at the first byte that is not UTF-8. Numbers are the longest beginning that is one, or
// the nearest that fits, with "." as decimal point; no number is 0. Hexadecimal digits are not
// checked.
enum : int {
  kVtParsed = 0,
  kVtBadLine = -1,     // begins with neither ( ) ; nor a letter or digit
  kVtNoOpenNode = -4,  // ) without a node to close
  kVtBadValue = -5,    // not name, :, one letter, =
  kVtBadKind = -6,     // a letter that is no kind
  kVtBadData = -9,     // no count with a comma, or fewer digits than it says
};
INVSCAN_EXPORT int vtParseNodeDump(VtILineStream* in, VtNode* root);
// The same with a new root named ""; null when the text is wrong.
INVSCAN_EXPORT VtNode* vtParseNodeDump(VtILineStream* in);

// The bytes of a wide string or of data in the text form.
struct VtData {
  unsigned char* bytes;
  unsigned long length;
};

// Copies, to be released with delete[]; null of null. The last copies that many bytes.
INVSCAN_EXPORT char* vtStrDup(const char* text);
INVSCAN_EXPORT wchar_t* vtStrDup(const wchar_t* text);
INVSCAN_EXPORT unsigned char* vtBufDup(const unsigned char* bytes, unsigned long size);

// Writes a text as UTF-8 with a terminator and returns how many characters (not bytes) it wrote; a
// character that does not fit, or that is negative, is left out. Nothing is written to null or into
// size 0. Characters above U+FFFF take up to six bytes by the rule of the others.
INVSCAN_EXPORT unsigned long stringToUTF8(unsigned char* out, unsigned long outSize,
                                          const wchar_t* in);

// The way back: writes at most outCount - 1 characters and a terminator, and returns how many.
// Bytes are not checked; a character that the end of the text cuts short is left out.
INVSCAN_EXPORT unsigned long utf8ToWideChar(wchar_t* out, unsigned long outCount,
                                            const unsigned char* in);
