// Memory for the trees of parsed answers, which have values by the hundred thousand: it grows in
// large chunks that hold nodes, values and texts side by side, and a name that comes again is kept
// once.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include <invscan/vartree.h>

namespace invscan {

// What an arena has made lives until all of it was released, in whatever order and whichever tree
// it was linked into; the arena itself may go before. It is used by one thread.
class TreeArena {
 public:
  TreeArena() = default;
  TreeArena(const TreeArena&) = delete;
  TreeArena& operator=(const TreeArena&) = delete;
  ~TreeArena();

  VtNode* makeNode(std::string_view name);
  // With a number or text still to be given. Only data has a length, so the record of another kind
  // ends where its length would be.
  VtVariant* makeValue(std::string_view name, int kind);
  char* makeText(std::string_view text);

  // Whether a node or value was made by an arena, rather than with new.
  static bool made(const void* item);
  static void release(const void* item);

 private:
  struct Chunk;
  struct KnownName {
    char* text;
    std::size_t length;
  };

  char* name(std::string_view name);
  void* makeItem(std::size_t size);
  void makeRoom(std::size_t size);

  Chunk* first_ = nullptr;
  Chunk* last_ = nullptr;
  std::array<KnownName, 256> names_{};
};

}  // namespace invscan
