#include "agent/scan/Room.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

#include "base/ChildPipe.h"

namespace invscan::agent {

Queue::Queue(const std::vector<std::size_t>& jobs) {
  Pipe pipe = makePipe(O_NONBLOCK);
  std::vector<std::uint32_t> numbers(jobs.begin(), jobs.end());
  const bool isFull =
      pipe && writeAll(pipe.writeEnd.get(), {reinterpret_cast<const char*>(numbers.data()),
                                             numbers.size() * sizeof(numbers[0])});
  if (isFull) jobs_ = std::move(pipe.readEnd);
}

std::optional<std::size_t> Queue::take() const {
  std::uint32_t number;
  const auto size = static_cast<ssize_t>(sizeof number);
  const auto next = [&] { return read(jobs_.get(), &number, sizeof number); };
  return uninterrupted(next) == size ? std::optional<std::size_t>(number) : std::nullopt;
}

void Room::openToAll() {
  queue.emplace(jobs);
  isOpenToAll = bool(*queue);
}

void Room::close() {
  queue.reset();
  isOpenToAll = false;
}

}  // namespace invscan::agent
