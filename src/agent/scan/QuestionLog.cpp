#include "agent/scan/QuestionLog.h"

#include <sys/mman.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string_view>
#include <utility>

namespace invscan::agent {
namespace {

constexpr std::size_t kCapacity = 1 << 20;
constexpr std::size_t kLongestText = 4096;

// Texts follow it, the source first.
struct Head {
  double milliseconds;
  std::uint32_t source, outcome;  // their lengths
};

QuestionLog* current = nullptr;  // of this worker

}  // namespace

struct QuestionLog::Notes {
  std::atomic<std::size_t> size;  // of what is there whole
  char bytes[kCapacity];
};

QuestionLog::QuestionLog() {
  void* const shared =
      mmap(nullptr, sizeof(Notes), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  notes_ = shared == MAP_FAILED ? nullptr : static_cast<Notes*>(shared);
}

QuestionLog::~QuestionLog() {
  if (notes_) munmap(notes_, sizeof(Notes));
}

void QuestionLog::start() {
  if (!notes_) return;
  notes_->size = 0;
  current = this;
  watchAccesses([](const Access& access) { current->append(access); });
}

void QuestionLog::append(const Access& access) {
  const std::string_view source = std::string_view(access.source).substr(0, kLongestText);
  const std::string_view outcome = std::string_view(access.outcome).substr(0, kLongestText);
  const Head head{access.milliseconds, static_cast<std::uint32_t>(source.size()),
                  static_cast<std::uint32_t>(outcome.size())};
  std::size_t size = notes_->size;
  if (size + sizeof head + source.size() + outcome.size() > kCapacity) size = 0;
  for (const std::string_view part :
       {std::string_view(reinterpret_cast<const char*>(&head), sizeof head), source, outcome}) {
    std::memcpy(notes_->bytes + size, part.data(), part.size());
    size += part.size();
  }
  notes_->size = size;
}

std::vector<Access> QuestionLog::read() const {
  std::vector<Access> all;
  if (!notes_) return all;
  const std::size_t size = std::min(notes_->size.load(), kCapacity);
  // A worker that makes no sense may still be writing.
  const std::string bytes(notes_->bytes, size);
  std::string_view rest = bytes;
  while (rest.size() >= sizeof(Head)) {
    Head head;
    std::memcpy(&head, rest.data(), sizeof head);
    rest.remove_prefix(sizeof head);
    if (rest.size() < head.source || rest.size() - head.source < head.outcome) break;
    Access access{std::string(rest.substr(0, head.source)),
                  std::string(rest.substr(head.source, head.outcome)), head.milliseconds};
    rest.remove_prefix(std::size_t{head.source} + head.outcome);
    // The answer to a question that stands there already.
    const auto open = std::find_if(all.rbegin(), all.rend(), [&](const Access& other) {
      return other.source == access.source && other.outcome == kUnanswered;
    });
    if (access.outcome == kUnanswered || open == all.rend()) {
      all.push_back(std::move(access));
    } else {
      *open = std::move(access);
    }
  }
  return all;
}

}  // namespace invscan::agent
