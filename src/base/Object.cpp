#include <invscan/base/Object.h>

#include <cstdint>
#include <cstdio>

Object::~Object() = default;

Object* Object::clone() const {
  return nullptr;
}

bool Object::equals(const Object* other) const {
  return this == other;
}

unsigned long Object::hashCode() const {
  return reinterpret_cast<std::uintptr_t>(this);
}

String Object::toString() const {
  char text[32];
  std::snprintf(text, sizeof text, "object %p", static_cast<const void*>(this));
  return text;
}
