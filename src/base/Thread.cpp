#include <invscan/base/Thread.h>

#include <cerrno>
#include <system_error>

Thread::~Thread() {
  if (thread_.joinable()) thread_.detach();
}

int Thread::start() {
  if (thread_.joinable()) return EBUSY;
  try {
    thread_ = std::thread([this] { run(); });
    return 0;
  } catch (const std::system_error& error) {
    return error.code().value();
  }
}

int Thread::join() {
  if (!thread_.joinable()) return EINVAL;
  try {
    thread_.join();
    return 0;
  } catch (const std::system_error& error) {
    return error.code().value();
  }
}
