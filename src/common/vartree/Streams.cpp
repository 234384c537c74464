#include <unistd.h>

#include <utility>

#include <invscan/helper.h>

#include "base/ChildPipe.h"

namespace {

void closeOnce(int& descriptor) {
  if (descriptor != -1) close(std::exchange(descriptor, -1));
}

}  // namespace

VtIStream::~VtIStream() = default;
void VtIStream::close() {
}

VtOStream::~VtOStream() = default;
void VtOStream::close() {
}

VtIStream_Unix::VtIStream_Unix(int number) : descriptor(number) {
}

long VtIStream_Unix::read(char* buffer, unsigned long size) {
  return descriptor == -1 ? 0 : ::read(descriptor, buffer, size);
}

void VtIStream_Unix::close() {
  closeOnce(descriptor);
}

VtOStream_Unix::VtOStream_Unix(int number) : descriptor(number) {
}

long VtOStream_Unix::write(char* buffer, unsigned long size) {
  const invscan::BrokenPipeSilence silence;
  return descriptor == -1 ? 0 : ::write(descriptor, buffer, size);
}

void VtOStream_Unix::close() {
  closeOnce(descriptor);
}
