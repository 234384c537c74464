// A thread of control whose work a derived class supplies.
#pragma once

#include <thread>

#include <invscan/base/Object.h>
#include <invscan/export.h>

// The object must live until run() has returned. A thread that hangs is therefore abandoned by
// leaving the object alone for ever, neither joined nor deleted; deleting one that was never
// started, or was joined, is fine, and deleting one whose run() has just returned detaches it.
class INVSCAN_EXPORT Thread : public Object {
 public:
  Thread() = default;
  ~Thread() override;

  // Starts run() on a new thread. Returns 0, or the error number when no thread could be made or
  // one was already started.
  int start();

  // Waits until run() has returned. Returns 0, or EINVAL when there is nothing to join.
  int join();

  virtual void run() = 0;

 private:
  std::thread thread_;
};
