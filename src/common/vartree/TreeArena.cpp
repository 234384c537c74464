#include "common/vartree/TreeArena.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace invscan {
namespace {

constexpr std::size_t kChunkSize = 1 << 18;
// Items stand this far behind a multiple of kAlignment, where nothing that was made with new does:
// that tells them apart.
constexpr std::size_t kAlignment = __STDCPP_DEFAULT_NEW_ALIGNMENT__;
constexpr std::size_t kOffset = kAlignment / 2;
constexpr std::size_t kValueSize = offsetof(VtVariant, length);
// The length of the last record in a chunk is within the chunk, should somebody read it.
constexpr std::size_t kSpare = sizeof(VtVariant) - kValueSize;

static_assert(alignof(VtNode) <= kOffset && alignof(VtVariant) <= kOffset);
static_assert(sizeof(VtNode) % kAlignment == 0 && kValueSize % kAlignment == 0);

std::uintptr_t addressOf(const void* item) {
  return reinterpret_cast<std::uintptr_t>(item);
}

template <class Number>
Number bytesAt(const char* text) {
  Number number;
  std::memcpy(&number, text, sizeof number);
  return number;
}

// Of the first and the last eight bytes, which tell most names apart, and of the length.
std::size_t hash(std::string_view name) {
  constexpr std::uint64_t kMixer = 0x9E3779B97F4A7C15;
  std::uint64_t first = 0, last = 0;
  if (name.size() >= sizeof first) {
    first = bytesAt<std::uint64_t>(name.data());
    last = bytesAt<std::uint64_t>(name.data() + name.size() - sizeof last);
  } else {
    for (const char letter : name) first = first << 8 | static_cast<unsigned char>(letter);
  }
  return ((first * kMixer ^ last) + name.size()) * kMixer >> 56;
}

}  // namespace

// Chunks begin at multiples of their size, so that each item tells its own. Items follow the head,
// and texts grow down from the end.
struct TreeArena::Chunk {
  Chunk* first;  // of the arena
  Chunk* next;
  std::size_t living;  // of the first: items of all chunks, and the arena while it is there
  char* items;         // end of the items
  char* texts;         // begin of the texts

  std::size_t room() const { return static_cast<std::size_t>(texts - items); }
  static Chunk* of(const void* item) {
    return reinterpret_cast<Chunk*>(addressOf(item) & ~(kChunkSize - 1));
  }
};

TreeArena::~TreeArena() {
  if (first_) release(first_);
}

bool TreeArena::made(const void* item) {
  return addressOf(item) % kAlignment == kOffset;
}

void TreeArena::release(const void* item) {
  Chunk* chunk = Chunk::of(item)->first;
  if (--chunk->living > 0) return;
  while (chunk) {
    Chunk* next = chunk->next;
    std::free(chunk);
    chunk = next;
  }
}

VtNode* TreeArena::makeNode(std::string_view nodeName) {
  char* kept = name(nodeName);
  auto* node = static_cast<VtNode*>(makeItem(sizeof(VtNode)));
  node->name = kept;
  node->next = node->children = node->lastChild = nullptr;
  node->values = node->lastValue = nullptr;
  return node;
}

VtVariant* TreeArena::makeValue(std::string_view valueName, int kind) {
  char* kept = name(valueName);
  auto* value = static_cast<VtVariant*>(makeItem(kValueSize));
  value->name = kept;
  value->kind = kind;
  value->next = nullptr;
  return value;
}

char* TreeArena::makeText(std::string_view text) {
  makeRoom(text.size() + 1);
  char* copy = last_->texts -= text.size() + 1;
  *std::copy(text.begin(), text.end(), copy) = 0;
  return copy;
}

char* TreeArena::name(std::string_view name) {
  KnownName& known = names_[hash(name)];
  if (!known.text || std::string_view(known.text, known.length) != name) {
    known = {makeText(name), name.size()};
  }
  return known.text;
}

void* TreeArena::makeItem(std::size_t size) {
  makeRoom(size);
  void* item = last_->items;
  last_->items += size;
  ++first_->living;
  return item;
}

void TreeArena::makeRoom(std::size_t size) {
  if (last_ && last_->room() >= size + kSpare) return;
  auto* chunk = static_cast<Chunk*>(std::aligned_alloc(kChunkSize, kChunkSize));
  if (!chunk) throw std::bad_alloc();
  char* begin = reinterpret_cast<char*>(chunk);
  constexpr std::size_t kHead = (sizeof(Chunk) / kAlignment) * kAlignment + kOffset;
  static_assert(kHead >= sizeof(Chunk));
  *chunk = {first_ ? first_ : chunk, nullptr, 1, begin + kHead, begin + kChunkSize};
  (last_ ? last_->next : first_) = chunk;
  last_ = chunk;
}

}  // namespace invscan
